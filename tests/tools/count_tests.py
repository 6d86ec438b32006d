#!/usr/bin/env python3
"""Sums up a run of ctest and prints "PASSED FAILED SKIPPED" cases.

count_tests.py BUILD

BUILD/tests.xml is what ctest wrote, BUILD/results/NAME.json what a test counted. A test
without such a file counts as one case; one that ctest calls failed has at least one failed case. No
tests.xml, or a test that ctest knew of and did not report, is a failure. What failed is shown on
the standard error.
"""

import pathlib
import sys
import xml.etree.ElementTree as xml

from counts import read_counts

SHOWN_LINES = 25


def count_test(case, results):
    """(passed, failed, skipped) of one test that ctest ran."""
    status = case.get("status")
    skip = case.find("skipped")
    if status == "disabled" or (skip is not None and skip.get("message", "").startswith("SKIP_")):
        return 0, 0, 1
    if status != "run" and status != "fail":
        return 0, 1, 0  # it could not be started
    counts = read_counts(results / f"{case.get('name')}.json")
    if status == "run":
        return counts or (1, 0, 0)
    passed, failed, skipped = counts or (0, 1, 0)
    return passed, max(failed, 1), skipped


def show_failure(case):
    output = (case.findtext("system-out") or "").splitlines()
    print(f"   FAILED: {case.get('name')}", file=sys.stderr)
    wanted = [line for line in output if "FAILED" in line or "rror:" in line or "ERROR:" in line]
    for line in (wanted or output)[-SHOWN_LINES:]:
        print(f"      {line[:240]}", file=sys.stderr)


def main(build):
    try:
        suite = xml.parse(build / "tests.xml").getroot()
    except (OSError, xml.ParseError):
        print("   FAILED: ctest left no report", file=sys.stderr)
        print("0 1 0")
        return
    total = [0, 0, 0]
    for case in suite.iter("testcase"):
        counts = count_test(case, build / "results")
        if counts[1]:
            show_failure(case)
        elif case.get("name").startswith("fixture_"):
            continue  # what other tests need before or after them is no case of its own
        total = [a + b for a, b in zip(total, counts)]
    total[1] += max(0, int(suite.get("tests", 0)) - len(list(suite.iter("testcase"))))
    print(*total)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
