"""What the library should keep, beside what was measured."""

import dataclasses
import typing

from tables import Table

SERVICES = "Services"
TLS = "With TLS"


@dataclasses.dataclass
class Goal:
    name: str
    most: float
    get: typing.Callable  # the figure, of Figures; None if it was not measured
    row: str = ""         # "section: row" that kx_load has to measure for it; none if empty


def _of(server, row, most, section=SERVICES, name=None):
    words = {"peer": "of the peer", "floor": "of the floor", "before": "of the version before"}
    return Goal(f"{name or row}: {words[server]}", most,
                lambda figures: figures.get_ratio(section, row, server), f"{section}: {row}")


def _of_1000(row, most):
    def get(figures):
        return _divide(figures.get_time_per_unit(SERVICES, row), figures.get_time_per_unit(SERVICES, "Read 1000"))

    return Goal(f"an item of {row.removeprefix('Read ')}: of one of 1000", most, get, f"{SERVICES}: {row}")


def _divide(dividend, divisor):
    return None if dividend is None or divisor is None else dividend / divisor


def _get_peak(figures):
    get = lambda name: figures.get("Peak memory, fresh server", "Read 100000", name)
    return None if get("growth B") is None else get("growth B") / (get("request B") + get("reply B"))


BESIDE = "GetStatus beside 100000"

GOALS = [
    _of("peer", "Read 1", 0.85),
    _of("peer", "Read 1 every 5 ms", 1.2),
    _of("floor", "GetStatus", 1),
    _of("peer", "Read 100", 0.65),
    _of("peer", "Read 1000", 0.65),
    _of("peer", "Read 100000", 0.5),
    Goal("Read 1: instructions", 105_000, lambda figures: figures.get("Instructions", "server", "1 item")),
    Goal("an item of 1000: instructions", 9_000,
         lambda figures: figures.get("Instructions", "server", "an item of 1000")),
    _of("before", "Write 1000", 0.75),
    _of("before", "Browse 10000", 0.75),
    _of("floor", "GetStatus, new connection", 1.2),
    _of("floor", "GetStatus, new connection", 1.2, TLS, "GetStatus, new connection, TLS resumed"),
    Goal(f"{BESIDE} subscriptions: of none", 1.05,
         lambda figures: figures.get_ratio("Beside subscriptions", BESIDE, "beside none"),
         f"Beside subscriptions: {BESIDE}"),
    Goal("Read 100000: peak memory, of request and reply", 1.5, _get_peak, "Peak memory, fresh server: Read 100000"),
    _of_1000("Read 100000", 1.3),
    _of_1000("Read 1000000", 1.3),
]


def get_rows():
    """What kx_load has to measure for the goals, without repetitions."""
    return list(dict.fromkeys(goal.row for goal in GOALS if goal.row))


def judge(measured, most):
    if measured is None:
        return "not measured"
    return "kept" if measured <= most else "missed"


def create_table(figures):
    rows = {}
    for goal in GOALS:
        measured = goal.get(figures)
        rows[goal.name] = {"measured": measured, "at most": goal.most, "": judge(measured, goal.most)}
    return Table("Goals", "measured", rows)


def count_missed(table):
    return sum(1 for row in table.rows.values() if row[""] == "missed")


def has_measured(table):
    return any(row["measured"] is not None for row in table.rows.values())
