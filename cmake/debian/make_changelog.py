#!/usr/bin/python3
"""Prints the project's changelog in the form of Debian's, for its packages.

    make_changelog.py PACKAGE VERSION MAINTAINER    VERSION is that of the section [Unreleased]
"""

import argparse
import datetime
import os
import pathlib
import re
import textwrap
import time

CHANGELOG = pathlib.Path(__file__).resolve().parents[2] / "CHANGELOG.md"
RELEASE = re.compile(r"## \[([^\]]+)\](?: - (\d{4}-\d\d-\d\d))?")


def get_date(day):
    """The day of a release; without one, the time that the packages are to carry."""
    moment = datetime.datetime.fromisoformat(f"{day}T12:00:00+00:00").timestamp() if day else None
    moment = moment or float(os.environ.get("SOURCE_DATE_EPOCH", time.time()))
    return time.strftime("%a, %d %b %Y %H:%M:%S +0000", time.gmtime(moment))


def list_entries(lines):
    """The lines of one release: a heading is "[ Added ]", an entry begins with "* "."""
    for line in lines:
        if line.startswith("### "):
            yield f"  [ {line[4:].strip()} ]"
        elif line.startswith("- "):
            text = re.sub(r"[`*]", "", re.sub(r"\[([^\]]+)\]\([^)]*\)", r"\1", line[2:]))
            yield textwrap.fill(
                text, 78, initial_indent="  * ", subsequent_indent="    ", break_long_words=False, break_on_hyphens=False
            )


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for name in ("package", "version", "maintainer"):
        parser.add_argument(name)
    arguments = parser.parse_args()
    parts = RELEASE.split(CHANGELOG.read_text(encoding="utf-8"))[1:]
    for release, day, text in zip(parts[::3], parts[1::3], parts[2::3]):
        entries = list(list_entries(text.splitlines()))
        if entries:
            number = arguments.version if release == "Unreleased" else release
            print(f"{arguments.package} ({number}) unstable; urgency=medium\n")
            print("\n".join(entries))
            print(f"\n -- {arguments.maintainer}  {get_date(day)}\n")


if __name__ == "__main__":
    main()
