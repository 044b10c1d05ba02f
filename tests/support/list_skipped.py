"""Prints the tests that ctest has skipped, each with the reason that it gave.

Left out are those that begin their reason with "this machine": no package would help.

    list_skipped.py REPORT      as "ctest --output-junit" writes it
"""

import re
import sys
import xml.etree.ElementTree


def find_reason(output):
    """What a test says behind "skipped:", or GoogleTest behind "Skipped"."""
    match = re.search(r"skipped:\s*(.+)", output) or re.search(r"Skipped\n(.+)", output)
    return match[1].strip() if match else "no reason given"


def list_skipped(report):
    for test in xml.etree.ElementTree.parse(report).getroot().iter("testcase"):
        if test.get("status") in ("notrun", "disabled"):
            reason = find_reason(test.findtext("system-out") or "")
            if not reason.startswith("this machine"):
                yield f"{test.get('name')}: {reason}"


if __name__ == "__main__":
    print("\n".join(list_skipped(sys.argv[1])))
