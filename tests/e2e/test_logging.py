"""Log settings from the agent's registry: level and rotation of the log file."""

import os
import unittest

from lab import Lab, LabCase, require_root

CONFIG = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Orvia\\Config]\n"


def setUpModule():
    require_root()


class LogRotation(LabCase):
    def test_small_files_rotate_into_at_most_two_numbered_copies(self):
        settings = (CONFIG + '"MinimumLogLevel"="debug"\n"MaxLogFileSize"=dword:00000400\n'
                    '"MaxLogFiles"=dword:00000002\n')
        with Lab("--routers", 2, registry=settings) as lab:
            self.assert_ok(lab.run("test", "198.18.3.1", "-p", 80, "-r", 2, "-t", 1, "-u", 3,
                                   "-l", "f"))
            files = sorted(f for f in os.listdir(lab.directory) if f.startswith("velmora_hopr"))
            newest = lab.log()
            rotated = lab.log("velmora_hopr.2.log")
            lab.write_registry("")
            os.remove(os.path.join(lab.directory, "velmora_hopr.log"))
            self.assert_ok(lab.run("test", "198.18.3.1", "-p", 443, "-r", 1, "-t", 1, "-u", 1,
                                   "-l", "f"))
            default_log = lab.log()
        self.assertEqual(files, ["velmora_hopr.1.log", "velmora_hopr.2.log", "velmora_hopr.log"])
        self.assertLessEqual(len(newest.encode()), 1024 + 600)  # one record may overshoot
        self.assertIn("[debug]", rotated + newest)
        self.assertNotIn("[debug]", default_log)
        self.assertIn("[info] Selected interfaces:", default_log)


if __name__ == "__main__":
    unittest.main()
