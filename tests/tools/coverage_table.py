#!/usr/bin/env python3
"""Prints how much of each folder the tests run, and says which folders are below the bar.

coverage_table.py SUMMARY: what gcovr --json-summary wrote. Exit status 1 when a folder is below.
"""

import json
import pathlib
import re
import sys

BAR = 0.95
# A header is seen through the folder of links that its users may include from.
LINKED = re.compile(r"^build/[^/]+/roots/[^/]+/")


def folder_of(name):
    return pathlib.PurePath(LINKED.sub("", name)).parts[0]


def sum_up(files):
    """{folder: [lines run, lines, branches taken, branches]}"""
    folders = {}
    for file in files:
        sums = folders.setdefault(folder_of(file["filename"]), [0, 0, 0, 0])
        for i, key in enumerate(("line_covered", "line_total", "branch_covered", "branch_total")):
            sums[i] += file[key]
    return folders


def share(part, whole):
    return part / whole if whole else 1.0


def table(folders):
    """Lines of text, a folder each, and how many folders are below the bar."""
    text, below = [f"{'folder':<12} {'lines':>13} {'':>6} {'branches':>15}"], 0
    for name, (run, lines, taken, branches) in sorted(folders.items()):
        short = share(run, lines) < BAR
        below += short
        text.append(f"{name:<12} {run:>6}/{lines:<6} {share(run, lines):>6.1%} "
                    f"{taken:>6}/{branches:<6} {share(taken, branches):>6.1%}"
                    + (f"  below {BAR:.0%}" if short else ""))
    return text, below


def main():
    summary = json.loads(pathlib.Path(sys.argv[1]).read_text())
    text, below = table(sum_up(summary["files"]))
    print("\n".join(text))
    sys.exit(1 if below else 0)


if __name__ == "__main__":
    main()
