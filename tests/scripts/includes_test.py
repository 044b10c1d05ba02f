"""Tests scripts/check-includes on small trees, and that docs/design.md shows its table.

    includes_test.py                  the check itself
    includes_test.py --design         the table of docs/design.md
"""

import importlib.machinery
import importlib.util
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
SCRIPT = PROJECT / "scripts" / "check-includes"


def load_script():
    sys.dont_write_bytecode = True
    loader = importlib.machinery.SourceFileLoader("check_includes", str(SCRIPT))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


check_includes = load_script()


def with_tree(files, function):
    """The result of a function that is called with a folder with the given files."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        return function(pathlib.Path(folder).resolve())


def find(files):
    return with_tree(files, lambda root: list(check_includes.find_forbidden(root)))


def run(files):
    def run_in(root):
        return subprocess.run([SCRIPT, root], capture_output=True, text=True, check=False)

    return with_tree(files, run_in)


class CheckIncludes(unittest.TestCase):
    def test_what_the_table_allows_passes(self):
        result = run({
            "base/Arena.h": "#include <vector>\n",
            "xml/xml_names.h": "",
            "xml/request/Reader.h": '#include "base/Arena.h"\n#include "xml/xml_names.h"\n',
            "model/include/information_model/Value.h": "",
            "model/utf8.h": "#include <information_model/Value.h>\n",
            "codec/text_forms.h": '#include "model/utf8.h"\n#include "xml/xml_names.h"\n',
            "server/message/AMessage.h": "#include <information_model/Value.h>\n",
            "server/Server.cpp": '#include "server/message/AMessage.h"\n#include "codec/text_forms.h"\n',
        })
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_a_planted_include_fails_with_its_place(self):
        result = run({
            "codec/value_writer.cpp": '#include <string>\n\n#  include "server/message/AMessage.h"\n',
            "server/message/AMessage.h": "",
        })
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, "codec/value_writer.cpp:3: codec/ must not include server/message/AMessage.h\n")

    def test_a_tree_without_sources_fails(self):
        self.assertEqual(run({"README.md": ""}).returncode, 1)

    def test_each_arrow_goes_one_way(self):
        arrows = [(row, other) for row, others in check_includes.ARROWS.items() for other in others]
        self.assertGreater(len(arrows), 20)
        for row, other in arrows:
            files = {f"{row}/own.h": "", f"{other}/other.cpp": f'#include "{row}/own.h"\n'}
            self.assertEqual(len(find(files)), 1, f"{other}/ includes {row}/")

    def test_a_folder_below_has_its_own_row(self):
        self.assertEqual(find({
            "server/Server.h": "",
            "server/message/Error.cpp": '#include "server/Server.h"\n',
        }), ["server/message/Error.cpp:1: server/message/ must not include server/Server.h"])

    def test_the_way_an_include_is_written_does_not_hide_it(self):
        files = {"server/Server.h": "", "include/opc/Server.h": ""}
        for include in ('"../server/Server.h"', "<opc/Server.h>", "<server/Server.h>"):
            self.assertEqual(len(find({**files, "http/Sender.cpp": f"#include {include}\n"})), 1, include)

    def test_a_folder_that_is_in_no_row_is_forbidden(self):
        self.assertEqual(find({"util/strings.h": "", "base/Arena.cpp": '#include "util/strings.h"\n'}),
                         ["base/Arena.cpp:1: base/ must not include util/strings.h"])


class Design(unittest.TestCase):
    def test_the_table_of_the_page_is_that_of_the_check(self):
        shown = {}
        for line in (PROJECT / "docs" / "design.md").read_text(encoding="utf-8").splitlines():
            row = re.fullmatch(r"\| `([\w/]+)/` \| [^|]+ \| ([^|]+) \|", line)
            if row:
                shown[row[1]] = set(re.findall(r"`([\w/]+)/`", row[2]))
        self.assertEqual(shown, {row: set(others) for row, others in check_includes.ARROWS.items()})


if __name__ == "__main__":
    if sys.argv[1:] == ["--design"]:
        unittest.main(argv=[sys.argv[0], "Design"])
    unittest.main(argv=[sys.argv[0], "CheckIncludes"])
