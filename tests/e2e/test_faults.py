"""Faults of a run behind a name server that never answers: SIGTERM, the link or the address
gone, names that hang, standard output gone. None hangs; the JSON array is whole or absent."""

import json
import os
import signal
import subprocess
import time
import unittest

from lab import LabCase, document, hub_addresses, lab_test, not_under_wine, results_of, run_until

# Router 3 is silent, so the trace spends a second per probe on hop 3: time to act.
TRACE = ("test", "198.18.5.1", "-p", 80, "-r", 2, "-t", 1, "-u", 3, "-l", "c")
SHORT = ("test", "198.18.5.1", "-p", 80, "-r", 1, "-t", 1, "-u", 1, "-l", "f")
HOP_3 = "On hop 3; repeat 0; address 198.18.5.1"
ANSWERING = ["198.18.1.1", "198.18.2.1", "198.18.4.1", "198.18.5.1"]


@not_under_wine("SIGTERM, SIGPIPE and the standard-descriptor guard are the Linux build's, and "
                "the faults are timed on its log lines")
class Faults(LabCase):
    layout = ("--routers", 4, "--silent", 3, "--dns", "dead")
    registry = ('[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia]\n'
                '"dns-resolution-timeout"=dword:000007d0\n')  # look-ups give up after 2 s

    def test_sigterm_link_down_or_address_removed_during_a_trace_ends_it_at_once(self):
        """At the silent hop 3: SIGTERM writes the hops so far; without the link or the address
        the probes fail at once and the silent hops end the trace at max unknown."""
        client_ip = self.client_ip
        faults = {
            "Asked to terminate: writing the results gathered so far.":
                lambda process: process.send_signal(signal.SIGTERM),
            "Network is unreachable": lambda _: client_ip("link", "set", "dev", "right", "down"),
            "bind() failed": lambda _: client_ip("address", "del", "198.18.1.2/24", "dev", "right"),
        }
        for logged, fault in faults.items():
            with self.subTest(logged):
                process = self.start(*TRACE)
                lines, after = run_until(process, HOP_3, lambda: fault(process))
                client_ip("link", "set", "dev", "right", "up")
                client_ip("address", "replace", "198.18.1.2/24", "dev", "right")
                client_ip("route", "replace", "default", "via", "198.18.1.1")
                self.assertEqual(process.returncode, 0)
                addresses = hub_addresses(results_of(lines)[0])
                self.assertEqual(addresses[:3], ANSWERING[:2] + ["0.0.0.0"])
                if logged.startswith("Asked"):  # in hop 3, at worst the next, of five
                    self.assertLess(len(addresses), 5)
                else:
                    self.assertEqual(addresses[3:], ["0.0.0.0"] * 2)
                self.assertIn(logged, "".join(lines))
                self.assertLess(after, 20)

    def test_router_names_wait_at_most_the_lookup_limit_and_stay_addresses(self):
        """Look-ups that never end hold up neither the probes nor, past the limit, the results."""
        process = self.start(*TRACE)
        with process.stdout:
            lines = [(time.monotonic(), line) for line in process.stdout]
        self.assertEqual(process.wait(timeout=60), 0)
        probes = [at for at, line in lines if "; repeat " in line]
        results = next(at for at, line in lines if "probes and" in line and "responses." in line)
        # Hop 3's two silent probes take 2 s; a look-up in their way would add 2 s per router.
        self.assertLessEqual(probes[-1] - probes[0], 4.5)
        self.assertLessEqual(results - probes[-1], 2.5)
        hubs = results_of([line for _, line in lines])[0]["report"]["hubs"]
        self.assertEqual([h["address"] for h in hubs], ANSWERING[:2] + ["0.0.0.0"] + ANSWERING[2:])
        self.assertEqual([h["host"] for h in hubs], ANSWERING[:2] + ["???"] + ANSWERING[2:])

    def test_sigterm_before_the_input_line_kills_and_while_target_names_hang_ends_the_run(self):
        """Before the input line the signal's default action; once it is read every test gets
        a result at once, also those whose target's look-up hangs."""
        self.settings("")  # the default look-up limit, 15 s
        tests = [lab_test(f"hangs{i}.lab", f"u{i}") for i in range(3)]
        for line, status in ((None, -signal.SIGTERM), (document(tests), 0)):
            process = self.start("json", "-l", "n", line=line)
            time.sleep(3)
            process.send_signal(signal.SIGTERM)
            signalled = time.monotonic()
            output = process.communicate(timeout=60)[0]
            self.assertEqual(process.returncode, status)
            self.assertLessEqual(time.monotonic() - signalled, 3)
        self.assertEqual([(r["testUuid"], r["report"]["hubs"]) for r in json.loads(output)],
                         [("u0", []), ("u1", []), ("u2", [])])

    def test_closed_output_is_neither_a_silent_death_nor_taken_over_by_the_log_file(self):
        """A reader gone before the results: status 255, not killed by SIGPIPE. Standard output
        closed before the start: the results are not written into the log file."""
        gone = self.start(*SHORT)
        gone.stdout.close()
        self.assertEqual(gone.wait(timeout=120), 255)
        log = self.log()
        self.assertIn("Unknown main() error -- aborting HOPR", log)
        self.assertIn("Failed to write the results to standard output", log)
        closed = subprocess.run(self.command(*SHORT), env=self.environment(),
                                timeout=120, preexec_fn=lambda: os.close(1))
        self.assertEqual(closed.returncode, 0)
        # Once in its log line; a second copy would be the results written into the log file.
        self.assertEqual(self.log().count('[{"networkObjectDomainOrIpIndex"'), 1)

    def test_sigterm_during_concurrent_start_delays_ends_the_run_at_once(self):
        process = self.start("json", "-l", "c", line=document([lab_test("198.18.5.1", "a"),
                                                               lab_test("198.18.2.1", "b")]))
        # The delays are drawn from 1 to 60 s: a run not stopped would take up to a minute.
        lines, after = run_until(process, "will run in",
                                 lambda: process.send_signal(signal.SIGTERM))
        self.assertEqual(process.returncode, 0)
        self.assertLess(after, 20)
        self.assertEqual([r["testUuid"] for r in results_of(lines)], ["a", "b"])

if __name__ == "__main__":
    unittest.main()
