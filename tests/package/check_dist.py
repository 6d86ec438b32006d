#!/usr/bin/env python3
"""Uses the packages that lie in a folder as one who got them would.

check_dist.py [--report FILE] DIST -- WINE

WINE starts Windows programs. FILE receives the counts.
"""

import pathlib
import re
import tempfile

import debian_packages
import windows_package
from packages import check_checksums  # finds what follows
from counts import COMMAND, argument, run_checks


def check(checks, options):
    dist = options.dist.resolve()
    check_checksums(checks, dist)
    archives = sorted(dist.glob("*.zip"), key=lambda path: "symbols" in path.name)
    version = re.search(r"-([\d.]+)\.zip$", archives[0].name).group(1)
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        windows_package.check(checks, archives, options.command, folder)
        debian_packages.check(checks, sorted(dist.glob("*.deb")), version, folder)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("dist", type=pathlib.Path), COMMAND)
