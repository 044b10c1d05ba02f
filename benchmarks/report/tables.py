"""Tables of figures, as text."""

import dataclasses

import figures as measured

CLIENTS = "Read of 100 by clients"
WIDTH = 12
# The columns that are compared between runs, of sections that measure no requests.
KEYS = {
    "Host's wait for the lock": "median ms",
    "Peak memory, fresh server": "growth B",
    "Memory by variables": "ours B",
    "Instructions": "an item of 1000",
    "The parts alone": "us",
    "Host": "at the end",
}


@dataclasses.dataclass
class Table:
    title: str
    key: str    # the column that is compared between runs
    rows: dict  # the name of each row, and its cells by column: numbers, texts, or None

    def get_columns(self):
        """Without those that no row has a value for."""
        columns = {}
        for row in self.rows.values():
            for column, value in row.items():
                columns[column] = columns.get(column, False) or value is not None
        return [column for column, used in columns.items() if used]


def _divide(dividend, divisor):
    return None if dividend is None or not divisor else dividend / divisor


def _to_row(line):
    """Of a request: our time beside that of the others."""
    time = measured.get_median(line, "ours", "CPU us")
    row = {"request B": line["request B"], "reply B": line["reply B"], "CPU us": time}
    for server in ("floor", "peer", "before", "beside none"):
        row[f"{server} us"] = measured.get_median(line, server, "CPU us")
        row[f"of {server}"] = measured.get_ratio(line, server)
    row["us/unit"] = time / line["units"]
    row["requests/s"] = measured.get_median(line, "ours", "requests/s")
    return row


def _create_latencies(lines):
    """How many replies there are in a second, and how long clients wait for each."""
    rows = {}
    for line in lines:
        for server, found in line["servers"].items():
            name = line["row"] if server == "ours" else f"{line['row']}, {server}"
            rows[name] = {"requests/s": measured.get_median(line, server, "requests/s"),
                          **{name: found[name] for name in ("p50 us", "p99 us", "p99.9 us")}}
    return Table("Throughput and latency", "p50 us", rows)


def _create_figures(title, lines):
    rows = {line["row"]: dict(line["figures"]) for line in lines}
    if title == "Peak memory, fresh server":
        for row in rows.values():
            row["times both"] = row["growth B"] / (row["request B"] + row["reply B"])
    if title == "Memory by variables" and "0" in rows:
        for name, row in rows.items():
            row["B/variable"] = _divide(row["ours B"] - rows["0"]["ours B"], int(name))
    return Table(title, KEYS.get(title, "number"), rows)


def create_tables(figures):
    """One for each section."""
    tables = []
    for title, lines in figures.get_sections().items():
        if title == "Plan":
            continue
        if "servers" in lines[0]:
            tables.append(Table(title, "CPU us", {line["row"]: _to_row(line) for line in lines}))
        else:
            tables.append(_create_figures(title, lines))
        if title == CLIENTS:
            tables.append(_create_latencies(lines))
    return tables


def create_notes(figures):
    notes = [line["note"] for line in figures.lines if "note" in line]
    rounds, turn = (figures.get("Plan", "turns", name) for name in ("rounds", "turn ms"))
    if rounds is not None:
        notes.insert(0, "Processor time of the server (user and system) for one request: medians of "
                        f"{rounds:.0f} rounds in turns of {turn:.0f} ms, after one round to warm up.")
    return notes


def compare(before, now):
    """For every row that both have: the key column before and now, their ratio, and the ratio of what both are in terms
    of the floor of their run, which a change of the machine's speed does not touch."""
    tables = []
    older = {table.title: table for table in before}
    for table in now:
        rows = {}
        for name, row in table.rows.items():
            old = older[table.title].rows.get(name) if table.title in older else None
            if old and old.get(table.key) is not None and row.get(table.key) is not None:
                rows[name] = {"before": old[table.key], "now": row[table.key],
                              "now/before": _divide(row[table.key], old[table.key]),
                              "in floors": _divide(_divide(row[table.key], row.get("floor us")),
                                                   _divide(old[table.key], old.get("floor us")))}
        if rows:
            tables.append(Table(f"{table.title}: {table.key}", "now", rows))
    return tables


def format_cell(value):
    """Whole numbers as they are, others with about four digits that count."""
    if value is None:
        return "-"
    if isinstance(value, str):
        return value
    size = abs(value)
    digits = 0 if value == int(value) or size >= 1000 else 1 if size >= 100 else 2 if size >= 10 else 3
    return f"{value:.{digits}f}"


def format_tables(tables):
    """All as one text, with columns that stand below each other."""
    width = max((len(name) + 2 for table in tables for name in (table.title, *table.rows)), default=0)
    parts = []
    for table in tables:
        columns = table.get_columns()
        lines = [_format_line(table.title, columns, width)]
        lines += [_format_line("  " + name, [format_cell(row.get(column)) for column in columns], width)
                  for name, row in table.rows.items()]
        parts.append("\n".join(lines) + "\n")
    return "\n".join(parts)


def _format_line(name, cells, width):
    return (name.ljust(width) + "".join(" " + cell.rjust(WIDTH) for cell in cells)).rstrip()
