#!/usr/bin/env python3
"""Runs clang-tidy over the sources that a compile database knows, tests excepted.

A source that passed is not looked at again until it, a header it includes, its command line or the
configuration changes: the cache holds one empty file for each state that passed.
"""

import argparse
import concurrent.futures
import hashlib
import json
import pathlib
import shlex
import subprocess
import sys

FOLDERS = (
    "base",
    "collections",
    "json",
    "webclient",
    "monitor",
    "certs",
    "util",
    "module",
    "pal",
    "runtime",
    "host",
)
CLANG_TIDY = "clang-tidy-14"


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--cache", type=pathlib.Path, required=True)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("files", nargs="*", help="only sources whose path contains one of these")
    return parser.parse_args()


def wanted_commands(build, root, files):
    """The compile commands of our sources, each source once."""
    commands = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["file"])
        try:
            relative = source.relative_to(root)
        except ValueError:
            continue
        if relative.parts[0] not in FOLDERS or not source.exists():
            continue
        if files and not any(part in str(relative) for part in files):
            continue
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


class Digests:
    """Content hashes of files, each read once."""

    def __init__(self):
        self._known = {}

    def of(self, path):
        if path not in self._known:
            try:
                self._known[path] = hashlib.sha256(path.read_bytes()).hexdigest()
            except OSError:
                self._known[path] = "missing"
        return self._known[path]


def state_of(entry, build, dependencies, digests, base):
    """A hash over everything the verdict depends on; None when that is not known."""
    words = shlex.split(entry["command"])
    made_from = dependencies.get(words[words.index("-o") + 1])
    if made_from is None:
        return None
    state = hashlib.sha256(base.encode())
    state.update(entry["command"].encode())
    state.update(digests.of(pathlib.Path(entry["file"])).encode())
    for name in sorted(made_from):
        state.update(f"{name} {digests.of(build / name)}\n".encode())
    return state.hexdigest()


def run_tidy(entry, build):
    return subprocess.run(
        [
            CLANG_TIDY,
            "--quiet",
            "-p",
            str(build),
            "--extra-arg=-Wno-unknown-warning-option",
            entry["file"],
        ],
        capture_output=True,
        text=True,
        check=False,
    )


def main():
    arguments = parse_arguments()
    root = pathlib.Path.cwd()
    build = arguments.build.resolve()
    arguments.cache.mkdir(parents=True, exist_ok=True)
    commands = wanted_commands(build, root, arguments.files)
    dependencies = read_dependencies(build)
    digests = Digests()
    version = subprocess.run([CLANG_TIDY, "--version"], capture_output=True, text=True, check=True)
    base = version.stdout + digests.of(root / ".clang-tidy")

    pending, cached = {}, 0
    for name, entry in sorted(commands.items()):
        state = state_of(entry, build, dependencies, digests, base)
        if state and (arguments.cache / state).exists():
            cached += 1
        else:
            pending[name] = (entry, state)

    failed = []
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        runs = {
            pool.submit(run_tidy, entry, build): (name, state)
            for name, (entry, state) in pending.items()
        }
        for run in concurrent.futures.as_completed(runs):
            name, state = runs[run]
            result = run.result()
            if result.returncode == 0:
                if state:
                    (arguments.cache / state).touch()
                continue
            failed.append(name)
            print(f"--- {name}\n{result.stdout}", flush=True)
            if not result.stdout.strip():
                print(result.stderr, flush=True)

    print(f"clang-tidy: {len(commands)} sources, {cached} unchanged, {len(failed)} failed")
    for name in sorted(failed):
        print(f"  failed: {name}")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
