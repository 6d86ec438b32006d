#!/usr/bin/env python3
"""Installs the SDK and the module below a fresh prefix and uses them as a stranger does.

check_package.py --report FILE BUILD SCRATCH [ENVIRONMENT=VALUE...]
"""

import argparse
import pathlib
import shutil
import subprocess

from counts import Checks
from installed_sdk import InstalledSdk


def install(build, prefix):
    for component in ("sdk", "module"):
        subprocess.run(["cmake", "--install", str(build), "--prefix", str(prefix), "--component",
                        component], check=True, stdout=subprocess.DEVNULL)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--report", type=pathlib.Path, required=True)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("scratch", type=pathlib.Path)
    parser.add_argument("environment", nargs="*")
    options = parser.parse_args()
    shutil.rmtree(options.scratch, ignore_errors=True)
    options.scratch.mkdir(parents=True)
    # Blanks and umlauts, as a user's folder may have them.
    prefix = options.scratch / "pr\u00e9fix with blanks"
    install(options.build, prefix)
    environment = dict(one.split("=", 1) for one in options.environment)
    checks = Checks()
    InstalledSdk(prefix, options.scratch, environment).check_all(checks)
    checks.end(options.report)


if __name__ == "__main__":
    main()
