"""Client routing tables seen on real hosts: an ECMP default route and full-tunnel VPN routes."""

import unittest

from lab import (NO_TUNNEL_UNDER_WINE, Lab, LabCase, document, hub_addresses, lab_test,
                 not_under_wine, require_root)


def setUpModule():
    require_root()


def hub_hosts(result):
    return [hub["host"] for hub in result["report"]["hubs"]]


class Routes(LabCase):
    def test_a_multipath_default_route_is_a_usable_gateway(self):
        with Lab("--routers", 2, "--multipath") as lab:
            routes = lab.client_ip("route", "show", "table", "all")
            results = self.assert_ok(lab.run("test", "target.lab", "-p", 80, "-r", 2, "-t", 1,
                                             "-u", 3, "-l", "n"))
        self.assertEqual(routes.count("default"), 1, routes)
        self.assertIn("nexthop via 198.18.62.1", routes)
        # r1 answers from the address of whichever link the probes' adapter is on.
        self.assertEqual(hub_hosts(results[0]), ["r1.lab", "r2.lab", "target.lab"])

    @not_under_wine(NO_TUNNEL_UNDER_WINE)
    def test_full_tunnel_routes_keep_plain_probes_on_the_physical_path(self):
        tests = [lab_test("target.lab", "plain"),
                 lab_test("t1.lab", "split", isSplitTunnel=True)]
        with Lab("--routers", 3, "--full-tunnel", "--extra-targets", 1) as lab:
            rules = lab.client_ip("rule")
            results = self.assert_ok(lab.run_json(document(tests, serialised=True), timeout=120))
        self.assertNotIn("198.18.60.2", rules)
        plain, split = results
        self.assertEqual(hub_addresses(split), ["198.18.60.1", "198.19.0.2"])
        self.assertEqual(hub_hosts(plain), ["r1.lab", "r2.lab", "r3.lab", "target.lab"])


if __name__ == "__main__":
    unittest.main()
