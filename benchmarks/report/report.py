"""Prints what the benchmarks measured as tables. scripts/bench calls it.

    report.py [OPTION...] FILE...   lines of kx_load or of an earlier run, reports of Google Benchmark, or folders with
                                    callgrind's dumps of kx_instructions
      --save FILE                   keep the figures, to compare later runs with
      --compare FILE                print them beside those of an earlier run
      --document FOLDER             put tables and plots into the documentation there
    report.py --rows                print the rows that kx_load measures for the goals
    report.py --machine             print the line that says what machine this is

The status is 2 if a goal is missed.
"""

import argparse
import json
import pathlib
import sys

import goals
import plots
import tables
from figures import Figures, describe_machine, read, write

MISSED = 2
USER_TABLES = ("Services", "Throughput and latency", "Goals")


def parse_arguments(words):
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("files", nargs="*")
    parser.add_argument("--save")
    parser.add_argument("--compare")
    parser.add_argument("--document", type=pathlib.Path)
    parser.add_argument("--rows", action="store_true")
    parser.add_argument("--machine", action="store_true")
    return parser.parse_args(words)


def create_tables(figures):
    """With the goals, if a figure for one of them was measured."""
    result = tables.create_tables(figures)
    judged = goals.create_table(figures)
    return result + [judged] if goals.has_measured(judged) else result


def format_run(figures, titles=None):
    """The notes, and the tables with these titles, or all."""
    chosen = [table for table in create_tables(figures) if titles is None or table.title in titles]
    return "\n".join([*tables.create_notes(figures), "", tables.format_tables(chosen)])


def format_comparison(before, now):
    notes = ["Compared with a run on:", *tables.create_notes(before), ""]
    compared = tables.compare(tables.create_tables(before), tables.create_tables(now))
    return "\n".join(notes) + "\n" + tables.format_tables(compared)


def replace_part(document, part, text):
    """Replaces what stands between the two marks of a part of a page."""
    page = document.read_text(encoding="utf-8")
    head, mark, rest = page.partition(f"<!-- {part}, written by scripts/bench --document -->\n")
    _, end, tail = rest.partition(f"<!-- end of {part} -->")
    if not mark or not end:
        raise ValueError(f"{document} has no place for {part}")
    document.write_text(f"{head}{mark}{text}{end}{tail}", encoding="utf-8")


def replace_table(document, table):
    replace_part(document, "the table", f"```text\n{table}```\n")


def write_document(figures, folder):
    replace_table(folder / "performance.md", format_run(figures, USER_TABLES))
    replace_table(folder / "internals" / "request-costs.md", format_run(figures))
    replace_part(folder / "performance.md", "the plots", plots.draw(figures, folder))


def main(words):
    arguments = parse_arguments(words)
    if arguments.rows:
        print("\n".join(goals.get_rows()))
        return 0
    if arguments.machine:
        print(json.dumps(describe_machine()))
        return 0
    # Read first: what is wrong with a file should not come up after a long table.
    before = Figures(read(arguments.compare)) if arguments.compare else None
    figures = Figures([line for file in arguments.files for line in read(file)])
    if arguments.save:
        write(arguments.save, figures.lines)
    print(format_run(figures), end="")
    if before:
        print("\n" + format_comparison(before, figures), end="")
    if arguments.document:
        write_document(figures, arguments.document)
    missed = goals.count_missed(goals.create_table(figures))
    if missed:
        print(f"{missed} of {len(goals.GOALS)} goals are missed", file=sys.stderr)
    return MISSED if missed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
