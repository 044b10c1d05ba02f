#!/usr/bin/python3
"""Turns a page as Markdown viewers show it into one as Doxygen reads it, on standard output: headings get the anchors
that the links between pages use, links to pages become references, and what is not part of the site is named without
a link.

filter_page.py PAGE
"""

import os
import pathlib
import re
import sys

LINK = re.compile(r"(!?)\[((?:[^\]\[]|\[[^\]]*\])*)\]\(([^()\s]+)\)")
INDEX = "docs/README.md"


def get_anchor(heading):
    """As Markdown viewers make it."""
    plain = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).replace("`", "")
    return re.sub(r"[^\w\- ]", "", plain.lower()).replace(" ", "-")


def get_label(page, anchor=""):
    """What the site calls a page, or a heading of it."""
    name = "page_" + re.sub(r"\W", "_", page.removesuffix(".md").lower())
    return f"{name}_{anchor.replace('-', '_')}" if anchor else name


def translate_link(page, is_image, text, target):
    if re.match(r"https?:", target):
        return f"[{text}]({target})"
    file, _, anchor = target.partition("#")
    path = os.path.normpath(os.path.join(os.path.dirname(page), file)) if file else page
    if is_image:
        return f"![{text}]({pathlib.PurePath(path).name})"
    if path == INDEX and not anchor:
        return f'@ref index "{text}"'
    if path.endswith(".md"):
        command = "subpage" if page == INDEX and not anchor else "ref"
        return f'@{command} {get_label(path, anchor)} "{text}"'
    if path == "include/opc/Server.h":
        return f'@ref kx::information_model::opc::Server "{text}"'
    if path.startswith("model/include"):
        return f'@ref kx::information_model "{text}"'
    return text if pathlib.PurePath(path).name in text else f"{text} (`{path}`)"


def translate(page, lines):
    inside = False
    anchors = {}
    for number, line in enumerate(lines):
        if line.lstrip().startswith("```"):
            inside = not inside
            line = re.sub(r"```(sh|console|text|cmake)$", "```", line)
        elif not inside:
            if heading := re.fullmatch(r"(#{1,6}) +(.*)", line):
                anchor = get_anchor(heading[2])
                anchors[anchor] = anchors.get(anchor, -1) + 1
                anchor += f"-{anchors[anchor]}" if anchors[anchor] else ""
                label = get_label(page) if number == 0 else get_label(page, anchor)
                line = line if page == INDEX and number == 0 else f"{line} {{#{label}}}"
            elif line.startswith("<!--"):
                line = ""
            if "](" in line:
                line = LINK.sub(lambda link: translate_link(page, link[1], link[2], link[3]), line)
        yield line


def main():
    project = pathlib.Path(__file__).resolve().parents[2]
    file = pathlib.Path(sys.argv[1]).resolve()
    page = str(file.relative_to(project))
    print("\n".join(translate(page, file.read_text(encoding="utf-8").splitlines())))


if __name__ == "__main__":
    main()
