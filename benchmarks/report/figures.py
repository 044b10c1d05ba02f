"""What was measured: reads what the measuring programs leave, as lines that all have one form.

A line is a dictionary: {"note": text}, {"section", "row", "figures": {name: number or None}}, or what kx_load prints of
a request (benchmarks/load/lines.h), with figures for each round of each server.
"""

import json
import os
import pathlib
import re
import statistics
import subprocess

ITEMS = (1, 1000)
REQUESTS = (10, 30)
SERVERS = ("server", "server, Write", "server, Browse", "constant reply", "peer")
STEPS = ("parse", "make the message", "generate", "serialise", "free")
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def describe_machine():
    """A line on the machine and how busy it is. A busy one makes all figures larger and less steady."""
    processor = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8"), re.M)
    name = processor.group(1) if processor else "unknown processor"
    compiler = subprocess.run(["g++", "-dumpfullversion"], capture_output=True, text=True, check=False).stdout.strip()
    return {"note": f"{os.cpu_count()} processors ({name}), load at the start {os.getloadavg()[0]:.2f}, "
                    f"g++ {compiler}"}


def read(path):
    """The lines of a file or folder: lines of JSON, the report of a Google Benchmark program, or dumps of callgrind."""
    path = pathlib.Path(path)
    if path.is_dir():
        return read_dumps(path)
    text = path.read_text(encoding="utf-8")
    if '"benchmarks":' in text:
        return list(read_parts(text))
    return [json.loads(line) for line in text.splitlines()]


def write(path, lines):
    pathlib.Path(path).write_text("".join(json.dumps(line) + "\n" for line in lines), encoding="utf-8")


def read_parts(text):
    """Of repeated benchmarks, the medians. Google Benchmark writes "NaN" and "Infinity", which Python takes."""
    for benchmark in json.loads(text)["benchmarks"]:
        if "cpu_time" not in benchmark or benchmark.get("aggregate_name", "median") != "median":
            continue
        name = benchmark["run_name"]
        time = benchmark["real_time" if "/manual_time" in name else "cpu_time"]
        yield {"section": "The parts alone",
               "row": re.split("/min_time:|/iterations:|/manual_time|/real_time", name)[0],
               "figures": {"us": time * NANOSECONDS[benchmark["time_unit"]] / 1000}}


def read_dumps(folder):
    """The instructions that callgrind counted for kx_instructions, for one request."""
    counts = {}
    for file in sorted(folder.iterdir()):
        text = file.read_text(encoding="utf-8", errors="replace")
        name = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.M)
        total = re.search(r"^totals: (\d+)", text, re.M)
        if name and total:
            counts[name.group(1)] = int(total.group(1))
    return list(to_instructions(counts))


def to_instructions(counts):
    """A line for each server and step, from counts by "row|items|requests"."""
    for row in SERVERS + STEPS:
        one, thousand = (get_instructions(counts, row, items) for items in ITEMS)
        if one is not None and thousand is not None:
            yield {"section": "Instructions", "row": row,
                   "figures": {"1 item": one, "1000 items": thousand, "an item of 1000": round(thousand / 1000)}}


def get_instructions(counts, row, items):
    """Of one request: as counted, or the difference of two counts, without what starting and connecting cost."""
    if f"{row}|{items}|1" in counts:
        return counts[f"{row}|{items}|1"]
    less, more = (counts.get(f"{row}|{items}|{requests}") for requests in REQUESTS)
    if less is None or more is None:
        return None
    return round((more - less) / (REQUESTS[1] - REQUESTS[0]))


def get_ratio(line, divisor):
    """Our processor time divided by another server's: the median of the rounds' ratios. None if it took no part."""
    servers = line["servers"]
    if divisor not in servers:
        return None
    return statistics.median(ours / other for ours, other
                             in zip(servers["ours"]["CPU us"], servers[divisor]["CPU us"]))


def get_median(line, server, figure):
    """None if the server took no part."""
    servers = line["servers"]
    return statistics.median(servers[server][figure]) if server in servers else None


class Figures:
    """Looks figures up; None stands for what was not measured."""

    def __init__(self, lines):
        self.lines = lines
        self._rows = {(line["section"], line["row"]): line for line in lines if "section" in line}

    def find(self, section, row):
        return self._rows.get((section, row))

    def get(self, section, row, name):
        line = self.find(section, row)
        return line["figures"].get(name) if line else None

    def get_ratio(self, section, row, divisor):
        line = self.find(section, row)
        return get_ratio(line, divisor) if line else None

    def get_time(self, section, row, server="ours"):
        """Processor time for one request, in microseconds."""
        line = self.find(section, row)
        return get_median(line, server, "CPU us") if line else None

    def get_time_per_unit(self, section, row, server="ours"):
        time = self.get_time(section, row, server)
        return None if time is None else time / self.find(section, row)["units"]

    def get_sections(self):
        """The titles, in their order, each with its lines."""
        sections = {}
        for line in self.lines:
            if "section" in line:
                sections.setdefault(line["section"], []).append(line)
        return sections
