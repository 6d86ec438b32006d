#!/usr/bin/env python3
"""Installs the SDK and the module below a fresh prefix and builds hosts from that alone: by
find_package, by pkg-config, and in Python. Each prints a value out of a JSON text.

check_package.py --report FILE SOURCE BUILD SCRATCH [ENVIRONMENT=VALUE...]
"""

import argparse
import os
import pathlib
import shutil
import subprocess
import sys
import traceback

from counts import write_counts


class Checks:
    def __init__(self, options):
        self.hosts = options.source / "tests/sdk/package"
        self.build = options.build
        self.scratch = options.scratch
        # Blanks and umlauts, as a user's folder may have them.
        self.prefix = options.scratch / "pr\u00e9fix with blanks"
        self.environment = {**os.environ, **dict(one.split("=", 1) for one in options.environment)}

    def run(self, *command, environment=None, cwd=None):
        done = subprocess.run([str(part) for part in command], capture_output=True, check=False,
                              encoding="utf-8", errors="surrogateescape",
                              cwd=cwd or self.scratch, env=environment)
        if done.returncode:
            raise AssertionError(f"{command}\n{done.stdout[-3000:]}{done.stderr[-3000:]}")
        return done.stdout.strip()

    def expect_port(self, *command):
        printed = self.run(*command, environment=self.environment)
        if printed != "8443":
            raise AssertionError(f"{command} printed {printed!r}")

    def install(self):
        for component in ("sdk", "module"):
            self.run("cmake", "--install", self.build, "--prefix", self.prefix, "--component",
                     component)

    def pkg_config(self, *arguments):
        environment = {**os.environ, "PKG_CONFIG_PATH": ":".join(
            str(path.parent) for path in self.prefix.rglob("vexabase.pc"))}
        return self.run("pkg-config", *arguments, "vexabase", environment=environment)

    def folder(self, variable):
        """A folder that pkg-config tells. It puts a backslash before each unusual byte."""
        escaped = os.fsencode(self.pkg_config(f"--variable={variable}"))
        return os.fsdecode(escaped.replace(b"\\", b""))

    def check_find_package(self):
        project, build = self.scratch / "project", self.scratch / "build"
        shutil.copytree(self.hosts, project)
        (project / "project.cmake").rename(project / "CMakeLists.txt")
        self.run("cmake", "-S", project, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}")
        self.run("cmake", "--build", build)
        self.expect_port(build / "host", (build / "module_dir").read_text(encoding="utf-8"))

    def check_pkg_config(self):
        # What pkg-config prints is for a shell.
        self.run("sh", "-c", f"g++ -std=c++17 {self.pkg_config('--cflags')} "
                             f"'{self.hosts}/host.cpp' -o host {self.pkg_config('--libs')}")
        self.expect_port(self.scratch / "host", self.folder("moduledir"))

    def check_python(self):
        self.environment["PYTHONPATH"] = self.folder("pythondir")
        self.expect_port(sys.executable, self.hosts / "host.py",
                         self.folder("moduledir"))

    def check_c_header(self):
        self.run("sh", "-c", f"gcc -std=c11 {self.pkg_config('--cflags')} '{self.hosts}/host.c' "
                             "-o host_c")
        self.run(self.scratch / "host_c")

    def check_version(self):
        if self.pkg_config("--modversion").split(".")[0] != "1":
            raise AssertionError("the version is not 1")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--report", type=pathlib.Path, required=True)
    parser.add_argument("source", type=pathlib.Path)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("scratch", type=pathlib.Path)
    parser.add_argument("environment", nargs="*")
    options = parser.parse_args()
    shutil.rmtree(options.scratch, ignore_errors=True)
    options.scratch.mkdir(parents=True)
    checks = Checks(options)
    checks.install()
    names = [name for name in dir(checks) if name.startswith("check_")]
    failed = 0
    for name in names:
        try:
            getattr(checks, name)()
        except (AssertionError, OSError, UnicodeError):
            failed += 1
            print(f"FAILED: {name}")
            traceback.print_exc(file=sys.stdout)
    write_counts(options.report, len(names) - failed, failed)
    print(f"{len(names) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
