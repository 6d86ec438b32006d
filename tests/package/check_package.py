#!/usr/bin/env python3
"""Makes the Windows package and uses it as one who got it would.

check_package.py [--report FILE] --build BUILD -- WINE

WINE starts Windows programs. FILE receives the counts.
"""

import argparse
import hashlib
import json
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import zipfile
import zlib

from counts import Checks

ROOT = pathlib.Path(__file__).resolve().parents[2]
FILES = ("vexabase.dll", "velmora.dll", "vexahost.exe")
sys.path.insert(0, str(ROOT / "packaging"))
import package  # noqa: E402  (found through the line above)
import seal_pe  # noqa: E402

PARTS = {"libgcrypt", "libgpg-error", "asio", "cli11", "nlohmann-json", "gcc-runtime", "mingw-w64"}
TEXTS = ("LICENSE", "THIRD_PARTY_NOTICES.md", "README.md", "CHANGELOG.md", "licenses/LGPL-2.1.txt",
         "include/vexa/module.h", "lib/cmake/vexabase/vexabaseConfig.cmake", "relink/libvelmora.a")


def make_packages(build, dist):
    """The package, then its symbols."""
    package.main(build, dist)
    return sorted(dist.glob("*.zip"), key=lambda path: "symbols" in path.name)


def check_same_bytes(checks, build, folder):
    """The packages made twice, in two folders, from files with other times."""
    first = make_packages(build, folder / "first")
    for file in FILES:
        os.utime(build / "bin" / file)
    second = make_packages(build, folder / "second elsewhere")
    checks.expect("there is a package and its symbols", len(first) == len(second) == 2, first)
    for left, right in zip(first, second):
        checks.expect(f"{left.name} is the same bytes twice",
                      left.read_bytes() == right.read_bytes())
    sums = subprocess.run(["sha256sum", "-c", "SHA256SUMS"], cwd=first[0].parent,
                          capture_output=True, text=True, check=False)
    checks.expect("SHA256SUMS is right",
                  sums.returncode == 0 and all(path.name in sums.stdout for path in first),
                  sums.stdout + sums.stderr)
    return first


def link_command(build, file):
    """The last command that ninja would run for this file."""
    text = subprocess.run(["ninja", "-C", str(build), "-t", "commands", "-s", f"bin/{file}"],
                          check=True, capture_output=True, text=True).stdout
    return text.strip().splitlines()[-1]


def unpack(archive, place):
    with zipfile.ZipFile(archive) as content:
        content.extractall(place)
    return next(place.iterdir())


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


def check_relinking_as_described(checks, unpacked, folder):
    """What the notices tell for another libgcrypt, with the one that Debian has."""
    out = folder / "with-mine" / "velmora.dll"
    out.parent.mkdir()
    said = subprocess.run(["sh", str(unpacked / "relink/relink.sh"), "/usr/x86_64-w64-mingw32/lib",
                           str(out)], capture_output=True, text=True, check=False)
    exports = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", str(out)], capture_output=True,
                             text=True, check=False).stdout
    checks.expect("velmora.dll can be relinked from the package",
                  said.returncode == 0 and "quorix_get_f_list" in exports, said.stderr)


def check_programs(checks, unpacked):
    for file in FILES:
        image = bytearray((unpacked / "bin" / file).read_bytes())
        header = seal_pe.header_offset(image)
        flags = dict((name, struct.unpack_from("<I", image, offset + 36)[0])
                     for name, offset in seal_pe.sections(image))
        writable = [name for name in seal_pe.SEALED if flags.get(name, 0) & seal_pe.MEM_WRITE]
        checks.expect(f"{file}: the import table is not writable",
                      b".idata" in flags and not writable, flags)
        code = [name for name, bits in flags.items()
                if bits & 0x20000000 and bits & seal_pe.MEM_WRITE]
        checks.expect(f"{file}: no section is writable and executable", not code, code)
        characteristics = struct.unpack_from("<H", image, header + 24 + 70)[0]
        checks.expect(f"{file}: relocatable in 64 bits, no execution of data",
                      characteristics & 0x160 == 0x160, hex(characteristics))
        checks.expect(f"{file}: its checksum is right",
                      struct.unpack_from("<I", image, header + 88)[0] == seal_pe.checksum(image))
        text = bytes(image)
        checks.expect(f"{file}: tells its version and who runs it",
                      "OriginalFilename\0".encode("utf-16-le") in text
                      and file.encode("utf-16-le") in text and b'level="asInvoker"' in text)
        checks.expect(f"{file}: names no folder of the machine that built it",
                      str(ROOT).encode() not in text and b"/root/" not in text)


