#!/usr/bin/env python3
"""Runs clang-tidy over the sources that a compile database knows.

lint.py [--jobs N] [--deep] ROOT BUILD [PART...]

PART: only sources whose path contains one of these. --deep: let the analyzer follow every call.

A source that passed is not looked at again until its content, that of a header it includes, its
command line or the configuration changes. The cache holds one empty file for each state that
passed; the states name no machine's folders, so all trees of a user share it.
"""

import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

CLANG_TIDY = "clang-tidy-14"
NOT_OURS = ("build", "cmake")
# This clang-tidy crashes at its "if consteval".
TOO_NEW = "-std=c++23"
# The analyzer looks into few of the functions that are called; the whole way costs five times as
# much as everything else together.
SHALLOW = ("-Xclang", "-analyzer-config", "-Xclang", "mode=shallow")


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("root", type=pathlib.Path)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--jobs", type=int, default=int(os.environ.get("VEXA_JOBS", os.cpu_count())))
    parser.add_argument("--deep", action="store_true")
    parser.add_argument("parts", nargs="*")
    return parser.parse_args()


def cache_folder():
    home = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache")
    folder = home / "vexabase-lint"
    folder.mkdir(parents=True, exist_ok=True)
    return folder


def wanted_commands(root, build, parts):
    """The compile commands of our sources, each source once."""
    commands = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["file"])
        if not source.is_relative_to(root) or not source.exists():
            continue
        relative = source.relative_to(root)
        if relative.parts[0] in NOT_OURS or TOO_NEW in entry["command"]:
            continue
        if not parts or any(part in str(relative) for part in parts):
            commands.setdefault(str(relative), entry)
    return commands


def read_dependencies(build):
    """What ninja recorded: object file -> the files it was made from."""
    output = subprocess.run(
        ["ninja", "-C", str(build), "-t", "deps"], capture_output=True, text=True, check=False
    ).stdout
    dependencies, current = {}, None
    for line in output.splitlines():
        if line.startswith("    "):
            if current is not None:
                current.append(line.strip())
        elif ": #deps" in line:
            current = dependencies.setdefault(line.split(": #deps")[0], [])
    return dependencies


class States:
    """Hashes over everything a verdict depends on."""

    def __init__(self, root, build, options):
        self._root = root
        self._build = build
        self._dependencies = read_dependencies(build)
        self._digests = {}
        version = subprocess.run([CLANG_TIDY, "--version"], capture_output=True, text=True, check=True)
        # What is precompiled counts for all: ninja does not tell who uses it.
        precompiled = [build / name for made, names in self._dependencies.items()
                       if made.endswith(".gch") for name in names]
        self._base = version.stdout + " ".join(options) + "".join(
            self._digest(path) for path in
            sorted([root / ".clang-tidy", *root.glob("*/.clang-tidy"), *precompiled]))

    def _digest(self, path):
        if path not in self._digests:
            try:
                self._digests[path] = hashlib.sha256(path.read_bytes()).hexdigest()
            except OSError:
                self._digests[path] = "missing"
        return self._digests[path]

    def _anywhere(self, text):
        return text.replace(str(self._build), "BUILD").replace(str(self._root), "ROOT")

    def of(self, entry):
        """None when it is not known what the source includes."""
        words = shlex.split(entry["command"])
        made_from = self._dependencies.get(words[words.index("-o") + 1])
        if made_from is None:
            return None
        state = hashlib.sha256(self._base.encode())
        state.update(self._anywhere(entry["command"]).encode())
        state.update(self._digest(pathlib.Path(entry["file"])).encode())
        for name in sorted(made_from):
            digest = self._digest(self._build / name)
            state.update(f"{self._anywhere(name)} {digest}\n".encode())
        return state.hexdigest()


def run_tidy(entry, build, options):
    return subprocess.run(
        [CLANG_TIDY, "--quiet", "-p", str(build), *options, entry["file"]],
        capture_output=True, text=True, check=False)


def main():
    arguments = parse_arguments()
    root, build, cache = arguments.root.resolve(), arguments.build.resolve(), cache_folder()
    commands = wanted_commands(root, build, arguments.parts)
    if not commands:
        sys.exit("FAILED  clang-tidy: there is nothing to look at")
    options = [f"--extra-arg={option}" for option in
               ("-Wno-unknown-warning-option", *(() if arguments.deep else SHALLOW))]
    states = States(root, build, options)
    pending = {}
    for name, entry in sorted(commands.items()):
        state = states.of(entry)
        if state is None or not (cache / state).exists():
            pending[name] = (entry, state)

    failed = []
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        runs = {pool.submit(run_tidy, entry, build, options): (name, state)
                for name, (entry, state) in pending.items()}
        for run in concurrent.futures.as_completed(runs):
            name, state = runs[run]
            result = run.result()
            if result.returncode != 0:
                failed.append(name)
                print(result.stdout.strip() or result.stderr, flush=True)
            elif state is not None:
                (cache / state).touch()

    for name in sorted(failed):
        print(f"FAILED  clang-tidy: {name}")
    print(f"{len(commands)} sources, {len(commands) - len(pending)} unchanged, {len(failed)} failed")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
