"""The bill of materials of a package folder, in SPDX 2.3 (JSON)."""

import hashlib
import json
import subprocess
import time

PROGRAMS = {"bin/vexabase.dll": (), "bin/velmora.dll": ("libgcrypt", "libgpg-error"),
            "bin/vexahost.exe": ("asio", "cli11", "nlohmann-json")}

# What is linked into the Windows programs: name, Debian package that tells the version, license.
PARTS = (
    ("libgcrypt", "libgcrypt-mingw-w64-dev", "LGPL-2.1-or-later"),
    ("libgpg-error", "libgpg-error-mingw-w64-dev", "LGPL-2.1-or-later"),
    ("asio", "libasio-dev", "BSL-1.0"),
    ("cli11", "libcli11-dev", "BSD-3-Clause"),
    ("nlohmann-json", "nlohmann-json3-dev", "MIT"),
    ("gcc-runtime", "g++-mingw-w64-x86-64-posix", "GPL-3.0-or-later WITH GCC-exception-3.1"),
    ("mingw-w64", "mingw-w64-x86-64-dev", "ZPL-2.1"),
)
IN_ALL = ("gcc-runtime", "mingw-w64")


def debian_version(package):
    return subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], check=True,
                          capture_output=True, text=True).stdout


def file_entry(folder, path):
    content = path.read_bytes()
    name = str(path.relative_to(folder))
    return {
        "SPDXID": "SPDXRef-File-" + hashlib.sha256(name.encode()).hexdigest()[:16],
        "fileName": f"./{name}",
        "checksums": [
            {"algorithm": "SHA1", "checksumValue": hashlib.sha1(content).hexdigest()},
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(content).hexdigest()},
        ],
    }


def part_entry(name, package, license_id):
    return {
        "SPDXID": f"SPDXRef-Package-{name}",
        "name": name,
        "versionInfo": debian_version(package),
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": license_id,
        "licenseDeclared": license_id,
        "copyrightText": "NOASSERTION",
    }


def relation(left, kind, right):
    return {"spdxElementId": left, "relationshipType": kind, "relatedSpdxElement": right}


def describe(folder, version, seconds):
    files = [file_entry(folder, path) for path in sorted(folder.rglob("*")) if path.is_file()]
    identifiers = {entry["fileName"][2:]: entry["SPDXID"] for entry in files}
    sums = sorted(entry["checksums"][0]["checksumValue"] for entry in files)
    verification = hashlib.sha1("".join(sums).encode()).hexdigest()
    package = {
        "SPDXID": "SPDXRef-Package-vexabase",
        "name": "vexabase",
        "versionInfo": version,
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": True,
        "packageVerificationCode": {"packageVerificationCodeValue": verification},
        "licenseConcluded": "MIT",
        "licenseDeclared": "MIT",
        "copyrightText": "Copyright (c) 2026 the vexabase authors",
    }
    relations = [relation("SPDXRef-DOCUMENT", "DESCRIBES", package["SPDXID"])]
    relations += [relation(package["SPDXID"], "CONTAINS", entry["SPDXID"]) for entry in files]
    relations += [relation(identifiers[program], "STATIC_LINK", f"SPDXRef-Package-{part}")
                  for program, parts in PROGRAMS.items() for part in (*parts, *IN_ALL)]
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"vexabase-{version}",
        "documentNamespace": f"urn:vexabase:{version}:{verification}",
        "creationInfo": {
            "created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds)),
            "creators": ["Organization: the vexabase authors"],
        },
        "packages": [package, *(part_entry(*part) for part in PARTS)],
        "files": files,
        "relationships": relations,
    }


def write(folder, version, seconds):
    text = json.dumps(describe(folder, version, seconds), indent=1, ensure_ascii=False)
    (folder / "vexabase.spdx.json").write_text(text + "\n")
