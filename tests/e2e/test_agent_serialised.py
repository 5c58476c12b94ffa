"""Serialised agent runs: port ranges, the stop event, VPN gating, split tunnels, no adapter."""

import unittest

from lab import (NO_TUNNEL_UNDER_WINE, Lab, LabCase, document, hub_addresses, lab_test,
                 not_under_wine, require_root)

VPN_KEY = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand\\Orvia]\n"


def setUpModule():
    require_root()


class SerialisedRun(LabCase):
    def test_port_range_runs_out_after_the_first_test(self):
        tests = [lab_test("198.18.3.1", "a"), lab_test("198.19.0.2", "b")]
        with Lab("--routers", 2, "--extra-targets", 1) as lab:
            results = self.assert_ok(
                lab.run_json(document(tests, serialised=True, event="ports", min_port=33000,
                                      max_port=33004)))
            log = lab.log()
        self.assertEqual(hub_addresses(results[0]), ["198.18.1.1", "198.18.2.1", "198.18.3.1"])
        self.assertEqual(results[1]["report"]["hubs"], [])
        self.assertIn("Sequential tracing is exiting due port exhaustion.", log)
        self.assertEqual([h["sent"] for h in results[0]["report"]["hubs"]], [2, 2, 1])

    def test_back_to_back_runs_after_a_stale_stop_request_trace_everything(self):
        """A stop request left as a file before any run is replaced, not obeyed; the first
        run's connected probes were reset, so no port of the range lingers for the second."""
        run = document([lab_test("198.18.3.1", "a"), lab_test("198.19.0.2", "b")],
                       serialised=True, event="again", min_port=33000, max_port=33999)
        with Lab("--routers", 2, "--extra-targets", 1) as lab:
            lab.leave_stale_stop_request("again")
            first, second = (self.assert_ok(lab.run_json(run)) for _ in range(2))
            log = lab.log()
        paths = [["198.18.1.1", "198.18.2.1", "198.18.3.1"],
                 ["198.18.1.1", "198.18.2.1", "198.19.0.2"]]
        self.assertEqual([[hub_addresses(r) for r in run] for run in (first, second)],
                         [paths, paths])
        self.assertNotIn("exiting due received signal", log)

    def test_stop_event_during_the_second_test_leaves_the_rest_unrun(self):
        self.assert_stop_ends_serialised_run(
            "Global\\stop", lambda lab, process: lab.signal_event("Global\\stop"))

    def test_vpn_state_gates_tests(self):
        tests = [lab_test("198.18.3.1", "untrusted"),
                 lab_test("198.19.0.2", "trusted", muRunTestsFromTrustedNetworks=True)]
        with Lab("--routers", 2, "--extra-targets", 1,
                 registry=VPN_KEY + '"tunnel-status"="internal"\n') as lab:
            internal = self.assert_ok(lab.run_json(document(tests, serialised=True)))
            lab.write_registry(VPN_KEY + '"tunnel-status"="connected-non-vm"\n')
            non_vm = self.assert_ok(lab.run_json(document(tests, serialised=True)))
            log = lab.log()
        self.assertEqual([r["testUuid"] for r in internal], ["untrusted", "trusted"])
        self.assertEqual(internal[0]["report"]["hubs"], [])
        self.assertEqual(hub_addresses(internal[1]), ["198.18.1.1", "198.18.2.1", "198.19.0.2"])
        self.assertIn("HOPR test untrusted is not being run because it's not configured to run "
                      "in internal VPN state.", log)
        self.assertEqual([r["report"]["hubs"] for r in non_vm], [[], []])
        self.assertIn("HOPR test trusted is not being run because the VPN is in connected-non-vm "
                      "state.", log)

    @not_under_wine(NO_TUNNEL_UNDER_WINE)
    def test_split_tunnel_probes_leave_through_the_tunnel(self):
        tests = [lab_test("198.18.3.1", "split", isSplitTunnel=True),
                 lab_test("198.19.0.2", "plain")]
        with Lab("--routers", 2, "--tunnel", "--extra-targets", 1) as lab:
            results = self.assert_ok(lab.run_json(document(tests, serialised=True)))
        self.assertEqual(hub_addresses(results[0]), ["198.18.60.1", "198.18.3.1"])
        self.assertEqual(hub_addresses(results[1]), ["198.18.1.1", "198.18.2.1", "198.19.0.2"])

    def test_no_usable_adapter_exits_64(self):
        with Lab("--routers", 1, "--no-gateway") as lab:
            no_adapter = lab.run_json(document([lab_test("198.18.2.1", "a")]))
            log = lab.log()
        self.assertEqual((no_adapter.returncode, no_adapter.stdout), (64, ""))
        self.assertIn("Failed to find an active interface to bind to.", log)


if __name__ == "__main__":
    unittest.main()
