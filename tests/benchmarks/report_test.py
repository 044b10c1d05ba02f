"""Tests the report on the benchmarks on figures that nobody measured."""

import contextlib
import io
import json
import pathlib
import shutil
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "benchmarks" / "report"))

import figures
import goals
import plots
import report
import tables


def create_server(*times):
    return {"CPU us": list(times), "requests/s": [1e6 / time for time in times],
            "p50 us": 50, "p99 us": 99, "p99.9 us": 99.9}


def create_line(row="Read 100", section="Services", units=100, **servers):
    """What kx_load prints; servers are given with their times."""
    return {"section": section, "row": row, "units": units, "request B": 10, "reply B": 20,
            "servers": {name.replace("_", " "): create_server(*times) for name, times in servers.items()}}


def run(*words):
    """Status and output of the program."""
    output = io.StringIO()
    with contextlib.redirect_stdout(output), contextlib.redirect_stderr(output):
        status = report.main([str(word) for word in words])
    return status, output.getvalue()


class Folder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, name, *lines):
        path = self.folder / name
        figures.write(path, lines)
        return path


class Reading(Folder):
    def test_takes_lines(self):
        line = create_line(ours=[50], floor=[10])
        self.assertEqual(figures.read(self.write("lines", line)), [line])

    def test_takes_the_medians_of_google_benchmark(self):
        path = self.folder / "report"
        path.write_text("""{"context": {}, "benchmarks": [
            {"run_name": "parse/1000", "aggregate_name": "mean", "cpu_time": 7, "time_unit": "ms"},
            {"run_name": "parse/1000/min_time:0.5", "aggregate_name": "median", "cpu_time": 6, "time_unit": "ms",
             "allocations": NaN, "item": -Infinity},
            {"run_name": "poll/100/manual_time", "real_time": 5, "cpu_time": 9, "time_unit": "us"},
            {"run_name": "failed", "error_occurred": true}]}""", encoding="utf-8")
        self.assertEqual([(line["row"], line["figures"]) for line in figures.read(path)],
                         [("parse/1000", {"us": 6000}), ("poll/100", {"us": 5})])

    def test_takes_differences_of_what_callgrind_counted(self):
        for number, (name, total) in enumerate({"server|1|10": 2000, "server|1|30": 4000, "server|1000|10": 20_000,
                                                "server|1000|30": 60_000, "parse|1|1": 7, "parse|1000|1": 1500,
                                                "warming up|1|3": 9, "peer|1|10": 1}.items()):
            (self.folder / f"dump.{number}").write_text(
                f"version: 1\ndesc: Trigger: Client Request: {name}\ntotals: {total}\n", encoding="utf-8")
        found = {line["row"]: line["figures"] for line in figures.read(self.folder)}
        self.assertEqual(found, {"server": {"1 item": 100, "1000 items": 2000, "an item of 1000": 2},
                                 "parse": {"1 item": 7, "1000 items": 1500, "an item of 1000": 2}})


class Tables(unittest.TestCase):
    def test_ratios_are_those_within_rounds(self):
        line = create_line(ours=[10, 20, 60], floor=[10, 10, 10], peer=[40, 40, 30])
        row = tables.create_tables(figures.Figures([line]))[0].rows["Read 100"]
        self.assertEqual(row["CPU us"], 20)
        self.assertEqual(row["of peer"], 0.5)
        self.assertEqual(row["us/unit"], 0.2)

    def test_columns_without_a_value_are_left_out(self):
        table = tables.create_tables(figures.Figures([create_line(ours=[50.125], floor=[10])]))[0]
        self.assertEqual(tables.format_tables([table]),
                         "Services      request B      reply B       CPU us     floor us     of floor      us/unit"
                         "   requests/s\n"
                         "  Read 100           10           20        50.12           10        5.013        0.501"
                         "        19950\n")

    def test_clients_have_a_table_of_latencies(self):
        lines = [create_line("16 clients", tables.CLIENTS, ours=[50], peer=[100])]
        found = tables.create_tables(figures.Figures(lines))[1].rows
        self.assertEqual(found["16 clients"], {"requests/s": 20000, "p50 us": 50, "p99 us": 99, "p99.9 us": 99.9})
        self.assertEqual(found["16 clients, peer"]["requests/s"], 10000)

    def test_memory_is_that_of_a_variable(self):
        lines = [{"section": "Memory by variables", "row": row, "figures": {"ours B": size}}
                 for row, size in (("0", 1000), ("10", 3000))]
        found = tables.create_tables(figures.Figures(lines))[0].rows
        self.assertEqual((found["0"]["B/variable"], found["10"]["B/variable"]), (None, 200))

    def test_comparison_divides_times_and_times_in_floors(self):
        before, now = (tables.create_tables(figures.Figures([create_line(ours=[100], floor=[floor])]))
                       for floor in (10, 20))
        self.assertEqual(tables.compare(before, now)[0].rows["Read 100"],
                         {"before": 100, "now": 100, "now/before": 1, "in floors": 0.5})

    def test_comparison_is_of_what_both_have(self):
        now = tables.create_tables(figures.Figures([create_line(ours=[100])]))
        self.assertEqual(tables.compare([], now), [])


