#!/usr/bin/env python3
"""Changes the sources, one wrong edit at a time, and tells which edits no test notices.

mutate.py [FOLDER...] [COUNT] [--seed N] [--report FILE]

COUNT edits (20) of each folder's sources are drawn at random; the seed makes a run repeatable. A
folder may be one of the tree's or one within. Each edit is built and run against the tests of its
folder, quick ones first, and then against those of other folders that look after it, in a copy of the
tree under build/mutate; a lock that was dropped also against the tests of many threads, under
ThreadSanitizer. An edit that does not compile, or that the optimiser turns into the very same code,
does not count. Exit status 0: in every folder at least 95 % of those that count were caught. Ctrl-C
ends a folder early and tells how far it came.
"""

import argparse
import contextlib
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from mutations import mutations_of

ROOT = pathlib.Path(__file__).resolve().parents[2]
COPY = ROOT / "build" / "mutate"
BUILD = COPY / "build" / "mutate"
FOLDERS = ("base", "collections", "json", "webclient", "monitor", "certs", "pkcs12", "capi",
           "scrambler", "time", "pal", "module", "runtime", "host")
# Tests of other folders that look after a folder, too; built and run when its own see nothing.
# What the lists of the module offer is tested where it is written.
ALSO = {"base": ("module", "endtoend"),
        "module": ("conformance", "endtoend", "base", "pkcs12", "scrambler")}
# A folder's own tests, where they have more labels than its name; they run side by side.
OWN = {"host": ("host", "endpoint")}
# What the checks of a folder start.
PROGRAMS = {"host": ("vexahost", "vexabase", "velmora")}
BAR = 0.95
# How much longer than without an edit the tests may take; then they count as hanging.
PATIENCE, LEAST_SECONDS = 4, 20
# Tests up to here go first: most edits are caught by them.
QUICK_SECONDS = 5


def run(command, seconds=1800, **options):
    """(status, output) of a command; status None of one that hangs. Nothing that it started stays."""
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", stdin=subprocess.DEVNULL, start_new_session=True,
                          **options) as process:
        try:
            output, _ = process.communicate(timeout=seconds)
            status = process.returncode
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            output, status = process.communicate()[0], None
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)
    return status, output


def copy_tree():
    """The tracked and new files of the tree, as they are; the build folder of the copy stays."""
    names = subprocess.run(["git", "-C", ROOT, "ls-files", "-z", "--cached", "--others",
                            "--exclude-standard"], check=True, capture_output=True).stdout
    wanted = {name.decode() for name in names.split(b"\0") if name and (ROOT / name.decode()).is_file()}
    for name in wanted:
        target = COPY / name
        data = (ROOT / name).read_bytes()
        if not target.is_file() or target.read_bytes() != data:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(data)
            shutil.copymode(ROOT / name, target)
    for path in COPY.rglob("*"):
        if path.is_file() and not path.is_relative_to(COPY / "build"):
            if str(path.relative_to(COPY)) not in wanted:
                path.unlink()


def configure(preset):
    status, output = run(["cmake", "--preset", preset], cwd=COPY)
    if status != 0:
        sys.exit(f"mutate: cannot configure\n{output[-2000:]}")


def quick_tests(costs):
    """The names of the tests that took QUICK_SECONDS at most, by the file that CTest keeps: a line
    "NAME RUNS SECONDS" each, and behind "---" those that failed."""
    lines = (line.split() for line in costs.partition("---")[0].splitlines())
    return sorted(line[0] for line in lines if len(line) == 3 and float(line[2]) <= QUICK_SECONDS)


class Tests:
    """The tests of some folders: how to build and to run them."""

    def __init__(self, places, build=BUILD, programs=()):
        self._build = build
        known = run(["ninja", "-C", build, "-t", "targets", "all"])[1]
        self._targets = [f"tests_{place}" for place in places
                         if re.search(rf"^tests_{place}: ", known, re.M)] + list(programs)
        self._labels = "^(" + "|".join(places) + ")$"
        self._jobs = os.environ.get("VEXA_JOBS", "2")
        self._seconds = None  # that they take without an edit
        self._quick = ""
        if not self._targets:
            sys.exit(f"mutate: no tests of {places}")

    def build(self):
        return run(["cmake", "--build", self._build, "-j", self._jobs, "--target", *self._targets])

    def passed(self):
        """Left alone, CTest begins with the slowest."""
        if self._seconds is None:
            start = time.monotonic()
            passed = self._run(1800)
            self._seconds = time.monotonic() - start
            costs = self._build / "Testing" / "Temporary" / "CTestCostData.txt"
            self._quick = "^(" + "|".join(quick_tests(costs.read_text())) + ")$"
            return passed
        limit = max(LEAST_SECONDS, PATIENCE * self._seconds)
        return self._run(limit, "-R", self._quick) and self._run(limit, "-E", self._quick)

    def _run(self, limit, *choice):
        with tempfile.TemporaryDirectory() as folder:
            environment = dict(os.environ, GTEST_FAIL_FAST="1", VEXA_FAIL_FAST="1", TMPDIR=folder)
            command = ["ctest", "--test-dir", self._build, "-L", self._labels, *choice,
                       "--stop-on-failure", "-j", self._jobs]
            return run(command, limit, env=environment)[0] == 0


