"""`hopr json` as the agent drives it: several tests at once, in input order."""

import unittest

from lab import Lab, LabCase, document, hub_addresses, lab_test, require_root


def setUpModule():
    require_root()


class ConcurrentRun(LabCase):
    def test_results_in_input_order_without_duplicates_or_unresolvable_targets(self):
        tests = [
            lab_test("target.lab", "a"),
            lab_test("nowhere.invalid", "b"),
            lab_test("198.19.0.2", "c"),
            lab_test("198.18.3.1", "d", port=443),  # the same address as "a": dropped
        ]
        with Lab("--routers", 2, "--extra-targets", 1) as lab:
            results = self.assert_ok(lab.run_json(document(tests)))
            log = lab.log()
        self.assertEqual([r["testUuid"] for r in results], ["a", "c"])
        self.assertEqual(hub_addresses(results[0]), ["198.18.1.1", "198.18.2.1", "198.18.3.1"])
        self.assertEqual(hub_addresses(results[1]), ["198.18.1.1", "198.18.2.1", "198.19.0.2"])
        self.assertEqual(results[1]["report"]["hubs"][-1]["host"], "198.19.0.2")
        self.assertEqual(results[0]["report"]["mtr"]["dst"], "target.lab")
        self.assertIn("Ignoring duplicate test d", log)
        self.assertIn("for test b against target nowhere.invalid. This test will be skipped.", log)
        self.assertEqual(log.count("Scheduled cumulative network test sleep time"), 2)


if __name__ == "__main__":
    unittest.main()
