"""What the checks of both kinds of packages have in common."""

import pathlib
import re
import struct
import subprocess
import sys
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "packaging"), str(ROOT / "tests/sdk"), str(ROOT / "tests/tools")]
import package as make  # noqa: E402,F401  (found through the line above)
import seal_pe  # noqa: E402,F401


def same_bytes(checks, left, right):
    checks.expect("the same packages are made twice",
                  [path.name for path in left] == [path.name for path in right], (left, right))
    for one, other in zip(left, right):
        checks.expect(f"{one.name} is the same bytes twice",
                      one.read_bytes() == other.read_bytes())


def check_checksums(checks, dist):
    """SHA256SUMS names every file beside it, with the sum it has."""
    said = subprocess.run(["sha256sum", "--strict", "-c", "SHA256SUMS"], cwd=dist,
                          capture_output=True, text=True, check=False)
    checks.expect("SHA256SUMS is right", said.returncode == 0, said.stdout + said.stderr)
    named = {line.split("  ")[1] for line in (dist / "SHA256SUMS").read_text().splitlines()}
    there = {path.name for path in dist.iterdir()} - {"SHA256SUMS"}
    checks.expect("... and names every package", named == there, named ^ there)


def check_links(checks, folder):
    broken = [f"{page.relative_to(folder)}: {target}" for page in folder.rglob("*.md")
              for target in re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", page.read_text())
              if "://" not in target and not (page.parent / target).exists()]
    checks.expect("the packaged documents' links lead somewhere", not broken, broken)


def check_debug_link(checks, program, symbols):
    """The program names its file of symbols and the sum of it."""
    content = symbols.read_bytes() if symbols.is_file() else b""
    link = symbols.name.encode() + b"\0"
    link += b"\0" * (-len(link) % 4) + struct.pack("<I", zlib.crc32(content))
    checks.expect(f"{program.name}: leads to its symbols", content and link in program.read_bytes(),
                  symbols)


def check_no_folder_of_ours(checks, folder):
    ours = re.compile(re.escape(str(ROOT).encode()) + b"|/root/|/home/")
    traces = [f"{path.relative_to(folder)}: {found.group()}" for path in folder.rglob("*")
              if path.is_file() and (found := ours.search(path.read_bytes()))]
    checks.expect("no file names a folder of the build machine", not traces, traces)


def check_folders_in_symbols(checks, symbols):
    """All sources lie below ".", and what the build wrote below "./build" whichever preset it was:
    compiled elsewhere, or taken from a cache, the same bytes."""
    folders = set(re.findall(rb"\./build/[\w-]+", symbols.read_bytes()))
    wrong = [name for name in folders if not re.match(rb"\./build/(roots|generated|host)$", name)]
    checks.expect(f"{symbols.name}: one name for the folder of every build", not wrong, wrong)
