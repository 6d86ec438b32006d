#!/usr/bin/env python3
"""Makes the Debian packages and uses them as one who got them would.

check_debian.py [--report FILE] BUILD

BUILD is a release build. FILE receives the counts.
"""

import os
import pathlib
import tempfile

import debian_packages
from counts import argument, run_checks
from packages import make, same_bytes


def check_same_bytes(checks, build, folder):
    """The packages made twice: by accounts with other habits, far from each other."""
    first = make.make_debian_packages(build, folder / "first")
    habits = os.umask(0o077)
    os.environ["TZ"] = "Asia/Tokyo"
    try:
        second = make.make_debian_packages(build, folder / "second elsewhere")
    finally:
        os.umask(habits)
        del os.environ["TZ"]
    same_bytes(checks, first, second)
    return first


def check(checks, options):
    build = options.build.resolve()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        packages = check_same_bytes(checks, build, folder)
        debian_packages.check(checks, packages, make.version_of(build), folder)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("build", type=pathlib.Path))
