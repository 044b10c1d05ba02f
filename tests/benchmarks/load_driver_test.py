"""Runs the load driver for the cheapest request, and the report on it: load_driver_test.py KX_LOAD"""

import json
import pathlib
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "benchmarks" / "report"))

import figures
import tables


class LoadDriver(unittest.TestCase):
    program = ""

    def run_driver(self, *options):
        return subprocess.run([self.program, *options], capture_output=True, text=True, check=False)

    def measure(self, *options):
        result = self.run_driver("--quick", *options)
        self.assertEqual(result.returncode, 0, result.stderr)
        return figures.Figures([json.loads(line) for line in result.stdout.splitlines()])

    def test_measures_plain_connections_tls_and_subscriptions(self):
        found = self.measure("--filter", "GetStatus")
        for section, row in (("Services", "GetStatus"), ("Services", "GetStatus, new connection"),
                             ("With TLS", "GetStatus, new connection"),
                             ("Beside subscriptions", "GetStatus beside 1000")):
            self.assertGreater(found.get_ratio(section, row, "floor"), 0, row)
        self.assertGreater(found.get_ratio("Beside subscriptions", "GetStatus beside 1000", "beside none"), 0)
        line = found.find("Services", "GetStatus")
        self.assertLessEqual(line["servers"]["ours"]["p50 us"], line["servers"]["ours"]["p99.9 us"])
        self.assertIn("GetStatus beside 1000", tables.format_tables(tables.create_tables(found)))

    def test_measures_chosen_rows_beside_an_earlier_version(self):
        found = self.measure("--row", "Services: Write 1000", "--before", self.program)
        self.assertEqual([line["row"] for line in found.lines], ["turns", "Write 1000"])
        self.assertGreater(found.get_ratio("Services", "Write 1000", "before"), 0)

    def test_refuses_what_it_does_not_know(self):
        result = self.run_driver("--no-such-option")
        self.assertEqual(result.returncode, 1)
        self.assertIn("--no-such-option", result.stderr)

    def test_names_rows_that_there_are_not(self):
        result = self.run_driver("--quick", "--row", "Services: Read 7")
        self.assertEqual(result.returncode, 0)
        self.assertIn("no such row: Services: Read 7", result.stderr)


if __name__ == "__main__":
    LoadDriver.program = sys.argv.pop()
    unittest.main()
