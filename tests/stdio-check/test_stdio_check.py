"""stdio_check.py finds each fault that a wrong server has, and none in a right one. Then it says what ours does, and the one
of the official SDK: test_stdio_check.py VOSTEL_MCP NODE"""
import concurrent.futures
import os
import sys
import unittest

import stdio_check
from wrong_server import FAULTS

stdio_check.SILENCE = 0.5

folder = os.path.dirname(os.path.abspath(__file__))
command = {}


def broken_rules(*arguments, rules=stdio_check.RULES):
    return stdio_check.check(arguments, ("long", {}), report=lambda line: None, rules=rules)


def wrong_server(*fault, rules=stdio_check.RULES):
    return broken_rules(sys.executable, os.path.join(folder, "wrong_server.py"), *fault, rules=rules)


class StdioCheck(unittest.TestCase):
    def test_a_right_server_keeps_every_rule(self):
        self.assertEqual(wrong_server(), [])

    def test_each_fault_breaks_its_rule(self):
        def broken(fault):
            return wrong_server(fault, rules=[getattr(stdio_check, FAULTS[fault])])

        timeout, stdio_check.TIMEOUT = stdio_check.TIMEOUT, 4.0
        try:
            with concurrent.futures.ThreadPoolExecutor(4) as pool:
                found = dict(zip(FAULTS, pool.map(broken, FAULTS)))
        finally:
            stdio_check.TIMEOUT = timeout
        self.assertEqual(found, {fault: [rule] for fault, rule in FAULTS.items()})

    def test_each_rule_has_a_fault_that_breaks_it(self):
        self.assertEqual({rule.__name__ for rule in stdio_check.RULES}, set(FAULTS.values()))

    def test_ours_does_not_answer_ping_and_keeps_every_other_rule(self):
        # Deliberate: ping is an unknown method to us. Cancelling is tested with the companion.
        self.assertEqual(stdio_check.check([command["ours"]], report=lambda line: None), ["ping_is_answered"])

    def test_the_sdk_does_not_answer_what_is_no_json_and_keeps_every_other_rule(self):
        server = os.path.join(folder, "..", "sdk-client", "sdkServer.mjs")
        self.assertEqual(broken_rules(command["node"], server), ["what_is_no_json_is_a_parse_error"])


if __name__ == "__main__":
    command["ours"], command["node"] = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
