"""Routes seen on real hosts: an ECMP default route, a router balancing per flow, and the routes
of a full-tunnel VPN client."""

import json
import unittest

from lab import WINE, LabCase, document, hub_addresses, lab_test, not_under_wine


class MultipathAndFlowBalancing(LabCase):
    """One ECMP default route over two links to router 1; router 2 balances per flow."""

    layout = ("--routers", 5, "--silent", 3, "--balance", 2, "--multipath")

    def test_each_trace_has_a_gateway_and_is_one_flow_so_a_balanced_hop_is_one_branch(self):
        """A trace is one flow, so its hop 3, behind router 2, is one of the silent router 3 and
        the answering 3b in every one of 8 traces: never a loss that no probe suffered."""
        arguments = ("test", "198.18.6.1", "-p", 80, "-r", 3, "-t", 1, "-u", 3, "-l", "n")
        for trace in [self.start(*arguments) for _ in range(8)]:
            hubs = json.loads(trace.communicate(timeout=120)[0])[0]["report"]["hubs"]
            self.assertIn((hubs[2]["address"], hubs[2]["loss"]),
                          [("198.18.70.1", 0), ("0.0.0.0", 100)])
            self.assertEqual([h["host"] for h in hubs[:2]], ["r1.lab", "r2.lab"])
            self.assertEqual([h["address"] for h in hubs[3:]],
                             ["198.18.4.1", "198.18.5.1", "198.18.6.1"])


class FullTunnel(LabCase):
    """Beside the default route, 0.0.0.0/1 and 128.0.0.0/1 on the tunnel 198.18.60.2. The name
    server refuses: routers not in the hosts file keep their addresses as names."""

    layout = ("--routers", 3, "--full-tunnel", "--extra-targets", 1, "--dns", "refusing")

    @not_under_wine("Wine reports no gateway for an on-link default route, so hopr.exe finds no "
                    "tunnel adapter")
    def test_plain_probes_stay_on_the_physical_path_and_split_ones_take_the_tunnel(self):
        tests = [lab_test("target.lab", "plain"),
                 lab_test("t1.lab", "split", isSplitTunnel=True)]
        plain, split = self.assert_ok(self.run_json(document(tests, serialised=True)))
        self.assertEqual(hub_addresses(split), ["198.18.60.1", "198.19.0.2"])
        self.assertEqual([h["host"] for h in plain["report"]["hubs"]],
                         ["198.18.1.1", "198.18.2.1", "198.18.3.1", "target.lab"])

    def test_interface_option_binds_the_probes_to_the_tunnel(self):
        results = self.assert_ok(self.run_hopr("test", "198.18.4.1", "-p", 80, "-r", 2, "-t", 1,
                                              "-u", 3, "-l", "f", "--interface", "198.18.60.2"))
        log = self.log()
        self.assertEqual(hub_addresses(results[0]), ["198.18.60.1", "198.18.4.1"])
        # hopr.exe listens on raw sockets; Wine reports the tunnel adapter with no gateway.
        self.assertIn("The listener physical interface IP address to bind to is: 198.18.60.2"
                      if WINE else "Virtual interface: 198.18.60.2", log)


if __name__ == "__main__":
    unittest.main()