class Goals(Folder):
    def judge(self, *lines):
        return goals.create_table(figures.Figures(list(lines))).rows

    def test_are_kept_or_missed_or_not_measured(self):
        rows = self.judge(create_line("Read 1", ours=[8], peer=[10]), create_line(ours=[8], peer=[10]))
        self.assertEqual(rows["Read 1: of the peer"], {"measured": 0.8, "at most": 0.85, "": "kept"})
        self.assertEqual(rows["Read 100: of the peer"], {"measured": 0.8, "at most": 0.65, "": "missed"})
        self.assertEqual(rows["Read 1000: of the peer"]["measured"], None)
        self.assertEqual(rows["Read 1000: of the peer"][""], "not measured")

    def test_find_every_figure(self):
        everything = {"floor": [1], "peer": [1], "before": [1], "beside_none": [1]}
        lines = [create_line(row, section, ours=[2], **everything)
                 for section, _, row in (goal.partition(": ") for goal in goals.get_rows())]
        lines += [{"section": "Instructions", "row": "server", "figures": {"1 item": 1, "an item of 1000": 1}},
                  {"section": "Peak memory, fresh server", "row": "Read 100000",
                   "figures": {"request B": 1, "reply B": 1, "growth B": 2}}]
        self.assertEqual([name for name, row in self.judge(*lines).items() if row["measured"] is None], [])

    def test_decide_on_the_status(self):
        kept = self.write("kept", create_line("Read 1", ours=[8], peer=[10]))
        missed = self.write("missed", create_line("Read 1", ours=[9], peer=[10]))
        other = self.write("other", create_line("Write 1", ours=[9], peer=[10]))
        self.assertEqual(run(kept)[0], 0)
        self.assertEqual(run(missed)[0], 2)
        self.assertIn(f"1 of {len(goals.GOALS)} goals are missed", run(missed)[1])
        self.assertNotIn("Goals", run(other)[1])

    def test_name_rows_once(self):
        rows = run("--rows")[1].splitlines()
        self.assertIn("With TLS: GetStatus, new connection", rows)
        self.assertEqual(len(rows), len(set(rows)))


class Program(Folder):
    def test_saves_and_compares(self):
        lines = [{"note": "a machine"}, create_line("Write 1", ours=[50], floor=[10])]
        run(self.write("lines", *lines), "--save", self.folder / "saved")
        status, output = run(self.folder / "saved", "--compare", self.folder / "saved")
        self.assertEqual(status, 0)
        self.assertIn("Compared with a run on:\na machine\n", output)
        self.assertRegex(output, r"Write 1 +50 +50 +1 +1\n")

    def test_names_the_machine(self):
        self.assertIn("processors (", json.loads(run("--machine")[1])["note"])

    def test_puts_tables_and_plots_into_the_documentation(self):
        if shutil.which("gnuplot") is None:
            self.skipTest("there is no gnuplot here")
        marks = "".join(f"<!-- {part}, written by scripts/bench --document -->\nold\n<!-- end of {part} -->\nafter\n"
                        for part in ("the table", "the plots"))
        (self.folder / "internals").mkdir()
        for page in ("performance.md", "internals/request-costs.md"):
            (self.folder / page).write_text("before\n" + marks, encoding="utf-8")
        run(self.write("lines", create_line("Read 1", units=1, ours=[8], floor=[4], peer=[10]),
                       create_line("4 clients", tables.CLIENTS, ours=[8])), "--document", self.folder)
        page = (self.folder / "performance.md").read_text(encoding="utf-8")
        self.assertRegex(page, r"(?s)^before\n<!-- the table.*```text\n.*Read 1 .*```\n<!-- end.*\nafter\n<!-- the plots")
        self.assertIn("](performance-clients.svg)\n<!-- end of the plots -->\nafter\n", page)
        self.assertNotIn("performance-memory", page)
        self.assertNotIn("old", page)
        self.assertIn("this library", (self.folder / "performance.svg").read_text(encoding="utf-8"))
        self.assertTrue((self.folder / "performance-clients.svg").exists())


class Plots(unittest.TestCase):
    def test_have_a_line_for_each_server(self):
        found = figures.Figures([create_line("Read 10", units=10, ours=[50], floor=[10]),
                                 create_line("Read 1 every 5 ms", units=1, ours=[50])])
        self.assertEqual(plots.create_time_points(found), {"ours": [(10, 5)], "floor": [(10, 1)]})

    def test_take_clients_and_memory_by_number(self):
        found = figures.Figures([create_line("16 clients", tables.CLIENTS, ours=[50]),
                                 *({"section": "Memory by variables", "row": row,
                                    "figures": {"ours B": size, "floor B": 1e6, "peer B": None}}
                                   for row, size in (("0", 1e6), ("1000", 6e6)))])
        self.assertEqual(plots.create_client_points(found), {"ours": [(16, 20000)]})
        self.assertEqual(plots.create_memory_points(found), {"ours": [(1000, 5)]})


if __name__ == "__main__":
    unittest.main()
