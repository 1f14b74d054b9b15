"""Tests wire_check.py with applications that have one fault and with a correct application."""
import concurrent.futures
import os
import tempfile
import threading
import unittest

import wire_check
from application import FAULTS, Application


def broken_rules(fault=None, rules=None):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "socket")
        with Application(path, fault) as application:
            threading.Thread(target=application.serve_forever, args=(0.01,), daemon=True).start()
            broken = wire_check.Check(path, ("quick", {}), ("long", {})).run(rules, report=lambda line: None)
            application.shutdown()
        return broken


class WireCheck(unittest.TestCase):
    def test_a_correct_application_keeps_every_rule(self):
        # The application is quick, but the machine may be busy.
        wire_check.TIMEOUT, wire_check.REACTION = 60.0, 0.5
        self.assertEqual(broken_rules(), [])

    def test_each_fault_breaks_its_rule(self):
        def broken(fault):
            return broken_rules(fault, rules=[getattr(wire_check.Check, FAULTS[fault])])

        wire_check.TIMEOUT, wire_check.REACTION = 4.0, 0.5
        with concurrent.futures.ThreadPoolExecutor(len(FAULTS)) as pool:
            found = dict(zip(FAULTS, pool.map(broken, FAULTS)))
        # On a busy machine, a fault may show later. Those applications are checked again more slowly.
        wire_check.REACTION = 10.0
        found.update({fault: broken(fault) for fault, rules in found.items() if not rules})
        self.assertEqual(found, {fault: [rule] for fault, rule in FAULTS.items()})

    def test_rules_that_need_a_long_call_are_left_out_without_one(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "socket")
            lines = []
            with Application(path) as application:
                threading.Thread(target=application.serve_forever, args=(0.01,), daemon=True).start()
                rules = [wire_check.Check.a_call_is_answered, wire_check.Check.a_cancelled_call_stops]
                check = wire_check.Check(path, ("quick", {}), None)
                self.assertEqual(check.run(rules, lines.append), [])
                application.shutdown()
        self.assertEqual(lines, ["kept    a call is answered", "-       a cancelled call stops: needs a long call"])

    def test_each_rule_has_a_fault_that_breaks_it(self):
        self.assertEqual({rule.__name__ for rule in wire_check.RULES}, set(FAULTS.values()))


if __name__ == "__main__":
    unittest.main()
