"""Least privilege: hopr started as root holds no capability it does not need once it probes.
Every other Linux case runs it as an unprivileged user with no capability at all."""

import glob
import os
import subprocess
import time
import unittest

from lab import (Lab, LabCase, document, hub_addresses, lab_test, not_under_wine,
                 require_root)

PATH = ["198.18.1.1", "0.0.0.0", "198.18.3.1", "198.18.4.1"]
TRACE = ("test", "198.18.4.1", "-p", 80, "-r", 2, "-t", 1, "-u", 3)


def setUpModule():
    require_root()


def capabilities(pid):
    """{thread id: {"CapEff": mask, ...}} for every thread of the process."""
    found = {}
    for status in glob.glob(f"/proc/{pid}/task/*/status"):
        try:
            with open(status, encoding="utf-8") as f:
                lines = [line.split(":") for line in f if line.startswith("Cap")]
        except OSError:
            continue
        found[status.split("/")[4]] = {name: int(value, 16) for name, value in lines}
    return found


def pid_of(binary, timeout=30):
    """The process running this very file."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        for exe in glob.glob("/proc/[0-9]*/exe"):
            try:
                if os.readlink(exe) == binary:
                    return exe.split("/")[2]
            except OSError:
                pass
        time.sleep(0.05)
    raise AssertionError(f"{binary} did not start")


def capabilities_while_tracing(process, binary):
    """The threads' capabilities once its threads run: they start only after the drop."""
    pid = pid_of(binary)
    deadline = time.monotonic() + 30
    while time.monotonic() < deadline and process.poll() is None:
        seen = capabilities(pid)
        if len(seen) >= 2:
            return seen
        time.sleep(0.05)
    raise AssertionError("hopr ended before its listener threads were seen")


@not_under_wine("capabilities are the Linux build's; on Windows the process keeps its token")
class LeastPrivilege(LabCase):
    def trace(self, lab, command):
        process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   text=True, env=lab.environment())
        seen = capabilities_while_tracing(process, lab.binary)
        output, errors = process.communicate(timeout=120)
        self.assertEqual(process.returncode, 0, output[-2000:] + errors)
        return hub_addresses(self.assert_ok(
            subprocess.CompletedProcess(command, 0, output, errors))[0]), seen

    def test_root_gives_up_every_capability_and_traces_the_same_path(self):
        with Lab("--routers", 3, "--silent", 2, as_root=True) as lab:
            hops, seen = self.trace(lab, lab.command(*TRACE, "-l", "f"))
            log = lab.log()
        self.assertEqual(hops, PATH)
        for thread, sets in seen.items():
            self.assertEqual([sets["CapEff"], sets["CapPrm"], sets["CapBnd"]], [0, 0, 0],
                             f"thread {thread}")
        self.assertIn("Gave up every capability but: none", log)

    def test_root_keeps_only_port_binding_for_an_agent_range_below_1024(self):
        with Lab("--routers", 2, as_root=True) as lab:
            results = self.assert_ok(lab.run_json(document(
                [lab_test("198.18.3.1", "low")], serialised=True, event="stop",
                min_port=900, max_port=999)))
            log = lab.log()
        # Probes from ports 900 on: a refused bind would have left every hop unknown.
        self.assertEqual(hub_addresses(results[0]), ["198.18.1.1", "198.18.2.1", "198.18.3.1"])
        self.assertIn("Gave up every capability but: net_bind_service", log)


if __name__ == "__main__":
    unittest.main()
