#!/usr/bin/env python3
"""Runs the host of the Microsoft binary interface, which prints "N passed, M failed" at its end.

run_host.py --report FILE FOLDER -- PROGRAM...
"""

import argparse
import pathlib
import re
import subprocess
import sys

from counts import write_counts


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--report", type=pathlib.Path, required=True)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("command", nargs="+")
    options = parser.parse_args()
    done = subprocess.run(options.command, cwd=options.folder, capture_output=True, text=True,
                          check=False)
    print(done.stdout, done.stderr, f"exit status {done.returncode}")
    counts = re.search(r"^(\d+) passed, (\d+) failed\r?$", done.stdout, re.M)
    if counts is None:
        return 1
    write_counts(options.report, int(counts[1]), int(counts[2]))
    return 1 if done.returncode or int(counts[2]) else 0


if __name__ == "__main__":
    sys.exit(main())
