#!/usr/bin/env python3
"""Counts what a test run did and prints "PASSED FAILED SKIPPED".

count_tests.py JUNIT RESULTS    JUNIT is what ctest wrote, RESULTS the folder in which the test
                                programs left their JSON files (GTEST_OUTPUT). A program that wrote
                                none, or that failed although each of its cases passed (a leak
                                found at exit, a crash), counts as one failure.
count_tests.py --report FILE    FILE is a JSON object with "passed" and "failed"; a missing file
                                counts as one failure.
"""

import json
import pathlib
import sys
import xml.etree.ElementTree as xml


def count_cases(report):
    """(passed, failed, skipped) of one GoogleTest JSON report."""
    passed = failed = skipped = 0
    for suite in report.get("testsuites", []):
        for case in suite.get("testsuite", []):
            if case.get("status") == "NOTRUN" or case.get("result") == "SKIPPED":
                skipped += 1
            elif case.get("failures"):
                failed += 1
            else:
                passed += 1
    return passed, failed, skipped


def count_program(case, results):
    """(passed, failed, skipped) of one test that ctest ran."""
    status = case.get("status")
    succeeded = status == "run" and case.find("failure") is None
    skip = case.find("skipped")
    if status == "disabled" or (skip is not None and skip.get("message", "").startswith("SKIP_")):
        return 0, 0, 1
    report = results / (case.get("name") + ".json")
    if not report.exists():
        return (1, 0, 0) if succeeded else (0, 1, 0)
    try:
        passed, failed, skipped = count_cases(json.loads(report.read_text(errors="replace")))
    except ValueError:
        passed, failed, skipped = 0, 0, 0
    if not succeeded and failed == 0:
        failed = 1
    return passed, failed, skipped


def count_run(junit, results):
    if not junit.exists():
        return 0, 1, 0
    total = [0, 0, 0]
    for case in xml.parse(junit).getroot().iter("testcase"):
        total = [a + b for a, b in zip(total, count_program(case, results))]
    return tuple(total)


def count_report(path):
    if not path.exists():
        return 0, 1, 0
    report = json.loads(path.read_text())
    return report["passed"], report["failed"], report.get("skipped", 0)


def main(arguments):
    if arguments[0] == "--report":
        counts = count_report(pathlib.Path(arguments[1]))
    else:
        counts = count_run(pathlib.Path(arguments[0]), pathlib.Path(arguments[1]))
    print(*counts)


if __name__ == "__main__":
    main(sys.argv[1:])
