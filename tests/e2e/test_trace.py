"""Traces through real routers, one of them silent: the hops and their figures, a stop in the
middle of a serialised run, least privilege, and forged answers flooding the probes' port."""

import glob
import json
import os
import signal
import subprocess
import sys
import time
import unittest

from lab import (WINE, LabCase, document, hub_addresses, lab_test, not_under_wine, results_of,
                 run_until)

PATH = ["198.18.1.1", "0.0.0.0", "198.18.3.1", "198.18.4.1"]
TRACE = ("test", "198.18.4.1", "-p", 80, "-r", 2, "-t", 1, "-u", 3, "-l", "f")


def capabilities_while_tracing(process):
    """The (CapEff, CapPrm, CapBnd) sets of the run's threads once there are two: the listener
    threads start only after the drop. `ip netns exec` becomes hopr: the pid is hopr's."""
    while process.poll() is None:
        seen = []
        for status in glob.glob(f"/proc/{process.pid}/task/*/status"):
            try:
                with open(status, encoding="utf-8") as f:
                    sets = dict(line.split(":") for line in f if line.startswith("Cap"))
            except OSError:
                continue
            seen.append(tuple(int(sets[n], 16) for n in ("CapEff", "CapPrm", "CapBnd")))
        if len(seen) >= 2:
            return seen
        time.sleep(0.05)
    raise AssertionError("hopr ended before its listener threads were seen")


class ThroughASilentRouter(LabCase):
    layout = ("--routers", 3, "--silent", 2, "--extra-targets", 2)

    def test_a_stop_during_the_second_serialised_test_leaves_the_third_unrun(self):
        """The first test's hops in full; the stop event, and on Linux SIGTERM, while the second
        is on the silent hop: the run ends there at once and exits 0. On Linux the event's FIFO
        goes away with the run."""
        stops = {"Global\\stop": lambda process: self.signal_event("Global\\stop")}
        if not WINE:
            stops["term"] = lambda process: process.send_signal(signal.SIGTERM)
        tests = [lab_test("198.18.4.1", "a", probes=3), lab_test("198.19.0.2", "b", max_unknown=30),
                 lab_test("198.19.0.3", "c")]
        for event, stop in stops.items():
            with self.subTest(event):
                process = self.start("json", "-l", "c",
                                     line=document(tests, serialised=True, event=event))
                lines, after = run_until(process, "On hop 2; repeat 0; address 198.19.0.2",
                                         lambda: stop(process))
                self.assertEqual(process.returncode, 0)
                results = results_of(lines)
                self.assertEqual([(r["testUuid"], len(r["report"]["hubs"])) for r in results],
                                 [("a", 4), ("b", 2), ("c", 0)])
                self.assertIn("Sequential tracing is exiting due received signal.",
                              "".join(lines))
                self.assertEqual(os.listdir(self.events), [])
                self.assertLess(after, 20)
        # The stop ends the router names' look-ups, so the hosts may stay addresses.
        self.assertEqual([(h["count"], h["address"], h["sent"], h["loss"])
                          for h in results[0]["report"]["hubs"]],
                         [("1", PATH[0], 3, 0), ("2", PATH[1], 3, 100), ("3", PATH[2], 3, 0),
                          ("4", PATH[3], 3, 0)])

    @not_under_wine("capabilities are the Linux build's; on Windows the process keeps its token")
    def test_root_keeps_no_capability_but_what_its_run_needs(self):
        process = self.start(*TRACE, as_root=True)
        self.assertEqual(set(capabilities_while_tracing(process)), {(0, 0, 0)})
        self.assertEqual(hub_addresses(json.loads(process.communicate(timeout=120)[0])[0]), PATH)
        self.assertIn("Gave up every capability but: none", self.log())
        # Probes from ports 900 on: a refused bind would have left every hop unknown. Root
        # without the override obeys the mode bits as a stranger: settings only their owner
        # reads, or a log folder only its owner writes in, keep it.
        low = document([lab_test("198.18.4.1", "low")], serialised=True, event="low",
                       min_port=900, max_port=999)
        for path, mode in ((os.path.join(self.directory, "registry.reg"), 0o600),
                           (self.folder, 0o755)):
            before = os.stat(path).st_mode
            os.chown(path, 65534, 65534)
            os.chmod(path, mode)
            try:
                results = self.assert_ok(self.run_json(low, as_root=True))
            finally:
                os.chown(path, 0, 0)
                os.chmod(path, before)
            self.assertEqual(hub_addresses(results[0]), PATH)
            self.assertIn("Gave up every capability but: net_bind_service, dac_override",
                          self.log())

    @not_under_wine("under Wine the flood drowns the routers' answers: hops 2 and 3 come back "
                    "unanswered (Wine's receive path, not hopr.exe's)")
    def test_forged_flood_on_the_probes_port_leaves_the_silent_hop_silent(self):
        """Every probe leaves from port 33000; router 1 floods time-exceeded datagrams quoting
        the target and that port. Each probe's socket takes only answers that quote its own
        sequence number, so the silent router stays silent."""
        line = document([lab_test("198.18.4.1", "f")], serialised=True, event="flood",
                        min_port=33000, max_port=33999)
        # A sanitizer build is several times slower; past what it drains, the kernel would drop
        # the routers' answers along with the flood.
        rate = 10_000 if os.environ.get("HOPR_SANITIZE") else 30_000
        # ICMP errors the client's kernel dropped: they quoted no sequence number in flight.
        refused = lambda: int(subprocess.run(
            self.in_client("nstat", "-az", "TcpExtOutOfWindowIcmps"), capture_output=True,
            text=True, check=True).stdout.split("TcpExtOutOfWindowIcmps")[1].split()[0])
        before = refused()
        flood = subprocess.Popen(
            ["ip", "netns", "exec", f"{self.name}r1", sys.executable,
             os.path.join(os.path.dirname(os.path.abspath(__file__)), "flood.py"),
             "198.18.1.2", "198.18.4.1", "6", str(rate), "33000"], stdout=subprocess.PIPE)
        results = self.assert_ok(self.run_json(line, log="n"))
        sent = int(flood.communicate(timeout=60)[0])
        self.assertEqual(hub_addresses(results[0]), PATH)
        self.assertEqual([h["loss"] for h in results[0]["report"]["hubs"]], [0, 100, 0, 0])
        # The forged answers reached the probes' sockets, and the kernel turned them away there.
        self.assertGreater(refused() - before, 1000, f"{sent} sent")

if __name__ == "__main__":
    unittest.main()
