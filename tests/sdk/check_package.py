#!/usr/bin/env python3
"""Installs the SDK and the module below a fresh prefix and uses them as a stranger does.

check_package.py --report FILE BUILD SCRATCH [ENVIRONMENT=VALUE...]
"""

import pathlib
import shutil
import subprocess

from counts import argument, run_checks
from installed_sdk import InstalledSdk


def install(build, prefix):
    for component in ("sdk", "module"):
        subprocess.run(["cmake", "--install", str(build), "--prefix", str(prefix), "--component",
                        component], check=True, stdout=subprocess.DEVNULL)


def check(checks, options):
    shutil.rmtree(options.scratch, ignore_errors=True)
    options.scratch.mkdir(parents=True)
    # Blanks and umlauts, as a user's folder may have them.
    prefix = options.scratch / "pr\u00e9fix with blanks"
    install(options.build, prefix)
    environment = dict(one.split("=", 1) for one in options.environment)
    InstalledSdk(prefix, options.scratch, environment).check_all(checks)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("build", type=pathlib.Path),
               argument("scratch", type=pathlib.Path), argument("environment", nargs="*"))
