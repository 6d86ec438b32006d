#!/usr/bin/env python3
"""Uses the packages that lie in a folder as one who got them would.

check_dist.py [--report FILE] DIST -- WINE

WINE starts Windows programs. FILE receives the counts.
"""

import argparse
import pathlib
import re
import tempfile

import debian_packages
import windows_package
from packages import check_checksums, make  # finds what follows
from counts import Checks


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--report", type=pathlib.Path)
    parser.add_argument("dist", type=pathlib.Path)
    parser.add_argument("wine", nargs="+")
    arguments = parser.parse_args()
    checks, dist = Checks(), arguments.dist.resolve()
    check_checksums(checks, dist)
    archives = sorted(dist.glob("*.zip"), key=lambda path: "symbols" in path.name)
    version = re.search(r"-([\d.]+)\.zip$", archives[0].name).group(1)
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        windows_package.check(checks, archives, arguments.wine, folder)
        debian_packages.check(checks, sorted(dist.glob("*.deb")), version, folder)
    checks.end(arguments.report)


if __name__ == "__main__":
    main()
