"""Tests that what a sanitizer reports of a program fails the test that ran it."""

import subprocess
import sys
import unittest

# A test that finds nothing wrong itself: its program prints this to standard error, and is killed.
TEST = """
import sys
import programs
programs.Program(["/bin/sh", "-c", 'echo "$0" >&2; echo listening on http://host:1; exec sleep 600', sys.argv[1]])
"""


def run_test(text):
    return subprocess.run([sys.executable, "-c", TEST, text], capture_output=True, text=True, check=False)


class Reports(unittest.TestCase):
    def test_of_sanitizers_are_failures(self):
        for text in ("WARNING: ThreadSanitizer: data race (pid=1)", "ERROR: AddressSanitizer: heap-use-after-free",
                     "a.cpp:1:2: runtime error: division by zero"):
            result = run_test(text)
            self.assertEqual(result.returncode, 1, text)
            self.assertIn(text, result.stderr)

    def test_of_others_are_not(self):
        self.assertEqual(run_test("error not found:x").returncode, 0)


if __name__ == "__main__":
    unittest.main()
