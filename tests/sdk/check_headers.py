#!/usr/bin/env python3
"""Compiles the headers of the SDK as a stranger would: each alone, as C++17, with every compiler at
hand; on Windows before and behind <windows.h> and <objbase.h>, every function called, for the
MinGW and for the Microsoft binary interface. The C header as C11 and from C++.

check_headers.py --report FILE native|windows SOURCE GENERATED

SOURCE holds include/, GENERATED what the generator made of it.
"""

import concurrent.futures
import os
import pathlib
import shutil
import subprocess

from counts import argument, run_checks

WARNINGS = ["-Wall", "-Wextra", "-Wconversion", "-Wshadow", "-Wpedantic", "-Werror"]
CXX17 = ["-std=c++17", *WARNINGS]
C11 = ["-std=c11", *WARNINGS]
MINGW = "x86_64-w64-mingw32"
# These need a whole standard library, which the Microsoft target does not have here.
HOSTED = {"host.h", "shared_library.h"}


def resource_folder(clang):
    return subprocess.run([clang, "-print-resource-dir"], capture_output=True, text=True,
                          check=True).stdout.strip()


def microsoft(source):
    """Clang for the Microsoft binary interface, with MinGW's headers of the system."""
    return ["clang++-14", "-target", "x86_64-pc-windows-msvc", "-ffreestanding", "-fno-exceptions",
            "-fno-rtti", "-std=c++17", "-nostdinc", "-isystem", f"{source}/tests/sdk/msvc/shims",
            "-isystem", f"{resource_folder('clang-14')}/include",
            "-isystem", f"/usr/{MINGW}/include", *WARNINGS]


class Compilations:
    def __init__(self, source, generated):
        self.source, self.generated = source, generated
        self.cases = []  # (title, command, source text)

    def headers(self):
        include = self.source / "include"
        return sorted(path.relative_to(include) for path in (include / "vexa").rglob("*.h"))

    def add(self, title, command, text, language="c++"):
        folders = [f"-I{self.source / 'include'}", f"-I{self.generated}"]
        self.cases.append((title, [*command, *folders, "-x", language, "-fsyntax-only", "-"], text))

    def each_alone(self, name, command, leave_out=()):
        for header in self.headers():
            if header.name not in leave_out:
                self.add(f"{name}: {header}", command, f'#include "{header.as_posix()}"\n')

    def calls(self, name, command, *macros):
        text = "".join(f"#define {macro}\n" for macro in macros) + '#include "calls.cpp"\n'
        self.add(f"{name}: every function {' '.join(macros)}", command, text)

    def native(self):
        for compiler in ("g++", "clang++-14"):
            self.each_alone(compiler, [compiler, *CXX17])
            self.calls(compiler, [compiler, *CXX17])
            self.add(f"{compiler}: the C header", [compiler, *CXX17], '#include "vexabase.h"\n')
        for compiler in ("gcc", "clang-14"):
            self.add(f"{compiler}: the C header", [compiler, *C11], '#include "vexabase.h"\n', "c")
        self.add("without exceptions", ["g++", *CXX17, "-fno-exceptions"],
                 '#include "vexa/host.h"\n')

    def windows(self):
        mingw = [f"{MINGW}-g++-posix", *CXX17]
        self.each_alone("MinGW", mingw)
        self.add("MinGW: the C header", [f"{MINGW}-gcc-posix", *C11], '#include "vexabase.h"\n', "c")
        clang = microsoft(self.source)
        self.each_alone("Microsoft", clang, HOSTED)
        for name, command in (("MinGW", mingw), ("Microsoft", clang)):
            for macro in ("WINDOWS_FIRST", "WINDOWS_LAST"):
                self.calls(name, command, macro)
                self.calls(name, command, macro, "UNICODE")

    def run(self, checks):
        runnable = [case for case in self.cases if shutil.which(case[1][0])]
        checks.skipped += len(self.cases) - len(runnable)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for title, errors in pool.map(compile_one, runnable):
                checks.expect(title, errors is None, errors or "")


def compile_one(case):
    title, command, text = case
    done = subprocess.run(command, input=text, capture_output=True, text=True, check=False)
    return title, done.stderr if done.returncode else None


def check(checks, options):
    compilations = Compilations(options.source, options.generated)
    getattr(compilations, options.platform)()
    compilations.run(checks)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("platform", choices=("native", "windows")),
               argument("source", type=pathlib.Path), argument("generated", type=pathlib.Path))
