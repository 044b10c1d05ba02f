"""Checks names and labels of all tests of a build: registered_tests_test.py BUILD_FOLDER"""

import json
import pathlib
import subprocess
import sys
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
KINDS = {"unit", "wire", "tools"}


def list_tests(build):
    """The names of the tests, with their labels. What is not built has no tests yet."""
    command = ["ctest", "--test-dir", build, "--show-only=json-v1"]
    tests = json.loads(subprocess.run(command, capture_output=True, text=True, check=True).stdout)["tests"]
    for test in tests:
        properties = {entry["name"]: entry["value"] for entry in test["properties"]}
        if not test["name"].endswith("_NOT_BUILT"):
            yield test["name"], set(properties.get("LABELS", []))


class RegisteredTests(unittest.TestCase):
    tests = {}

    def test_are_named_after_a_folder_and_a_subject(self):
        folders = {path.name for path in (PROJECT / "tests").iterdir() if path.is_dir()} | {"fuzz"}
        for name in self.tests:
            folder, _, subject = name.partition(".")
            self.assertIn(folder.lower(), folders, name)
            self.assertEqual(folder, folder.capitalize(), name)
            self.assertTrue(subject, name)
            self.assertNotRegex(name, r"[^.]Test[./]", "a suite is named after its subject alone")

    def test_have_the_label_of_their_folder_and_that_of_one_kind(self):
        for name, labels in self.tests.items():
            self.assertEqual(len(labels & KINDS), 1, f"{name}: {labels}")
            self.assertIn(name.partition(".")[0].lower(), labels, name)

    def test_are_there(self):
        self.assertGreater(len(self.tests), 20)


if __name__ == "__main__":
    RegisteredTests.tests = dict(list_tests(sys.argv.pop()))
    unittest.main()
