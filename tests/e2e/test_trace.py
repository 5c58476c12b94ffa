"""`hopr test` through real routers: answered, silent and missing hops, a load balancer."""

import json
import subprocess
import unittest

from lab import Lab, LabCase, hub_addresses, require_root


def setUpModule():
    require_root()


class TraceThroughRouters(LabCase):
    def test_every_router_then_the_target_with_a_silent_router_in_between(self):
        with Lab("--routers", 3, "--silent", 2) as lab:
            results = self.assert_ok(lab.run("test", "198.18.4.1", "-p", 80, "-r", 3, "-t", 1,
                                             "-u", 3, "-l", "n"))
        self.assertEqual(len(results), 1)
        hubs = results[0]["report"]["hubs"]
        self.assertEqual(hub_addresses(results[0]),
                         ["198.18.1.1", "0.0.0.0", "198.18.3.1", "198.18.4.1"])
        self.assertEqual([h["count"] for h in hubs], ["1", "2", "3", "4"])
        self.assertEqual([h["sent"] for h in hubs], [3, 3, 3, 3])
        self.assertEqual([h["loss"] for h in hubs], [0, 100, 0, 0])
        self.assertEqual([h["host"] for h in hubs], ["r1.lab", "???", "r3.lab", "198.18.4.1"])
        for hub in (hubs[0], hubs[2], hubs[3]):
            self.assertLessEqual(hub["best"], hub["avg"])
            self.assertLessEqual(hub["avg"], hub["worst"])
        self.assertEqual(results[0]["report"]["mtr"]["dstAddress"], "198.18.4.1")

    def test_a_flow_balanced_hop_is_wholly_one_branch_in_every_trace(self):
        """Router 2 spreads flows over the silent router 3 and the answering router 3b. A trace
        is one flow, so its hop 3 is one branch: never a loss that no probe suffered."""
        arguments = ("test", "198.18.6.1", "-p", 80, "-r", 3, "-t", 1, "-u", 3, "-l", "n")
        with Lab("--routers", 5, "--silent", 3, "--balance", 2) as lab:
            traces = [subprocess.Popen(lab.command(*arguments), stdout=subprocess.PIPE, text=True,
                                       env=lab.environment()) for _ in range(8)]
            results = [json.loads(trace.communicate(timeout=120)[0])[0] for trace in traces]
        for result in results:
            hub = result["report"]["hubs"][2]
            self.assertIn((hub["address"], hub["loss"]), [("198.18.70.1", 0), ("0.0.0.0", 100)])
            self.assertEqual(hub_addresses(result)[3:], ["198.18.4.1", "198.18.5.1", "198.18.6.1"])


if __name__ == "__main__":
    unittest.main()
