"""`hopr json` as the agent drives it, and `hopr test` as an operator does, through two routers:
concurrent and serialised runs, VPN gating, and the runs that trace nothing or end unrun."""

import json
import os
import pathlib
import unittest

from lab import WINE, LabCase, document, hub_addresses, lab_test

SETTINGS = ('[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Kestrand\\Orvia]\n"tunnel-status"="internal"\n'
            '[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia\\Config]\n"MinimumLogLevel"="debug"\n')
TRACE = ("test", "198.18.3.1", "-p", 80, "-r", 1, "-t", 1, "-u", 2, "-l", "f")


def path(target):
    return ["198.18.1.1", "198.18.2.1", target]


class AgentRuns(LabCase):
    layout = ("--routers", 2, "--extra-targets", 200)
    # A user of its own, so that no other run shares the thread limit.
    user = (60000 + os.getpid() % 5000,) * 2

    def test_concurrent_run_in_input_order_without_duplicates_under_a_thread_limit(self):
        """On Linux 200 tests to addresses, with threads for a quarter of them: they take turns."""
        numbered = [lab_test(f"198.19.0.{i + 2}", f"u{i}", probes=1)
                    for i in range(1 if WINE else 200)]
        tests = [lab_test("target.lab", "a"), lab_test("nowhere.invalid", "b"), *numbered,
                 lab_test("198.18.3.1", "d", port=443)]  # the same address as "a": dropped
        limit = () if WINE else ("prlimit", "--nproc=64", "--")
        results = self.assert_ok(self.run_json(document(tests), wrapper=limit))
        log = self.log()
        self.assertEqual(
            [(r["testUuid"], hub_addresses(r), r["report"]["hubs"][-1]["host"]) for r in results],
            [("a", path("198.18.3.1"), "target.lab"),
             *((t["testUuid"], path(t["target"]), t["target"]) for t in numbered)])
        self.assertEqual(results[0]["report"]["mtr"]["dst"], "target.lab")
        self.assertIn("Ignoring duplicate test d", log)
        self.assertIn("for test b against target nowhere.invalid. This test will be skipped.", log)
        self.assertEqual(log.count("Scheduled cumulative network test sleep"), len(results))
        if not WINE:
            self.assertIn("threads could be started for 201 tests", log)

    def test_serialised_runs_use_their_port_range_and_leave_it_free_for_the_next(self):
        """A stop request left as a file before any run is replaced, not obeyed; a range of 5
        ports runs out in the first test; the next run probes again from the same port."""
        tests = [lab_test("198.18.3.1", "a"), lab_test("198.19.0.2", "b")]
        if not WINE:  # what `printf x > FIFO` leaves when no run made the FIFO
            pathlib.Path(self.events, "again").write_text("x", encoding="utf-8")
        short = self.assert_ok(self.run_json(document(
            tests, serialised=True, event="again", min_port=33000, max_port=33004)))
        whole = self.assert_ok(self.run_json(document(
            tests, serialised=True, event="again", min_port=33000, max_port=33999)))
        log = self.log()
        self.assertEqual(hub_addresses(short[0]), path("198.18.3.1"))
        self.assertEqual([h["sent"] for h in short[0]["report"]["hubs"]], [2, 2, 1])
        self.assertEqual(short[1]["report"]["hubs"], [])
        self.assertIn("Sequential tracing is exiting due port exhaustion.", log)
        # A port left in TIME_WAIT would have failed the probes to the same target.
        self.assertEqual([[(h["address"], h["loss"]) for h in r["report"]["hubs"]] for r in whole],
                         [[(a, 0) for a in path(t)] for t in ("198.18.3.1", "198.19.0.2")])
        self.assertNotIn("exiting due received signal", log)
        self.assertEqual("not a FIFO, a stale stop request" in log, not WINE)
        self.assertNotIn("[debug]", log)

    def test_the_vpn_state_and_the_log_level_from_the_settings(self):
        """The internal VPN state gates the untrusted test; the debug level dumps the answers."""
        tests = [lab_test("198.18.3.1", "untrusted"),
                 lab_test("198.19.0.2", "trusted", muRunTestsFromTrustedNetworks=True)]
        self.settings(SETTINGS)
        results = self.assert_ok(self.run_json(document(tests, serialised=True)))
        log = self.log()
        self.assertEqual([r["testUuid"] for r in results], ["untrusted", "trusted"])
        self.assertEqual([hub_addresses(r) for r in results], [[], path("198.19.0.2")])
        self.assertIn("HOPR test untrusted is not being run because it's not configured to run "
                      "in internal VPN state.", log)
        self.assertIn("[debug] ========== Dumping hopProbeResponses", log)

    def test_an_unresolvable_target_gives_no_result_and_no_default_route_status_64(self):
        missing = self.run_hopr("test", "nowhere.invalid", *TRACE[2:])
        self.assertEqual((missing.returncode, missing.stdout), (0, "[]"))
        self.assertIn("Failed processing IP for test  against target nowhere.invalid. "
                      "This test will be skipped.", self.log())
        self.client_ip("route", "del", "default")
        self.addCleanup(self.client_ip, "route", "add", "default", "via", "198.18.1.1")
        no_adapter = self.run_json(document([lab_test("198.18.3.1", "a")]))
        self.assertEqual((no_adapter.returncode, no_adapter.stdout), (64, ""))
        self.assertIn("Failed to find an active interface to bind to.", self.log())

    def test_input_that_cannot_be_run_ends_with_its_documented_status(self):
        """Nothing read, a line too long or too deep, a test without its fields: 80 and the
        error text; a document without tests, whatever its numbers: 96 and no output; help: 16
        and the usage. No settings file: the defaults."""
        os.remove(os.path.join(self.directory, "registry.reg"))
        self.addCleanup(self.write_registry, self.registry)
        for line, printed in (("", "Failed reading line from std::cin"),
                              ("[" + "1," * 5_000_000 + "1]\n", "Exception in "),
                              ("[" * 200_000 + "]" * 200_000 + "\n", "Exception in "),
                              ('{"tests": [{"target": "x"}]}\n', "WinRT failed parsing JSON")):
            done = self.run_hopr("json", "-l", "n", stdin=line)
            self.assertEqual((done.returncode, printed in done.stdout), (80, True), line[:40])
        huge = json.dumps(document([], min_port=1e300, max_port=-1e300)) + "\n"
        done = self.run_hopr("json", "-l", "n", stdin=huge)
        self.assertEqual((done.returncode, done.stdout), (96, ""))
        usage = self.run_hopr("-h")
        self.assertEqual(usage.returncode, 16)
        self.assertTrue(usage.stdout.startswith("Failed to parse arguments: "), usage.stdout)
        for line in ("Usage: hopr.exe test <Target> --port <Port> --repeats <Repeats> --timeout "
                     "<Timeout> --max-unknown <MaxUknown> --log <n|c|f|b> [--interface "
                     "<InterfaceAddress>]", "Example: hopr.exe test example.com -p 80 -r 5 -t 2 "
                     "-u 5 -l f"):
            self.assertIn(line + "\n", usage.stdout)


if __name__ == "__main__":
    unittest.main()