class Optimised:
    """What the optimiser makes of the sources that a file is part of, without names of files."""

    def __init__(self):
        self._commands = {entry["file"]: entry
                          for entry in json.loads((BUILD / "compile_commands.json").read_text())}
        self._users = {}
        source = None
        for line in run(["ninja", "-C", BUILD, "-t", "deps"])[1].splitlines():
            if not line.startswith(" "):
                source = None
                continue
            path = str((BUILD / line.strip()).resolve())
            source = source or path  # the first is what is compiled
            self._users.setdefault(path, set()).add(source)

    def is_built(self, path):
        return str(path) in self._users

    def code_of(self, path):
        """Of the users in the file's own folder; one that does not compile is empty."""
        folder = COPY / path.relative_to(COPY).parts[0]
        users = [user for user in sorted(self._users.get(str(path), ()))
                 if user in self._commands and pathlib.Path(user).is_relative_to(folder)]
        return [self._compile(self._commands[user]) for user in users]

    @staticmethod
    def _compile(entry):
        target = COPY / "same.o"
        command = [word for word in shlex.split(entry["command"]) if not word.startswith("-g")]
        command[command.index("-o") + 1] = str(target)
        status, _ = run([*command, "-O2", "-g0"], cwd=entry["directory"])
        return target.read_bytes() if status == 0 else b""


def draw(folder, count, generator, optimised):
    """COUNT mutations over what is built here of a folder, each line as likely as any other."""
    pool = []
    for path in sorted((COPY / folder).rglob("*")):
        if path.suffix in (".cpp", ".h") and optimised.is_built(path):
            pool.extend((path, mutation) for mutation in mutations_of(path.read_text()))
    return generator.sample(pool, min(count, len(pool)))


class RaceTests:
    """The tests of many threads, built when they are first wanted."""

    def __init__(self):
        self._tests = None

    def passed(self):
        if self._tests is None:
            configure("tsan")
            self._tests = Tests(["concurrency"], COPY / "build" / "tsan")
        return self._tests.build()[0] == 0 and self._tests.passed()


def judge(path, mutation, stages, races, optimised):
    """"caught", "survived", "same" (equal code) or "no" (does not compile)."""
    text = path.read_text()
    lines = text.split("\n")
    lines[mutation.line] = mutation.new
    try:
        path.write_text("\n".join(lines))
        for tests in stages:
            status, _ = tests.build()
            if status != 0:
                return "no"
            if not tests.passed():
                return "caught"
        if mutation.kind == "lock" and not races.passed():
            return "caught"
        edited = optimised.code_of(path)
    finally:
        path.write_text(text)
    return "same" if edited and edited == optimised.code_of(path) else "survived"


def mutate_folder(folder, count, seed):
    top = pathlib.PurePath(folder).parts[0]
    stages = [Tests(OWN.get(top, (top,)), programs=PROGRAMS.get(top, ()))]
    if top in ALSO:
        stages.append(Tests(ALSO[top]))
    races = RaceTests()
    for tests in stages:
        status, output = tests.build()
        if status != 0 or not tests.passed():
            sys.exit(f"mutate: the tests of {folder} fail without any edit\n{output[-2000:]}")
    optimised = Optimised()
    verdicts = {"caught": 0, "survived": 0, "same": 0, "no": 0}
    survivors = []
    for path, mutation in draw(folder, count, random.Random(f"{seed}/{folder}"), optimised):
        try:
            verdict = judge(path, mutation, stages, races, optimised)
        except KeyboardInterrupt:
            break
        verdicts[verdict] += 1
        if verdict == "survived":
            place = f"{path.relative_to(COPY)}:{mutation.line + 1}"
            survivors.append({"place": place, "kind": mutation.kind, "old": mutation.old.strip(),
                              "new": mutation.new.strip()})
            print(f"survived  {place}  ({mutation.kind})\n"
                  f"    - {mutation.old.strip()}\n    + {mutation.new.strip()}", flush=True)
    for tests in stages:
        tests.build()
    counted = verdicts["caught"] + verdicts["survived"]
    share = verdicts["caught"] / counted if counted else 1.0
    print(f"{folder}: {verdicts['caught']} of {counted} caught ({share:.0%}); "
          f"{verdicts['same']} change nothing, {verdicts['no']} do not compile", flush=True)
    return {"folder": folder, **verdicts, "share": share, "survivors": survivors}


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("what", nargs="*", metavar="FOLDER or COUNT")
    parser.add_argument("--seed", default="1")
    parser.add_argument("--report", type=pathlib.Path, help="a JSON file for the result")
    arguments = parser.parse_args()
    counts = [int(word) for word in arguments.what if word.isdigit()]
    arguments.count = counts[0] if counts else 20
    arguments.folders = [word.strip("/") for word in arguments.what if not word.isdigit()]
    for folder in arguments.folders:
        if pathlib.PurePath(folder).parts[0] not in FOLDERS or not (ROOT / folder).is_dir():
            parser.error(f"no folder {folder}; there are {', '.join(FOLDERS)}")
    return arguments


def main():
    # Ignored in what a script starts in the background.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    arguments = parse_arguments()
    copy_tree()
    configure("mutate")
    results = [mutate_folder(folder, arguments.count, arguments.seed)
               for folder in arguments.folders or FOLDERS]
    if arguments.report:
        arguments.report.write_text(json.dumps(results, indent=1) + "\n")
    sys.exit(0 if all(result["share"] >= BAR for result in results) else 1)


if __name__ == "__main__":
    main()
