"""Tests stdio_check.py with servers that have one fault and with a correct server. Then uses it to check vostel-mcp and a
server of the official SDK: test_stdio_check.py VOSTEL_MCP NODE"""
import concurrent.futures
import contextlib
import os
import sys
import tempfile
import threading
import unittest
import unittest.mock

import stdio_check
from wrong_server import FAULTS

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "wire-check"))
from application import Application  # noqa: E402

# In seconds. A correct server answers sooner than LONG even on a busy machine. A wrong one makes the check wait for SHORT.
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


@contextlib.contextmanager
def application_in_home_folder():
    """Makes a home folder in which a small application listens. Every server that is started meanwhile uses it."""
    with tempfile.TemporaryDirectory() as home:
        path = os.path.join(home, "Library/Application Support/com.vostel.vostel/mcp.sock")
        os.makedirs(os.path.dirname(path))
        environment = {"HOME": home, "CFFIXED_USER_HOME": home}
        with unittest.mock.patch.dict(os.environ, environment), Application(path) as application:
            threading.Thread(target=application.serve_forever, args=(0.01,), daemon=True).start()
            yield
            application.shutdown()


class StdioCheck(unittest.TestCase):
    def test_a_correct_server_keeps_every_rule(self):
        with waiting(LONG, silence=0.5):
            self.assertEqual(wrong_server(), [])

    def test_each_fault_breaks_its_rule(self):
        def broken(fault):
            return wrong_server(fault, rules=[getattr(stdio_check, FAULTS[fault])])

        with waiting(SHORT, silence=0.5), concurrent.futures.ThreadPoolExecutor(4) as pool:
            found = dict(zip(FAULTS, pool.map(broken, FAULTS)))
        # On a busy machine, a wrong server may write its wrong line later. Those servers are checked again more slowly.
        with waiting(SHORT, silence=10.0):
            found.update({fault: broken(fault) for fault, rules in found.items() if not rules})
        self.assertEqual(found, {fault: [rule] for fault, rule in FAULTS.items()})

    def test_each_rule_has_a_fault_that_breaks_it(self):
        self.assertEqual({rule.__name__ for rule in stdio_check.RULES}, set(FAULTS.values()))

    def test_vostel_mcp_does_not_answer_ping_and_keeps_every_other_rule(self):
        # vostel-mcp deliberately has no method `ping`.
        with application_in_home_folder(), waiting(LONG, silence=0.5):
            broken = stdio_check.check([command["vostel-mcp"]], ("transcribe_file", {"path": "/recording.wav"}),
                                       report=lambda line: None)
        self.assertEqual(broken, ["ping_is_answered"])

    def test_the_sdk_does_not_answer_a_line_that_is_not_json_and_keeps_every_other_rule(self):
        server = os.path.join(folder, "..", "sdk-client", "sdkServer.mjs")
        unanswered = stdio_check.a_line_that_is_not_json_is_a_parse_error
        others = [rule for rule in stdio_check.RULES if rule is not unanswered]
        with waiting(LONG, silence=0.5):
            self.assertEqual(broken_rules(command["node"], server, rules=others), [])
        with waiting(SHORT, silence=0.5):
            self.assertEqual(broken_rules(command["node"], server, rules=[unanswered]), [unanswered.__name__])


if __name__ == "__main__":
    command["vostel-mcp"], command["node"] = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
