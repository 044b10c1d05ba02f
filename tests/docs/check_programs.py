#!/usr/bin/python3
"""Checks that each program on a page stands in a file that is compiled, that the commands on the pages exist, and that
README.md lists the packages. What the requests and the commands with output do is another test's matter: replay.py.

check_programs.py PLANT XMLDA
"""

import json
import re
import shlex
import subprocess
import sys

import pages

SOURCES = sorted((pages.PROJECT / "examples").rglob("*.[ch]*")) + sorted((pages.PROJECT / "tests/docs").glob("*.cpp"))
KINDS = {"bash", "cmake", "console", "gnuplot", "nginx", "toml", "xml", "yaml", "text", "restart", "in the reply to", ""}

# Programs of others, whose options nobody checks here.
FOREIGN = {"apt", "cmake", "curl", "g++", "gnuplot", "mosquitto", "mosquitto_sub", "openssl", "podman", "prometheus",
           "promtool", "sqlite3"}


def stands_in(block, source):
    """Whether the lines of the block follow each other in the source, whatever their common indentation."""
    lines = pages.dedent(block.splitlines())
    text = source.read_text(encoding="utf-8").splitlines()
    windows = (text[start : start + len(lines)] for start in range(len(text) - len(lines) + 1))
    return any(window[0].strip() == lines[0].strip() and pages.dedent(window) == lines for window in windows)


def split_commands(block):
    """The commands of a block for the shell, each as a list of words."""
    block = re.sub(r"^\w+\(\) \{.*?^\}$", "", block, flags=re.MULTILINE | re.DOTALL)
    lexer = shlex.shlex(block.replace("\\\n", " "), posix=True, punctuation_chars="&|;\n")
    lexer.whitespace, lexer.whitespace_split = " \t", True
    command = []
    for word in lexer:
        if not set(word) <= set("&|;\n"):
            command.append(word)
        elif command:
            yield command
            command = []
    if command:
        yield command


def get_help(command):
    return subprocess.run(command, capture_output=True, text=True, timeout=60, check=True).stdout


class Commands:
    """Knows what can be called."""

    def __init__(self, plant, xmlda, report):
        self.plant = plant
        self.xmlda = xmlda
        self.report = report
        presets = json.loads((pages.PROJECT / "CMakePresets.json").read_text(encoding="utf-8"))
        self.presets = {preset["name"] for preset in presets["configurePresets"]}

    def check(self, words, step):
        while words and (words[0] == "sudo" or re.match(r"\w+=", words[0])):
            words = words[1:]
        name = words[0]
        if name.startswith("scripts/"):
            self.check_script(words, step)
        elif name in ("xmlda", "kx-plant"):
            self.check_options(words, self.get_program_help(words), step)
        elif name == "ctest" or "--preset" in words:
            self.report.check(words[words.index("--preset") + 1] in self.presets, step, f"{words}: no such preset")
        else:
            known = name in FOREIGN or name in ("cd", "export") or name.startswith("build/") or name == "opc"
            self.report.check(known, step, f"nobody knows '{name}'")

    def get_program_help(self, words):
        if words[0] == "kx-plant":
            return get_help([self.plant, "--help"])
        return get_help([self.xmlda, words[1], "--help"])

    def check_script(self, words, step):
        script = pages.PROJECT / words[0]
        if not script.exists():
            self.report.check(False, step, f"there is no {words[0]}")
            return
        text = script.read_text(encoding="utf-8")
        if script.name == "demo":
            text += get_help([self.plant, "--help"])
        elif script.name == "xmlda":
            text += self.get_program_help(words)
        self.check_options(words, text, step)

    def check_options(self, words, text, step):
        self.report.check(True, step, "")
        for option in (word for word in words[1:] if word.startswith("--")):
            known = re.search(rf"{re.escape(option.partition('=')[0])}(?![\w-])", text)
            self.report.check(known, step, f"{words[0]} has no {option}")


def check_packages(report):
    """README.md lists the Debian packages that the demo and the tests need."""
    arrays = " ".join(f'"${{{name}_packages[@]}}"' for name in ("build", "tool", "gateway", "test"))
    script = f"source scripts/common.sh; printf '%s\\n' {arrays}"
    listed = subprocess.run(["bash", "-c", script], cwd=pages.PROJECT, capture_output=True, text=True, check=True).stdout
    text = (pages.PROJECT / "README.md").read_text(encoding="utf-8")
    for line in listed.splitlines():
        package = line.partition(":")[0]
        report.check(f"`{package}`" in text, "README.md", f"does not list {package}")


def main():
    report = pages.Report()
    check_packages(report)
    commands = Commands(*sys.argv[1:], report)
    for page in pages.list_pages():
        for step in pages.read_steps(page):
            if step.kind == "cpp":
                found = any(stands_in(step.text, source) for source in SOURCES)
                report.check(found, step, "stands in no program below examples/ or tests/docs/")
            elif step.kind == "sh":
                for words in split_commands(step.text):
                    commands.check(words, step)
            else:
                report.check(step.kind in KINDS, step, f"unknown kind of block '{step.kind}'")
    return report.get_status(least_checks=40)


if __name__ == "__main__":
    sys.exit(main())
