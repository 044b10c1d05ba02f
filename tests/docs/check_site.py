#!/usr/bin/python3
"""Makes the site of the documentation, as scripts/docs does, and checks its files: each link leads to a file and a
place in it, each page has all others in its navigation, each heading has its anchor, nothing comes from elsewhere.

check_site.py FOLDER
"""

import html.parser
import pathlib
import re
import shutil
import subprocess
import sys
import urllib.parse

import check_links
import pages

MAKE = pages.PROJECT / "docs" / "site" / "make_site.py"
# What a browser fetches by itself; of the links, those which say so.
FETCHED = {("img", "src"), ("script", "src"), ("source", "src"), ("iframe", "src"), ("use", "href")}
FETCHED_LINKS = {"stylesheet", "icon", "preload", "preconnect", "dns-prefetch", "modulepreload"}


class Page(html.parser.HTMLParser):
    """What a page links to and fetches, and the places that links may lead to."""

    def __init__(self, file):
        super().__init__()
        self.file = file
        self.links = []
        self.navigation = []
        self.fetched = []
        self.anchors = set()
        self.headings = []
        self.paragraphs = []
        self.open = []
        self.feed(file.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        values = dict(attrs)
        self.anchors.update(value for name, value in attrs if name in ("id", "name") and value)
        if tag in ("nav", "p"):
            self.open.append(tag)
        if tag == "p":
            self.paragraphs.append("")
        if re.fullmatch("h[1-6]", tag) and "id" in values:
            self.headings.append(values["id"])
        if tag in ("a", "area") and values.get("href"):
            self.links.append(values["href"])
            if "nav" in self.open:
                self.navigation.append(values["href"])
        if tag == "link" and FETCHED_LINKS & set(values.get("rel", "").split()):
            self.fetched.append(values["href"])
        self.fetched.extend(value for name, value in attrs if (tag, name) in FETCHED)

    def handle_endtag(self, tag):
        if tag in self.open:
            while self.open.pop() != tag:
                pass

    def handle_data(self, data):
        if self.open and self.open[-1] == "p":
            self.paragraphs[-1] += data

    def find(self, link):
        """The file and the place in it that a link leads to."""
        parts = urllib.parse.urlsplit(link)
        file = (self.file.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else self.file
        return file, urllib.parse.unquote(parts.fragment)


def is_outside(link):
    return bool(urllib.parse.urlsplit(link).scheme or urllib.parse.urlsplit(link).netloc) and not link.startswith("data:")


def check_page(report, page, read):
    where = page.file.name
    for link in page.fetched:
        report.check(not is_outside(link) or link.startswith("javascript:"), where, f"fetches '{link}'")
    for link in {*page.links, *page.fetched}:
        if is_outside(link) or link.startswith(("data:", "javascript:")):
            continue
        file, place = page.find(link)
        report.check(file.is_file(), where, f"'{link}' leads to no file")
        if place and file in read and place != "__skip":
            report.check(place in read[file].anchors, where, f"'{link}' leads to no place")


def check_guide(report, site, page, source, guides):
    """A guide, made from a page of the project."""
    where = str(source.relative_to(pages.PROJECT))
    linked = {page.find(link) for link in page.navigation}
    for guide in guides:
        report.check((guide, "") in linked or guide == page.file, where, f"{guide.relative_to(site)} is not in the navigation")
    for anchor in check_links.list_anchors(source):
        # MkDocs numbers headings of the same text in its own way; a link to one of them fails above.
        if re.sub(r"-\d+$", "", anchor) in page.headings:
            continue
        report.check(anchor in page.headings, where, f"the heading '{anchor}' has another anchor")
        report.check((page.file, anchor) in linked or anchor == page.headings[0], where, f"'{anchor}' is not in the navigation")
    for text in page.paragraphs:
        report.check(not re.search(r"\n(- |\d+\. |\|)", text), where, f"a list or table is shown as text: {text[:60]!r}")


def main():
    site = pathlib.Path(sys.argv[1]).resolve()
    if not shutil.which("doxygen"):
        print("skipped: there is no doxygen here (Debian package doxygen)")
        return 77
    if not pathlib.Path("/usr/share/mkdocs/themes/material").is_dir():
        print("skipped: there is no theme for the site here (Debian package mkdocs-material)")
        return 77
    if not pathlib.Path("/usr/share/doxygen-awesome-css").is_dir():
        print("skipped: there is no style for the reference here (Debian package doxygen-awesome-css)")
        return 77
    if subprocess.run([MAKE, site], check=False).returncode:
        return 1

    site = site / "html"
    report = pages.Report()
    read = {file: Page(file) for file in sorted(site.rglob("*.html")) if "search" not in file.relative_to(site).parts}
    guides = {site / source.relative_to(pages.PROJECT).with_suffix(".html"): source for source in pages.list_all_pages()}
    guides = {file.with_name("index.html") if source.name == "README.md" else file: source for file, source in guides.items()}
    for page in read.values():
        check_page(report, page, read)
    for file, source in guides.items():
        report.check(file in read, str(source), "the site has no page for it")
        if file in read:
            check_guide(report, site, read[file], source, guides)
    for style in site.rglob("*.css"):
        for target in re.findall(r"(?:url\(|@import)\s*['\"]?([^'\")]+)", style.read_text(encoding="utf-8")):
            report.check(not is_outside(target), style.name, f"fetches '{target}'")
    return report.get_status(least_checks=1000)


if __name__ == "__main__":
    sys.exit(main())
