#!/usr/bin/python3
"""Checks that each link between the pages leads somewhere: to a file that is there, to a heading that it has. Links
into the network are left alone.

check_links.py
"""

import re
import sys
import urllib.parse

import pages

LINK = re.compile(r"!?\[(?:[^\]\[]|\[[^\]]*\])*\]\(([^()\s]+)\)")
HEADING = re.compile(r"#{1,6} +(.*?) *#*")


def get_anchor(heading):
    """The anchor that Markdown viewers give a heading."""
    plain = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).replace("`", "")
    return re.sub(r"[^\w\- ]", "", plain.lower()).replace(" ", "-")


def list_anchors(page):
    anchors = []
    inside = False
    for line in page.read_text(encoding="utf-8").splitlines():
        inside ^= line.startswith("```")
        if not inside and (match := HEADING.fullmatch(line)):
            anchor = get_anchor(match[1])
            count = sum(re.fullmatch(re.escape(anchor) + r"(-\d+)?", other) is not None for other in anchors)
            anchors.append(f"{anchor}-{count}" if anchor in anchors else anchor)
    return anchors


def check_link(report, page, where, target):
    parts = urllib.parse.urlsplit(target)
    if parts.scheme:
        report.check(parts.scheme == "https" and parts.netloc, where, f"'{target}' is no https address")
        return None
    file = (page.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else page
    report.check(file.exists(), where, f"'{target}' leads to no file")
    report.check(file.is_relative_to(pages.PROJECT), where, f"'{target}' leads out of the project")
    if parts.fragment and file.suffix == ".md" and file.exists():
        report.check(parts.fragment in list_anchors(file), where, f"'{target}' leads to no heading")
    return file


def main():
    report = pages.Report()
    reached = {}
    for page in pages.list_all_pages():
        reached[page] = set()
        for number, line in pages.read_prose(page):
            for target in LINK.findall(line):
                reached[page].add(check_link(report, page, f"{page.relative_to(pages.PROJECT)}:{number}", target))
    index = pages.PROJECT / "docs" / "README.md"
    for page in sorted((pages.PROJECT / "docs").glob("*.md")):
        report.check(page == index or page in reached[index], index.name, f"does not list {page.name}")
    return report.get_status(least_checks=100)


if __name__ == "__main__":
    sys.exit(main())
