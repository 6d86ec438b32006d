#!/usr/bin/env python3
"""Runs the benchmarks and says of each row of the table whether it is as fast as it has to be.

report.py --programs FOLDER [--wine FOLDER RUNNER] [--json] [--page DOCS] [ARGS...]

--wine      runs the Windows programs of FOLDER by RUNNER, too
--json      one JSON document on the standard output instead of lines
--page      writes the table of DOCS/performance.md, and its chart
ARGS go to each program, such as --benchmark_min_time=0.5.
"""

import argparse
import json
import pathlib
import platform
import subprocess
import sys
import tempfile

import page
from rows import CHOSEN, GROWING, MOST_CHOSEN, MOST_GROWTH, ROWS

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def run(command, arguments):
    """The median time of each benchmark of a program, in nanoseconds."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder) / "out.json"
        command = [*command, f"--benchmark_out={out}", "--benchmark_out_format=json", *arguments]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        results = json.loads(out.read_text(encoding="utf-8"))["benchmarks"]
    return {
        result["run_name"]: result["cpu_time"] * NANOSECONDS[result["time_unit"]]
        for result in results if result.get("aggregate_name") == "median"
    }


def run_all(folder, suffix, runner, arguments):
    """The same of all programs in a folder, which need not have each of them."""
    times = {}
    others = (*GROWING.values(), *CHOSEN.values())
    for program in sorted({row.program for row in ROWS} | {program for program, _ in others}):
        file = folder / f"{program}{suffix}"
        if file.exists():
            print(f"== {file.name}", file=sys.stderr)
            times |= run([*runner, str(file)], arguments)
    return times


def value_of(row, times):
    """Its figure: relative to the peer, or nanoseconds. None: not measured."""
    if row.ours not in times or (row.peer and row.peer not in times):
        return None
    return times[row.ours] / (times[row.peer] if row.peer else 1)


def judged(row, times, wine=()):
    """A row with its figures."""
    value = value_of(row, times)
    if value is None:
        return None
    return {
        "name": row.name,
        "peer": row.peer_name,
        "value": value,
        "unit": "ratio" if row.peer else "ns",
        "must": row.must,
        "aim": row.aim,
        "mustMet": value <= row.must,
        "aimMet": value <= row.aim,
        "underWine": value_of(row, wine),
    }


def growth(times):
    """How many times as long four times the input takes."""
    return [{"name": name, "times": round(times[names[2]] / times[names[0]], 2),
             "linear": times[names[2]] / times[names[0]] <= MOST_GROWTH}
            for name, (_, names) in GROWING.items() if all(each in times for each in names)]


def chosen(times):
    """How many times as long an input takes that was made to be slow."""
    return [{"name": name, "times": round(times[slow] / times[ordinary], 2),
             "bounded": times[slow] / times[ordinary] <= MOST_CHOSEN}
            for name, (_, (slow, ordinary)) in CHOSEN.items() if slow in times and ordinary in times]


def processor():
    """What the processor calls itself."""
    try:
        lines = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines()
    except OSError:
        return platform.machine()
    return next((line.split(":")[1].strip() for line in lines if line.startswith("model name")), "")


def machine():
    """Where the figures come from."""
    compiler = subprocess.run(["g++", "-dumpfullversion"], capture_output=True, text=True, check=False)
    return {
        "processor": processor(),
        "system": f"{platform.system()} {platform.machine()}",
        "compiler": f"GCC {compiler.stdout.strip()}",
    }


def main():
    """Runs, tells, and writes."""
    parser = argparse.ArgumentParser(allow_abbrev=False)
    parser.add_argument("--json", action="store_true")
    parser.add_argument("--page", type=pathlib.Path)
    parser.add_argument("--programs", type=pathlib.Path, required=True)
    parser.add_argument("--wine", nargs=2, metavar=("FOLDER", "RUNNER"))
    options, arguments = parser.parse_known_args()
    times = run_all(options.programs, "", [], arguments)
    wine = {}
    if options.wine:
        wine = run_all(pathlib.Path(options.wine[0]), ".exe", [options.wine[1]], arguments)
    report = {
        "machine": machine(),
        "rows": [found for found in (judged(row, times, wine) for row in ROWS) if found],
        "growing": growth(times),
        "chosen": chosen(times),
    }
    if options.json:
        json.dump(report, sys.stdout, indent=2)
        print()
    else:
        for line in page.lines(report):
            print(line)
    if options.page:
        page.write(options.page, report)


if __name__ == "__main__":
    main()
