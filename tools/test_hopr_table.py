"""hopr-table against result arrays shaped like hopr's output."""
import json
import pathlib
import subprocess
import sys
import unittest

VIEWER = pathlib.Path(__file__).with_name("hopr-table")


def hub(count, host, address, loss=0.0, last=0, avg=0.0, best=0, worst=0, stdev=0.0):
    return {"count": str(count), "sent": 3, "address": address, "host": host, "loss": loss,
            "worst": worst, "best": best, "last": last, "avg": avg, "stdev": stdev}


def result(name, hubs):
    return {"testName": name, "testUuid": "u", "timestamp": 1,
            "report": {"mtr": {"src": "vm", "dst": "target.lab", "dstAddress": "198.18.5.1",
                               "tests": "3"}, "hubs": hubs}}


def run(text):
    done = subprocess.run([sys.executable, str(VIEWER)], input=text, capture_output=True,
                          text=True, check=False)
    return done.returncode, done.stdout, done.stderr


class HopTable(unittest.TestCase):
    def test_rows_follow_the_hops_with_unknown_hops_as_question_marks(self):
        hubs = [hub(1, "r1.lab", "198.18.1.1", last=1, avg=1 / 3, worst=1, stdev=0.57735),
                hub(2, "???", "0.0.0.0", loss=100.0),
                hub(3, "a-long-router-name.lab", "198.18.3.1", loss=33.333, last=4, avg=6.25,
                    best=3, worst=12, stdev=4.06)]
        status, out, err = run(json.dumps([result("Plain path", hubs)]))
        self.assertEqual((status, err), (0, ""))
        lines = out.splitlines()
        self.assertEqual(lines[0], "Plain path -> target.lab (198.18.5.1), 3 probes per hop")
        self.assertEqual(lines[1].split(), ["count", "host", "address", "loss", "sent", "last",
                                            "avg", "best", "worst", "stdev"])
        self.assertEqual(lines[2].split(),
                         ["1", "r1.lab", "198.18.1.1", "0.0", "3", "1", "0.3", "0", "1", "0.6"])
        self.assertEqual(lines[3].split(),
                         ["2", "???", "???", "100.0", "3", "0", "0.0", "0", "0", "0.0"])
        self.assertEqual(lines[4].split()[1:4], ["a-long-router-name.lab", "198.18.3.1", "33.3"])
        # Columns line up however long a name is: every row ends at the same place.
        self.assertEqual(len({len(line) for line in lines[1:]}), 1)

    def test_one_table_per_result_in_input_order(self):
        results = [result("first", [hub(1, "r1.lab", "198.18.1.1")]),
                   result("second", [hub(1, "u1.lab", "198.18.60.1")])]
        status, out, _ = run(json.dumps(results))
        self.assertEqual(status, 0)
        titles = [line for line in out.splitlines() if "probes per hop" in line]
        self.assertEqual([title.split()[0] for title in titles], ["first", "second"])

    def test_an_unnamed_test_is_titled_by_its_target(self):
        status, out, _ = run(json.dumps([result("", [hub(1, "r1.lab", "198.18.1.1")])]))
        self.assertEqual(status, 0)
        self.assertEqual(out.splitlines()[0], "target.lab (198.18.5.1), 3 probes per hop")

    def test_a_run_without_hops_fails_with_the_reason(self):
        status, out, err = run("[]")
        self.assertEqual((status, out), (1, ""))
        self.assertIn("no results", err)
        status, out, err = run(json.dumps([result("ok", [hub(1, "r1.lab", "198.18.1.1")]),
                                           result("Split tunnel", [])]))
        self.assertEqual(status, 1)
        self.assertIn("Split tunnel -> target.lab", out)
        self.assertIn("no hops in: Split tunnel", err)

    def test_input_that_is_not_a_result_array_is_refused(self):
        for text in ["", "{", '{"tests": []}', '[{"testName": "x"}]', "[1]"]:
            with self.subTest(text=text):
                status, out, err = run(text)
                self.assertEqual((status, out), (2, ""))
                self.assertIn("not hopr's result array", err)


if __name__ == "__main__":
    unittest.main()
