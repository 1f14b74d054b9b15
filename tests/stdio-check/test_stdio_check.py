"""stdio_check.py finds each fault that a wrong server has, and none in a right one. Then it says what ours does, and the one
of the official SDK: test_stdio_check.py VOSTEL_MCP NODE"""
import concurrent.futures
import contextlib
import os
import sys
import unittest

import stdio_check
from wrong_server import FAULTS

# In seconds. A right server answers sooner than LONG even on a busy machine. A wrong one makes the check wait for SHORT.
LONG, SHORT = 60.0, 4.0

folder = os.path.dirname(os.path.abspath(__file__))
command = {}


def broken_rules(*arguments, rules=stdio_check.RULES):
    return stdio_check.check(arguments, ("long", {}), report=lambda line: None, rules=rules)


def wrong_server(*fault, rules=stdio_check.RULES):
    return broken_rules(sys.executable, os.path.join(folder, "wrong_server.py"), *fault, rules=rules)


@contextlib.contextmanager
def waiting(timeout, silence):
    before = stdio_check.TIMEOUT, stdio_check.SILENCE
    stdio_check.TIMEOUT, stdio_check.SILENCE = timeout, silence
    try:
        yield
    finally:
        stdio_check.TIMEOUT, stdio_check.SILENCE = before


class StdioCheck(unittest.TestCase):
    def test_a_right_server_keeps_every_rule(self):
        with waiting(LONG, silence=0.5):
            self.assertEqual(wrong_server(), [])

    def test_each_fault_breaks_its_rule(self):
        def broken(fault):
            return wrong_server(fault, rules=[getattr(stdio_check, FAULTS[fault])])

        with waiting(SHORT, silence=0.5), concurrent.futures.ThreadPoolExecutor(4) as pool:
            found = dict(zip(FAULTS, pool.map(broken, FAULTS)))
        # On a busy machine, a wrong server may have written its wrong line after the silence.
        with waiting(SHORT, silence=10.0):
            found.update({fault: broken(fault) for fault, rules in found.items() if not rules})
        self.assertEqual(found, {fault: [rule] for fault, rule in FAULTS.items()})

    def test_each_rule_has_a_fault_that_breaks_it(self):
        self.assertEqual({rule.__name__ for rule in stdio_check.RULES}, set(FAULTS.values()))

    def test_ours_does_not_answer_ping_and_keeps_every_other_rule(self):
        # Deliberate: ping is an unknown method to us. Cancelling is tested with the companion.
        with waiting(LONG, silence=0.5):
            self.assertEqual(stdio_check.check([command["ours"]], report=lambda line: None), ["ping_is_answered"])

    def test_the_sdk_does_not_answer_what_is_no_json_and_keeps_every_other_rule(self):
        server = os.path.join(folder, "..", "sdk-client", "sdkServer.mjs")
        unanswered = stdio_check.what_is_no_json_is_a_parse_error
        others = [rule for rule in stdio_check.RULES if rule is not unanswered]
        with waiting(LONG, silence=0.5):
            self.assertEqual(broken_rules(command["node"], server, rules=others), [])
        with waiting(SHORT, silence=0.5):
            self.assertEqual(broken_rules(command["node"], server, rules=[unanswered]), [unanswered.__name__])


if __name__ == "__main__":
    command["ours"], command["node"] = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
