"""Hostile input: forged answers flooding the probes' port. Broken standard input needs no
network: the unit tests run the program with it."""

import json
import os
import subprocess
import sys
import unittest

from lab import Lab, LabCase, document, hub_addresses, lab_test, not_under_wine, require_root

HERE = os.path.dirname(os.path.abspath(__file__))


def setUpModule():
    require_root()


def out_of_window_icmps(lab):
    """ICMP errors the client's kernel dropped because they quoted no sequence number in flight."""
    shown = subprocess.run(["ip", "netns", "exec", f"{lab.name}c", "nstat", "-az",
                            "TcpExtOutOfWindowIcmps"], capture_output=True, text=True,
                           check=True).stdout
    return int(shown.split("TcpExtOutOfWindowIcmps")[1].split()[0])


class HostileInput(LabCase):
    @not_under_wine("under Wine the flood drowns the routers' answers: hops 2 and 3 come back "
                    "unanswered (Wine's receive path, not hopr.exe's)")
    def test_forged_flood_on_the_probes_port_changes_neither_the_hops_nor_the_memory(self):
        """Every probe leaves from port 33000; router 1 floods time-exceeded datagrams quoting
        the target and that port. Each probe's socket takes only answers that quote its own
        sequence number, so the silent router stays silent."""
        run = document([lab_test("198.18.4.1", "f")], serialised=True, event="flood",
                       min_port=33000, max_port=33999)
        stdin = json.dumps(run) + "\n"
        # A sanitizer build is several times slower; past what it drains, the kernel would drop
        # the routers' answers along with the flood.
        rate = 10_000 if os.environ.get("HOPR_SANITIZE") else 30_000
        with Lab("--routers", 3, "--silent", 2) as lab:
            calm, calm_kb = lab.run_measured("json", "-l", "n", stdin=stdin)
            refused = out_of_window_icmps(lab)
            flood = subprocess.Popen(
                ["ip", "netns", "exec", f"{lab.name}r1", sys.executable,
                 os.path.join(HERE, "flood.py"), "198.18.1.2", "198.18.4.1", "6", str(rate),
                 "33000"], stdout=subprocess.PIPE, text=True)
            stormy, stormy_kb = lab.run_measured("json", "-l", "n", stdin=stdin)
            sent = int(flood.communicate(timeout=60)[0])
            refused = out_of_window_icmps(lab) - refused
        for results in (self.assert_ok(calm), self.assert_ok(stormy)):
            self.assertEqual(hub_addresses(results[0]),
                             ["198.18.1.1", "0.0.0.0", "198.18.3.1", "198.18.4.1"])
            self.assertEqual([h["loss"] for h in results[0]["report"]["hubs"]], [0, 100, 0, 0])
        # The forged answers reached the probes' sockets, and the kernel turned them away there.
        self.assertGreater(refused, 1000, f"{sent} sent")
        if os.environ.get("HOPR_SANITIZE"):
            return  # a sanitizer's allocator holds freed memory back
        self.assertLess(stormy_kb - calm_kb, 4096, f"{calm_kb} KiB calm, {stormy_kb} KiB flooded")


if __name__ == "__main__":
    unittest.main()
