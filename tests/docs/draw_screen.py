#!/usr/bin/python3
"""Draws what xmlda shows on a terminal, in front of the plant, as docs/screen.svg.

draw_screen.py PLANT XMLDA            draws it anew
draw_screen.py PLANT XMLDA --check    fails if the drawing does not show what the programs do, but for times and what
                                      the simulation changes
"""

import fcntl
import html
import os
import pathlib
import pty
import re
import signal
import struct
import subprocess
import sys
import termios
import time

import pages
import replay

DRAWING = pages.PROJECT / "docs" / "screen.svg"
ITEMS = ["/boiler/mode", "/boiler/temperature", "/boiler/pressure"]
COMMANDS = [
    ["browse", replay.DOCUMENTED_URL, "/boiler", "--recursive"],
    ["watch", replay.DOCUMENTED_URL, *ITEMS],
]
COLUMNS = 84
ESCAPE = re.compile(r"\x1b\[([0-9;]*)([A-Za-z])")


def run_browse(xmlda, url, arguments):
    command = [xmlda, *(url if argument == replay.DOCUMENTED_URL else argument for argument in arguments)]
    return subprocess.run(command, capture_output=True, text=True, timeout=60, check=True).stdout


def run_watch(xmlda, url, arguments):
    """The last table that a watch of some polls draws, with its escape sequences."""
    command = [xmlda, *(url if argument == replay.DOCUMENTED_URL else argument for argument in arguments)]
    process, terminal = pty.fork()
    if process == 0:
        os.environ["TERM"] = "xterm"
        os.execv(xmlda, command)
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, COLUMNS, 0, 0))
    output = b""
    deadline = time.monotonic() + 60
    try:
        while output.count(b"polled at") < 4 or not output.endswith(b"ends\r\n"):
            if time.monotonic() > deadline:
                raise TimeoutError("xmlda watch draws no tables")
            output += os.read(terminal, 4096)
    finally:
        os.kill(process, signal.SIGKILL)
        os.waitpid(process, 0)
        os.close(terminal)
    return output.decode().rpartition("\x1b[J")[2].replace("\r\n", "\n")


def capture(plant, xmlda):
    """The lines of the screen, with their escape sequences."""
    with pages.Host([plant, "--port", "0"]) as host:
        outputs = [run_browse(xmlda, host.url, COMMANDS[0]), run_watch(xmlda, host.url, COMMANDS[1])]
    lines = []
    for command, output in zip(COMMANDS, outputs):
        lines += ["\x1b[32m$\x1b[0m xmlda " + " ".join(command), *output.splitlines(), ""]
    return lines[:-1]


def draw_line(line, y):
    spans = []
    style = ""
    for text, codes, _ in re.findall(r"([^\x1b]*)(?:\x1b\[([0-9;]*)([A-Za-z]))?", line):
        if text:
            spans.append(f'<tspan class="{style}">{html.escape(text)}</tspan>' if style else html.escape(text))
        if codes:
            style = {"1": "bold", "4": "head", "32": "prompt"}.get(codes, "")
    return f'  <text x="18" y="{y}" xml:space="preserve">{"".join(spans)}</text>'


def draw(lines):
    width, height = 18 * 2 + 8.43 * COLUMNS, 44 + 19 * len(lines) + 12
    body = "\n".join(draw_line(line, 58 + 19 * number) for number, line in enumerate(lines))
    return f"""<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height}" width="{width:.0f}" height="{height}" role="img">
  <title>xmlda browses and watches the simulated plant</title>
  <style>
    text {{ font: 14px "DejaVu Sans Mono", Menlo, Consolas, monospace; fill: #d5dbe3; }}
    .bold {{ font-weight: bold; fill: #ffffff; }}
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


def mask(text):
    """Without what differs from run to run."""
    text = re.sub(r"\d+ changes", "NUMBER changes", replay.mask(text))
    text = re.sub(r"\b\d\d:\d\d:\d\d\.\d{3}\b", "TIME", text)
    return re.sub(r"\b\d+\.\d+\b", "NUMBER", text)


def main():
    plant, xmlda = (str(pathlib.Path(program).resolve()) for program in sys.argv[1:3])
    lines = capture(plant, xmlda)
    if sys.argv[3:] != ["--check"]:
        DRAWING.write_text(draw(lines), encoding="utf-8")
        return 0
    report = pages.Report()
    shown, drawn = (
        mask(text)
        for text in (ESCAPE.sub("", "\n".join(lines)), get_text(DRAWING.read_text(encoding="utf-8")))
    )
    report.equal(drawn, shown, "docs/screen.svg")
    return report.get_status()


if __name__ == "__main__":
    sys.exit(main())
