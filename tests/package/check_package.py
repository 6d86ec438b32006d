#!/usr/bin/env python3
"""Makes the Windows package and uses it as one who got it would.

check_package.py [--report FILE] --build BUILD -- WINE

WINE starts Windows programs. FILE receives the counts.
"""

import os
import pathlib
import re
import subprocess
import tempfile

import windows_package
from counts import COMMAND, argument, run_checks
from packages import make, same_bytes
from windows_package import FILES


def check_same_bytes(checks, build, folder):
    """The packages made twice, in two folders, from files with other times."""
    first = make.make_zips(build, folder / "first")
    for file in FILES:
        os.utime(build / "bin" / file)
    same_bytes(checks, first, make.make_zips(build, folder / "second elsewhere"))
    checks.expect("there is a package and its symbols", len(first) == 2, first)
    return first


def link_command(build, file):
    """The last command that ninja would run for this file."""
    text = subprocess.run(["ninja", "-C", str(build), "-t", "commands", "-s", f"bin/{file}"],
                          check=True, capture_output=True, text=True).stdout
    return text.strip().splitlines()[-1]


def check_relinking(checks, build, folder):
    """Linked again now, under the same name in another folder: the same file."""
    out = folder / "relinked"
    out.mkdir()
    for file in FILES:
        command = link_command(build, file)
        command = command.replace(str(build / "bin" / file), str(out / file))
        command = command.replace(f"bin/{file}", str(out / file))
        command = re.sub(r"lib/lib\w+\.dll\.a", str(out / "import.a"), command)
        said = subprocess.run(command, shell=True, cwd=build, capture_output=True, text=True,
                              check=False)
        same = (out / file).is_file() and (out / file).read_bytes() == (
            build / "bin" / file).read_bytes()
        checks.expect(f"{file} linked again is the same file", same, said.stderr or command)


def check(checks, options):
    build = options.build.resolve()
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        archives = check_same_bytes(checks, build, folder)
        check_relinking(checks, build, folder)
        windows_package.check(checks, archives, options.command, folder)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("--build", type=pathlib.Path, required=True), COMMAND)
