"""The SDK and the module below a prefix, as a stranger uses them: hosts built from that alone, by
find_package, by pkg-config, and in Python. Each prints a value out of a JSON text.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import traceback

HOSTS = pathlib.Path(__file__).resolve().parent / "package"


class InstalledSdk:
    def __init__(self, prefix, scratch, environment):
        self.prefix = prefix
        self.scratch = scratch
        self.environment = {**os.environ, **environment}  # of the hosts

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
        shutil.copytree(HOSTS, project)
        (project / "project.cmake").rename(project / "CMakeLists.txt")
        self.run("cmake", "-S", project, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}")
        self.run("cmake", "--build", build)
        folder = (build / "module_dir").read_text(encoding="utf-8")
        for host in ("host", "host_c"):
            self.expect_port(build / host, folder)

    def check_pkg_config(self):
        # What pkg-config prints is for a shell.
        self.run("sh", "-c", f"g++ -std=c++17 {self.pkg_config('--cflags')} "
                             f"'{HOSTS}/host.cpp' -o host {self.pkg_config('--libs')}")
        self.expect_port(self.scratch / "host", self.folder("moduledir"))

    def check_python(self):
        self.environment["PYTHONPATH"] = self.folder("pythondir")
        self.expect_port(sys.executable, HOSTS / "host.py",
                         self.folder("moduledir"))

    def check_c_header(self):
        self.run("sh", "-c", f"gcc -std=c11 {self.pkg_config('--cflags')} '{HOSTS}/host.c' "
                             f"-o host_c {self.pkg_config('--libs')}")
        self.expect_port(self.scratch / "host_c", self.folder("moduledir"))

    def check_version(self):
        if self.pkg_config("--modversion").split(".")[0] != "1":
            raise AssertionError("the version is not 1")

    def check_all(self, checks):
        for name in dir(self):
            if name.startswith("check_") and name != "check_all":
                problem = ""
                try:
                    getattr(self, name)()
                except (AssertionError, OSError, UnicodeError):
                    problem = traceback.format_exc()
                checks.expect(f"the installed SDK: {name[6:].replace('_', ' ')}", not problem,
                              problem)
