"""The lab itself: it runs on a system without /etc/hosts and leaves no process behind."""

import os
import shutil
import subprocess
import tempfile
import time
import unittest

from lab import (BINARY, LAB, Lab, LabCase, not_under_wine, processes_in, require_root,
                 survivors)


def setUpModule():
    require_root()


# In a private mount namespace, /etc becomes an overlay whose hosts and resolv.conf are deleted:
# the lab then sees a minimal system without them, and the real /etc is never touched.
WITHOUT_HOSTS = """
set -e
mount -t tmpfs tmpfs "$WORK"
mkdir "$WORK/upper" "$WORK/work"
mount -t overlay overlay -o "lowerdir=/etc,upperdir=$WORK/upper,workdir=$WORK/work" /etc
rm -f /etc/hosts /etc/resolv.conf
"$LAB" up "$NAME" --routers 1
"$LAB" exec "$NAME" "$HOPR" test target.lab -p 80 -r 1 -t 1 -u 3 -l n > "$WORK/result" || true
"$LAB" down "$NAME"
cat "$WORK/result"
"""


@not_under_wine("checks the lab script itself, the same whichever program it hosts")
class LabScript(LabCase):
    def test_missing_bind_targets_are_created_so_lab_names_resolve(self):
        lab = Lab()  # never entered: its name and environment only
        self.addCleanup(shutil.rmtree, lab.directory, ignore_errors=True)
        with tempfile.TemporaryDirectory() as work:
            env = dict(lab.environment(), WORK=work, LAB=LAB, NAME=lab.name,
                       HOPR=os.path.abspath(BINARY))
            done = subprocess.run(["unshare", "--mount", "--propagation", "private", "sh", "-c",
                                   WITHOUT_HOSTS], capture_output=True, text=True, env=env,
                                  timeout=120)
        self.assertIn("/etc/hosts is missing; creating it empty", done.stderr)
        self.assertIn("/etc/resolv.conf is missing; creating it empty", done.stderr)
        results = self.assert_ok(done)
        last = results[0]["report"]["hubs"][-1]
        self.assertEqual((last["address"], last["host"]), ("198.18.2.1", "target.lab"))
        self.assertTrue(os.path.exists("/etc/hosts") and os.path.exists("/etc/resolv.conf"))
        self.assertEqual(lab.namespaces(), [])

    def test_down_ends_the_labs_processes_and_no_other(self):
        outside = subprocess.Popen(["sleep", "300"])
        with Lab("--routers", 1) as other:
            others = processes_in(other.namespaces())
            with Lab("--routers", 1, "--tunnel") as lab:
                client = subprocess.Popen([LAB, "exec", lab.name, "sleep", "300"],
                                          stderr=subprocess.DEVNULL)
                while not processes_in([f"{lab.name}c"]):
                    time.sleep(0.05)
                servers = processes_in(lab.namespaces())
            # The lab script reports its command's end by SIGTERM as 128 + 15.
            self.assertEqual(client.wait(timeout=10), 143)
            self.assertEqual(survivors(servers), [])
            self.assertTrue(others)
            self.assertEqual(sorted(survivors(others)), sorted(pid for pid, _ in others))
            self.assertIsNone(outside.poll())
        outside.kill()
        outside.wait()


if __name__ == "__main__":
    unittest.main()
