"""The Windows package as one who got it uses it. The functions tell `checks` what they found."""

import hashlib
import json
import os
import re
import struct
import subprocess
import zipfile

from packages import (check_debug_link, check_folders_in_symbols, check_links,
                      check_no_folder_of_ours, seal_pe)

FILES = ("vexabase.dll", "velmora.dll", "vexahost.exe")
PARTS = {"libgcrypt", "libgpg-error", "asio", "cli11", "nlohmann-json", "gcc-runtime", "mingw-w64"}
TEXTS = ("LICENSE", "THIRD_PARTY_NOTICES.md", "README.md", "CHANGELOG.md", "licenses/LGPL-2.1.txt",
         "include/vexa/module.h", "lib/cmake/vexabase/vexabaseConfig.cmake", "relink/libvelmora.a")


def unpack(archive, place):
    with zipfile.ZipFile(archive) as content:
        content.extractall(place)
    return next(place.iterdir())


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


def check_symbols(checks, unpacked, symbols):
    """Each program leads to its symbols; those lie in folders of this tree."""
    for file in FILES:
        debug = symbols / "bin" / f"{file}.debug"
        check_debug_link(checks, unpacked / "bin" / file, debug)
        check_folders_in_symbols(checks, debug)
        lines = subprocess.run(["x86_64-w64-mingw32-objdump", "--dwarf=info", "--dwarf-depth=1",
                                str(debug)], capture_output=True, text=True, check=False).stdout
        checks.expect(f"{file}: its symbols name sources", "DW_AT_name        : " in lines
                      and re.search(r": \./\w+/[\w/]+\.cpp$", lines, re.M), lines[:600])


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


def build_examples(checks, unpacked):
    """The example hosts, from the package alone."""
    for compiler, standard, source in (("g++", "c++17", "host.cpp"), ("gcc", "c11", "host.c")):
        said = subprocess.run(
            [f"x86_64-w64-mingw32-{compiler}-posix", f"-std={standard}", "-static", "-I",
             str(unpacked / "include"), str(unpacked / "docs/examples" / source), "-o",
             str(unpacked / f"{source}.exe")], capture_output=True, text=True, check=False)
        checks.expect(f"{source} is built from the package", said.returncode == 0, said.stderr)


def check_in_wine(checks, unpacked, wine, folder):
    """In a Wine prefix that nothing was done in before, from where it was unpacked."""
    environment = dict(os.environ, WINEPREFIX=str(folder / "Pr\u00e4fix mit Leerzeichen"))

    def run(program, *arguments):
        said = subprocess.run([*wine, str(unpacked / program), *arguments],
                              env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=500, cwd=folder, check=False)
        return said.returncode, (said.stdout + said.stderr).decode(errors="replace")

    try:
        status, text = run("bin/vexahost.exe", "time", "1", "--from", "unix", "--to", "filetime")
        checks.expect("it runs under a path with blanks and umlauts",
                      status == 0 and "116444736010000000" in text, text)
        status, text = run("bin/vexahost.exe", "lists")
        checks.expect("... with all its lists", status == 0 and "json" in text, text)
        status, text = run("host.cpp.exe", str(unpacked / "bin"))
        checks.expect("... the C++ host, too", status == 0 and '"greeting" : "hello"' in text, text)
        status, text = run("host.c.exe", str(unpacked / "bin/vexabase.dll"))
        checks.expect("... and the C host", status == 0 and "answer: 42" in text, text)
    finally:
        subprocess.run([*wine, "--stop"], env=environment, capture_output=True, check=False)


def check(checks, archives, wine, folder):
    """The package and its symbols, unpacked below folder."""
    unpacked, symbols = (unpack(archive, folder / place) for archive, place in zip(
        archives, ("Eigene Dateien \u00e4\u00f6\u00fc", "symbols")))
    missing = [text for text in TEXTS if not (unpacked / text).is_file()]
    checks.expect("the package has what it must have", not missing, missing)
    check_programs(checks, unpacked)
    check_symbols(checks, unpacked, symbols)
    check_bill(checks, unpacked)
    check_links(checks, unpacked)
    check_no_folder_of_ours(checks, unpacked)
    check_no_folder_of_ours(checks, symbols)
    check_relinking_as_described(checks, unpacked, folder)
    build_examples(checks, unpacked)
    check_in_wine(checks, unpacked, wine, folder)
