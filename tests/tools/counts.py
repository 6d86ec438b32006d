"""What a test did, in numbers: a file NAME.json with "passed", "failed" and "skipped".

Each test that counts for more than one writes such a file into the folder `results` of its build;
count_tests.py sums them up. Checks is for tests that count as they go, run_checks their main; with
VEXA_FAIL_FAST in the environment they end at the first that fails.
"""

import argparse
import json
import os
import pathlib
import sys

LONGEST_DETAIL = 4000


def write_counts(path, passed, failed, skipped=0):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(json.dumps({"passed": passed, "failed": failed, "skipped": skipped}))


def read_counts(path):
    """(passed, failed, skipped), or None when there is no such file or it is not whole."""
    try:
        counts = json.loads(path.read_text())
        return counts["passed"], counts["failed"], counts.get("skipped", 0)
    except (OSError, ValueError, KeyError, TypeError):
        return None


class Checks:
    def __init__(self):
        self.passed = 0
        self.failed = 0
        self.skipped = 0

    def expect(self, what, good, detail=""):
        if good:
            self.passed += 1
            print(f"ok      {what}", flush=True)
        else:
            self.failed += 1
            told = str(detail)[-LONGEST_DETAIL:]
            print(f"FAILED  {what}" + (f": {told}" if told else ""), flush=True)
            if "VEXA_FAIL_FAST" in os.environ:
                os._exit(1)  # whatever the test would still wait for

    def skip(self, why):
        self.skipped += 1
        print(f"skipped: {why}")

    def end(self, path):
        """Tells the counts, writes them where a path is given, and ends the program: well, if
        something was checked or skipped and nothing failed."""
        skipped = f", {self.skipped} skipped" if self.skipped else ""
        print(f"\n{self.passed} passed, {self.failed} failed{skipped}")
        if path:
            write_counts(path, self.passed, self.failed, self.skipped)
        sys.exit(0 if self.failed == 0 and self.passed + self.skipped > 0 else 1)


def argument(*names, **details):
    """One argument of a check, as argparse takes it."""
    return names, details


COMMAND = argument("command", nargs="+")


def run_checks(description, check, *arguments):
    """Calls check(checks, options) with what the command line says, and ends the program with what
    came of it. Every check knows --report."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--report", type=pathlib.Path, metavar="FILE")
    for names, details in arguments:
        parser.add_argument(*names, **details)
    options = parser.parse_args()
    checks = Checks()
    check(checks, options)
    checks.end(options.report)
