#!/usr/bin/env python3
"""Runs a GoogleTest program and believes only what it can read.

run_gtest.py RESULTS [LAUNCHER...] -- PROGRAM [ARGS...]

The program is asked for its cases first. Exit status 0: it ended with 0, and its report tells of
each of these cases, none of which failed. What happened goes to RESULTS/NAME.json; a case that the
report leaves out counts as failed. LAUNCHER starts the program where the machine cannot by itself.
The program's temporary files (TMPDIR) go with it, and meet no one else's.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

from counts import write_counts


def parse_list(output):
    """The names "Suite.Case" that --gtest_list_tests prints: a suite, its cases indented below."""
    cases, suite = set(), None
    for line in output.splitlines():
        name = line.split("#")[0].rstrip()
        if name.startswith("  "):
            cases.add(f"{suite}{name.strip()}")
        elif name.endswith("."):
            suite = name
    return cases


def read_report(path):
    """{case: "passed", "failed" or "skipped"}; empty when there is no whole report."""
    try:
        report = json.loads(path.read_text(errors="replace"))
    except (OSError, ValueError):
        return {}
    cases = {}
    for suite in report.get("testsuites", []):
        for case in suite.get("testsuite", []):
            name = f"{suite['name']}.{case['name']}"
            if case.get("status") == "NOTRUN" or case.get("result") == "SKIPPED":
                cases[name] = "skipped"
            else:
                cases[name] = "failed" if case.get("failures") else "passed"
    return cases


class WineServer:
    """Which Wine server runs; without Wine there is none, and it never changes."""

    def __init__(self, launcher):
        self._script = launcher[0] if launcher and launcher[0].endswith("wine.sh") else None
        self._before = self._now()

    def _now(self):
        if self._script is None:
            return None
        return subprocess.run([self._script, "--server"], stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, check=False).stdout

    def is_gone(self):
        return self._script is not None and self._now() != self._before


def run_program(launcher, program, report):
    """(exit status, names listed, {name: outcome})."""
    command = [*launcher, *program]
    listing = subprocess.run([*command, "--gtest_list_tests"], stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, text=True, errors="replace", check=False)
    report.unlink(missing_ok=True)
    with tempfile.TemporaryDirectory() as scratch:
        # A relative path, because a Windows program reads the same file under another name.
        environment = dict(os.environ, GTEST_OUTPUT=f"json:{os.path.relpath(report)}",
                           TMPDIR=scratch)
        status = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL,
                                check=False).returncode
    return status, parse_list(listing.stdout), read_report(report)


def main(arguments):
    split = arguments.index("--")
    results, launcher = pathlib.Path(arguments[0]), arguments[1:split]
    program = arguments[split + 1:]
    name = pathlib.Path(program[0]).name.removesuffix(".exe")
    report = results / "gtest" / f"{name}.json"
    report.parent.mkdir(parents=True, exist_ok=True)
    counts = results / f"{name}.json"
    counts.unlink(missing_ok=True)

    server = WineServer(launcher)
    status, listed, outcomes = run_program(launcher, program, report)
    missing = sorted(listed - outcomes.keys())
    problems = [f"no result of {case}" for case in missing[:20]]
    if len(missing) > 20:
        problems.append(f"... and of {len(missing) - 20} more")
    if not listed:
        problems.append("it lists no cases")
    if (problems or status != 0) and server.is_gone():
        problems.append("Wine's server is gone, or is another one: its programs ended with it, "
                        "whatever their exit status")

    tally = {kind: list(outcomes.values()).count(kind) for kind in ("passed", "failed", "skipped")}
    failed = tally["failed"] + len(missing)
    if failed == 0 and (problems or status != 0):
        failed = 1  # a crash or a leak at the end, or nothing at all
        problems.append(f"exit status {status}")
    write_counts(counts, tally["passed"], failed, tally["skipped"])
    for problem in problems:
        print(f"FAILED  {name}: {problem}")
    print(f"{name}: {len(listed)} cases, {tally['passed']} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
