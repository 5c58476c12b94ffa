"""Target names, unresolvable targets and the --interface choice of the tunnel path."""

import unittest

from lab import PROGRAM, Lab, LabCase, hub_addresses, require_root


def setUpModule():
    require_root()


class Targets(LabCase):
    def test_names_from_the_hosts_file_and_unresolvable_names(self):
        with Lab("--routers", 2) as lab:
            named = self.assert_ok(lab.run("test", "target.lab", "-p", 80, "-r", 2, "-t", 1,
                                           "-u", 3, "-l", "n"))
            missing = lab.run("test", "nowhere.invalid", "-p", 80, "-r", 2, "-t", 1, "-u", 3,
                              "-l", "f")
            log = lab.log()
        last = named[0]["report"]["hubs"][-1]
        self.assertEqual((last["address"], last["host"]), ("198.18.3.1", "target.lab"))
        self.assertEqual(named[0]["report"]["mtr"]["dst"], "target.lab")
        self.assertEqual(missing.returncode, 0)
        self.assertEqual(missing.stdout, "[]")
        self.assertIn("Failed processing IP for test  against target nowhere.invalid. "
                      "This test will be skipped.", log)

    def test_interface_option_binds_the_probes_to_the_tunnel(self):
        with Lab("--routers", 3, "--tunnel") as lab:
            results = self.assert_ok(lab.run("test", "198.18.4.1", "-p", 80, "-r", 2, "-t", 1,
                                             "-u", 3, "-l", "f", "--interface", "198.18.60.2"))
            log = lab.log()
        self.assertEqual(hub_addresses(results[0]), ["198.18.60.1", "198.18.4.1"])
        if not PROGRAM.answers_on_probe_sockets:
            self.assertIn("The listener physical interface IP address to bind to is: 198.18.60.2",
                          log)
        if PROGRAM.finds_tunnel_adapter:
            self.assertIn("Virtual interface: 198.18.60.2", log)


if __name__ == "__main__":
    unittest.main()
