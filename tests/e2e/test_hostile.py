"""Hostile input: an ICMP flood during a trace, broken standard input, missing privileges."""

import os
import re
import subprocess
import sys
import unittest

from lab import Lab, LabCase, hub_addresses, not_under_wine, require_root

HERE = os.path.dirname(os.path.abspath(__file__))


def setUpModule():
    require_root()


class HostileInput(LabCase):
    @not_under_wine("under Wine the flood drowns the routers' answers: hops 2 and 3 come back "
                    "unanswered (Wine's receive path, not hopr.exe's)")
    def test_icmp_flood_changes_neither_the_hops_nor_the_memory(self):
        arguments = ("test", "198.18.4.1", "-p", 80, "-r", 2, "-t", 1, "-u", 3, "-l", "f")
        # A sanitizer build reads datagrams several times slower; past what its listener drains,
        # the kernel drops the routers' answers along with the flood.
        rate = 10_000 if os.environ.get("HOPR_SANITIZE") else 30_000
        with Lab("--routers", 3) as lab:
            calm, calm_kb = lab.run_measured(*arguments)
            flood = subprocess.Popen(
                ["ip", "netns", "exec", f"{lab.name}r1", sys.executable,
                 os.path.join(HERE, "flood.py"), "198.18.1.2", "198.18.4.1", "15", str(rate)],
                stdout=subprocess.PIPE, text=True)
            stormy, stormy_kb = lab.run_measured(*arguments)
            sent = int(flood.communicate(timeout=60)[0])
            received = int(re.findall(r"Got \d+ probes and (\d+) responses", lab.log())[-1])
        self.assertGreater(received, 10000, f"{sent} sent")
        expected = self.assert_ok(calm)
        results = self.assert_ok(stormy)
        self.assertEqual(hub_addresses(results[0]), hub_addresses(expected[0]))
        self.assertEqual(hub_addresses(results[0]),
                         ["198.18.1.1", "198.18.2.1", "198.18.3.1", "198.18.4.1"])
        self.assertEqual([h["loss"] for h in results[0]["report"]["hubs"]], [0, 0, 0, 0])
        # Only a probe's first answer is kept: memory follows the probes, not the datagrams.
        # A sanitizer's allocator holds freed memory back, so its resident size tells nothing.
        if os.environ.get("HOPR_SANITIZE"):
            return
        self.assertLess(stormy_kb - calm_kb, 4096, f"{calm_kb} KiB calm, {stormy_kb} KiB with "
                                                   f"{received} answers received")

    def test_broken_standard_input_ends_with_the_documented_status(self):
        cases = {
            "empty line": (b"\n", 80),
            "no line at all": (b"", 80),
            "binary junk": (bytes(range(256)) * 4 + b"\n", 80),
            "ten megabyte line": (b"[" + b"1," * 5_000_000 + b"1]\n", 80),
            "deep nesting": (b"[" * 200_000 + b"]" * 200_000 + b"\n", 80),
            "number overflow": (b'{"tests":[],"minPort":1e400}\n', 80),
            "huge but valid numbers": (
                b'{"tests":[],"isSerialised":false,"exitEventName":"","minPort":1e300,'
                b'"maxPort":-1e300}\n', 96),
        }
        with Lab("--routers", 1) as lab:
            for name, (stdin, status) in cases.items():
                with self.subTest(name):
                    done = lab.run("json", "-l", "n", stdin=stdin, timeout=60)
                    self.assertEqual(done.returncode, status,
                                     done.stdout[-500:] + done.stderr[-500:])
                    if status == 96:
                        self.assertEqual(done.stdout, b"")
                    else:
                        self.assertIn(b"Exception in ", done.stdout)

    @not_under_wine("Wine's server, not hopr.exe, opens the raw sockets, with the server's "
                    "privileges; Wine has no unelevated process")
    def test_without_raw_socket_privilege_the_run_fails_clearly(self):
        with Lab("--routers", 1) as lab:
            os.chmod(lab.directory, 0o755)
            done = subprocess.run(
                ["ip", "netns", "exec", f"{lab.name}c", "setpriv", "--reuid=nobody",
                 "--regid=nogroup", "--clear-groups", lab.binary, "test", "198.18.2.1", "-p", "80",
                 "-r", "1", "-t", "1", "-u", "1", "-l", "c"],
                capture_output=True, text=True, env=lab.environment(), timeout=60)
        self.assertEqual(done.returncode, 255, done.stdout + done.stderr)
        self.assertIn("Unknown main() error -- aborting HOPR", done.stdout)
        self.assertIn("socket() failed --> Operation not permitted", done.stdout)


if __name__ == "__main__":
    unittest.main()
