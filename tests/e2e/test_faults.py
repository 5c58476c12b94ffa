"""Faults in the middle of a run: the link or the address going away, stdout closed, SIGTERM.
Each ends with a documented status, in bounded time, with the JSON array whole or absent."""

import os
import signal
import subprocess
import time
import unittest

from lab import (Lab, LabCase, document, hub_addresses, lab_test, not_under_wine,
                 require_root, results_of, run_until)

# Router 3 is silent, so the trace spends a second per probe on hop 3: time to act.
ROUTERS = ("--routers", 4, "--silent", 3)
TRACE = ("test", "198.18.5.1", "-p", 80, "-r", 2, "-t", 1, "-u", 3, "-l", "c")
HOP_3 = "On hop 3; repeat 0; address 198.18.5.1"


def setUpModule():
    require_root()


def start(lab, *arguments, stdin=None):
    return subprocess.Popen(lab.command(*arguments), stdin=stdin, stdout=subprocess.PIPE,
                            text=True, env=lab.environment())


@not_under_wine("not yet made to run against hopr.exe: the link change is timed on log lines "
                "of the Linux build")
class LinkFaults(LabCase):
    def fault_during_hop_3(self, *fault):
        with Lab(*ROUTERS) as lab:
            process = start(lab, *TRACE)
            lines, after = run_until(process, HOP_3,
                                     lambda: subprocess.run(["ip", "-n", f"{lab.name}c", *fault],
                                                            check=True))
        self.assertEqual(process.returncode, 0)
        results = results_of(lines)
        # The probes fail at once from then on; the silent hops end the trace at max unknown.
        self.assertEqual(hub_addresses(results[0]),
                         ["198.18.1.1", "198.18.2.1", "0.0.0.0", "0.0.0.0", "0.0.0.0"])
        self.assertLess(after, 30)
        return "".join(lines)

    def test_link_down_during_a_trace_ends_it_with_the_hops_before(self):
        log = self.fault_during_hop_3("link", "set", "dev", "right", "down")
        self.assertIn("Network is unreachable", log)

    def test_address_removed_during_a_trace_ends_it_with_the_hops_before(self):
        log = self.fault_during_hop_3("address", "del", "198.18.1.2/24", "dev", "right")
        self.assertIn("bind() failed", log)


@not_under_wine("the standard-descriptor guard and SIGPIPE are the Linux build's; Windows has "
                "neither")
class ClosedOutput(LabCase):
    def test_reader_gone_before_the_results_exits_255_not_killed_by_sigpipe(self):
        with Lab("--routers", 2) as lab:
            process = subprocess.Popen(lab.command("test", "198.18.3.1", "-p", 80, "-r", 1,
                                                   "-t", 1, "-u", 2, "-l", "f"),
                                       stdout=subprocess.PIPE, env=lab.environment())
            process.stdout.close()
            process.wait(timeout=120)
            log = lab.log()
        self.assertEqual(process.returncode, 255)
        self.assertIn("Unknown main() error -- aborting HOPR", log)
        self.assertIn("Failed to write the results to standard output", log)

    def test_closed_stdout_is_not_taken_over_by_the_log_file(self):
        with Lab("--routers", 2) as lab:
            completed = subprocess.run(lab.command("test", "198.18.3.1", "-p", 80, "-r", 1,
                                                   "-t", 1, "-u", 2, "-l", "f"),
                                       env=lab.environment(), timeout=120,
                                       preexec_fn=lambda: os.close(1))
            log = lab.log()
        self.assertEqual(completed.returncode, 0)
        # Once in its log line; a second copy would be the results written into the log file.
        self.assertEqual(log.count('[{"networkObjectDomainOrIpIndex"'), 1)


@not_under_wine("SIGTERM is a Linux signal; under Wine it ends hopr.exe's host process")
class Termination(LabCase):
    def test_sigterm_during_a_trace_writes_the_hops_so_far_and_exits_0(self):
        with Lab(*ROUTERS) as lab:
            process = start(lab, *TRACE)
            lines, after = run_until(process, HOP_3, lambda: process.send_signal(signal.SIGTERM))
        self.assertEqual(process.returncode, 0)
        hubs = results_of(lines)[0]["report"]["hubs"]
        # Stopped in the silent hop 3 (or at worst the next): the whole path has five.
        self.assertEqual([h["count"] for h in hubs][:3], ["1", "2", "3"])
        self.assertLess(len(hubs), 5)
        self.assertEqual(hub_addresses(results_of(lines)[0])[:2], ["198.18.1.1", "198.18.2.1"])
        self.assertIn("Asked to terminate: writing the results gathered so far.", "".join(lines))
        self.assertLess(after, 20)

    def test_sigterm_in_a_serialised_run_acts_as_its_exit_event(self):
        self.assert_stop_ends_serialised_run(
            "stop", lambda lab, process: process.send_signal(signal.SIGTERM))

    def test_sigterm_during_concurrent_start_delays_ends_at_once(self):
        tests = [lab_test("198.18.3.1", "a"), lab_test("198.19.0.2", "b")]
        with Lab("--routers", 2, "--extra-targets", 1) as lab:
            process = lab.start_json(document(tests))
            # The delays are drawn from 1 to 60 s: a run not stopped would take up to a minute.
            lines, after = run_until(process, "will run in",
                                     lambda: process.send_signal(signal.SIGTERM))
        self.assertEqual(process.returncode, 0)
        self.assertEqual([r["testUuid"] for r in results_of(lines)], ["a", "b"])
        self.assertLess(after, 20)

    def test_sigterm_before_the_input_line_ends_the_process_with_nothing_written(self):
        with Lab("--routers", 1) as lab:
            process = start(lab, "json", "-l", "n", stdin=subprocess.PIPE)
            time.sleep(1)
            process.send_signal(signal.SIGTERM)
            output = process.communicate(timeout=30)[0]
        self.assertEqual(process.returncode, -signal.SIGTERM)
        self.assertEqual(output, "")


if __name__ == "__main__":
    unittest.main()
