#!/usr/bin/python3
"""Draws what xmlda shows on a terminal, in front of the plant, as docs/screen.svg.

draw_screen.py PLANT XMLDA            draws it anew
draw_screen.py PLANT XMLDA --check    fails if the drawing does not show what the programs do, but for times and what
                                      the simulation changes
"""

import html
import pathlib
import re
import sys

import pages
import replay
import terminal
from programs import Plant

DRAWING = pages.PROJECT / "docs" / "screen.svg"
COMMANDS = [
    f"browse {replay.DOCUMENTED_URL} /boiler --values",
    f"read {replay.DOCUMENTED_URL} '/instruments/**'",
    f"watch {replay.DOCUMENTED_URL} '/boiler/t*' /boiler/level --for 3",
]
CLASSES = {"1": "bold", "4": "head", "1;36": "changed", "31": "bad", "32": "prompt", "33": "uncertain"}


def capture(plant, xmlda):
    """The lines of the screen, with their escape sequences."""
    lines = []
    with Plant(plant) as host:
        for command in COMMANDS:
            output = terminal.run(f'"{xmlda}" {command}'.replace(replay.DOCUMENTED_URL, host.url))
            lines += ["\x1b[32m$\x1b[0m xmlda " + command, *terminal.show(output).splitlines(), ""]
    return lines[:-1]


def draw_line(line, y):
    spans = []
    style = ""
    for text, codes, _ in re.findall(r"([^\x1b]*)(?:\x1b\[([0-9;]*)([A-Za-z]))?", line):
        if text:
            spans.append(f'<tspan class="{style}">{html.escape(text)}</tspan>' if style else html.escape(text))
        if codes:
            style = CLASSES.get(codes, "")
    return f'  <text x="18" y="{y}" xml:space="preserve">{"".join(spans)}</text>'


def draw(lines):
    width, height = 18 * 2 + 8.43 * terminal.COLUMNS, 44 + 19 * len(lines) + 12
    body = "\n".join(draw_line(line, 58 + 19 * number) for number, line in enumerate(lines))
    return f"""<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height}" width="{width:.0f}" height="{height}" role="img">
  <title>xmlda browses, reads and watches the simulated plant</title>
  <style>
    text {{ font: 14px "DejaVu Sans Mono", Menlo, Consolas, monospace; fill: #d5dbe3; }}
    .bold {{ font-weight: bold; fill: #ffffff; }}
    .changed {{ font-weight: bold; fill: #5fc9d8; }}
    .bad {{ fill: #f0766d; }}
    .uncertain {{ fill: #e2b341; }}
    .head {{ text-decoration: underline; }}
    .prompt {{ fill: #7cc379; }}
  </style>
  <rect width="100%" height="100%" rx="8" fill="#1f2630"/>
  <circle cx="24" cy="20" r="6" fill="#e0655c"/>
  <circle cx="44" cy="20" r="6" fill="#e2b341"/>
  <circle cx="64" cy="20" r="6" fill="#63b35c"/>
{body}
</svg>
"""


def get_text(drawing):
    texts = re.findall(r"<text [^>]*>(.*?)</text>", drawing)
    return "\n".join(html.unescape(re.sub(r"<[^>]*>", "", text)) for text in texts)


def get_warnings(drawing):
    """What is in the colours of qualities that are not good."""
    return re.findall(r'class="(bad|uncertain)">([^<]*)<', drawing)


def mask(text):
    """Without what differs from run to run."""
    return re.sub(r"\d+ changes", "NUMBER changes", replay.mask(text))


def main():
    plant, xmlda = (str(pathlib.Path(program).resolve()) for program in sys.argv[1:3])
    lines = capture(plant, xmlda)
    if sys.argv[3:] != ["--check"]:
        DRAWING.write_text(draw(lines), encoding="utf-8")
        return 0
    report = pages.Report()
    drawing = DRAWING.read_text(encoding="utf-8")
    shown, drawn = (
        mask(text)
        for text in (terminal.without_colors("\n".join(lines)), get_text(drawing))
    )
    report.equal(drawn, shown, "docs/screen.svg")
    report.equal(get_warnings(drawing), get_warnings(draw(lines)), "the colours of docs/screen.svg")
    report.check(get_warnings(drawing), "docs/screen.svg", "shows no quality in colour")
    return report.get_status()


if __name__ == "__main__":
    sys.exit(main())