def check_symbols(checks, unpacked, symbols):
    """Each program names its file of symbols and the sum of it; those lie in folders of this tree."""
    for file in FILES:
        image = bytearray((unpacked / "bin" / file).read_bytes())
        debug = symbols / "bin" / f"{file}.debug"
        content = debug.read_bytes() if debug.is_file() else b""
        link = debug.name.encode() + b"\0"
        link += b"\0" * (-len(link) % 4) + struct.pack("<I", zlib.crc32(content))
        checks.expect(f"{file}: leads to its symbols", link in bytes(image), debug)
        lines = subprocess.run(["x86_64-w64-mingw32-objdump", "--dwarf=info", "--dwarf-depth=1",
                                str(debug)], capture_output=True, text=True, check=False).stdout
        checks.expect(f"{file}: its symbols name sources", "DW_AT_name        : " in lines
                      and re.search(r": \./\w+/[\w/]+\.cpp$", lines, re.M), lines[:600])
        checks.expect(f"{debug.name}: names no folder of this machine",
                      str(ROOT).encode() not in content)


def check_bill(checks, unpacked):
    bill = json.loads((unpacked / "vexabase.spdx.json").read_text())
    header = (bill["spdxVersion"], bill["dataLicense"], bill["SPDXID"])
    checks.expect("the bill is SPDX 2.3", header == ("SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT"))
    listed = {entry["fileName"]: entry["checksums"][1]["checksumValue"] for entry in bill["files"]}
    there = {f"./{path.relative_to(unpacked)}": hashlib.sha256(path.read_bytes()).hexdigest()
             for path in unpacked.rglob("*") if path.is_file()
             and path.name != "vexabase.spdx.json"}
    checks.expect("... lists every file with its sum", listed == there,
                  set(listed.items()) ^ set(there.items()))
    packages = {entry["name"]: entry for entry in bill["packages"]}
    complete = all(entry.get(field) for entry in bill["packages"] for field in
                   ("SPDXID", "name", "versionInfo", "licenseDeclared", "downloadLocation"))
    checks.expect("... names what is linked in", PARTS | {"vexabase"} == set(packages) and complete,
                  packages)
    known = {entry["SPDXID"] for entry in bill["packages"] + bill["files"]} | {bill["SPDXID"]}
    ends = {side for link in bill["relationships"]
            for side in (link["spdxElementId"], link["relatedSpdxElement"])}
    checks.expect("... and every relationship leads somewhere", ends <= known, ends - known)


def check_links(checks, unpacked):
    broken = [f"{page.relative_to(unpacked)}: {target}" for page in unpacked.rglob("*.md")
              for target in re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", page.read_text())
              if "://" not in target and not (page.parent / target).exists()]
    checks.expect("the packaged documents' links lead somewhere", not broken, broken)


def check_in_wine(checks, unpacked, wine, folder):
    """In a Wine prefix that nothing was done in before, from where it was unpacked."""
    environment = dict(os.environ, WINEPREFIX=str(folder / "prefix"))

    def run(*arguments):
        said = subprocess.run([*wine, str(unpacked / "bin/vexahost.exe"), *arguments],
                              env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=500, cwd=folder, check=False)
        return said.returncode, (said.stdout + said.stderr).decode(errors="replace")

    try:
        status, text = run("time", "1", "--from", "unix", "--to", "filetime")
        checks.expect("it runs under a path with blanks and umlauts",
                      status == 0 and "116444736010000000" in text, text)
        status, text = run("lists")
        checks.expect("... with all its lists", status == 0 and "json" in text, text)
    finally:
        subprocess.run([*wine, "--stop"], env=environment, capture_output=True, check=False)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--report", type=pathlib.Path)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("wine", nargs="+")
    arguments = parser.parse_args()
    checks, build = Checks(), arguments.build.resolve()
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        unpacked, symbols = (unpack(archive, folder / place) for archive, place in zip(
            check_same_bytes(checks, build, folder), ("Eigene Dateien äöü", "symbols")))
        missing = [text for text in TEXTS if not (unpacked / text).is_file()]
        checks.expect("the package has what it must have", not missing, missing)
        check_programs(checks, unpacked)
        check_symbols(checks, unpacked, symbols)
        check_bill(checks, unpacked)
        check_links(checks, unpacked)
        check_relinking(checks, build, folder)
        check_relinking_as_described(checks, unpacked, folder)
        check_in_wine(checks, unpacked, arguments.wine, folder)
    checks.end(arguments.report)


if __name__ == "__main__":
    main()
