"""What the tests of the documentation share: the pages, taken apart, and what is found in them."""

import pathlib
import re
from dataclasses import dataclass

PROJECT = pathlib.Path(__file__).resolve().parents[2]

# A comment of this form stands alone on a line of a page and tells the tests something.
DIRECTIVE = re.compile(r"<!-- (restart|in the reply to|takes at least): ?(.*?) ?-->|<!-- (restart) -->")


@dataclass
class Step:
    """A fenced block, with its language as kind, or a directive, with its name as kind."""

    page: pathlib.Path
    line: int
    kind: str
    text: str

    def __str__(self):
        return f"{self.page.relative_to(PROJECT)}:{self.line}"


def list_pages():
    return [*(PROJECT / name for name in ("README.md", "CHANGELOG.md", "CONTRIBUTING.md")), *sorted((PROJECT / "docs").glob("*.md"))]


def list_all_pages():
    """With those that show nothing that is run."""
    others = [PROJECT / "SECURITY.md", *(PROJECT / "docs" / "internals").glob("*.md")]
    return [*list_pages(), *sorted(page for page in others if page.exists())]


def read_steps(page):
    """The blocks and directives of a page, in its order."""
    steps = []
    block = None
    for number, line in enumerate(page.read_text(encoding="utf-8").splitlines(), 1):
        if line.startswith("```"):
            if block is None:
                block = Step(page, number, line[3:].strip(), "")
            else:
                steps.append(block)
                block = None
        elif block is not None:
            block.text += line + "\n"
        elif match := DIRECTIVE.fullmatch(line.strip()):
            steps.append(Step(page, number, match[1] or match[3], match[2] or ""))
    if block is not None:
        raise ValueError(f"{block}: the block does not end")
    return steps


def read_prose(page):
    """The lines of a page with their numbers, without blocks and without what stands in backticks."""
    inside = False
    for number, line in enumerate(page.read_text(encoding="utf-8").splitlines(), 1):
        if line.startswith("```"):
            inside = not inside
        elif not inside:
            yield number, re.sub(r"`[^`]*`", lambda code: "x" * len(code[0]), line)


def dedent(lines):
    """Lines without the blanks that all of them begin with."""
    indent = min((len(line) - len(line.lstrip()) for line in lines if line.strip()), default=0)
    return [line[indent:].rstrip() for line in lines]


class Report:
    """Prints what was found, and gives the exit status."""

    def __init__(self):
        self.checks = 0
        self.failures = 0

    def check(self, is_right, where, message):
        self.checks += 1
        if not is_right:
            self.failures += 1
            print(f"FAILED  {where}: {message}")

    def equal(self, got, expected, where):
        self.check(got == expected, where, f"\n--- expected\n{expected}\n--- got\n{got}")

    def get_status(self, least_checks=1):
        """Fails also if there was less to check than there should be."""
        self.check(self.checks >= least_checks, "the documentation", f"only {self.checks} checks")
        print(f"{self.checks} checks, {self.failures} failures")
        return 1 if self.failures else 0
