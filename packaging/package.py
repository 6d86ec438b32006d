#!/usr/bin/env python3
"""Makes the packages: the same bytes from the same tree, whenever, wherever and by whomever.

package.py WINDOWS RELEASE DIST

WINDOWS and RELEASE are builds. Writes into DIST, which it empties before:
  vexabase-VERSION.zip          the Windows programs and the SDK, with a bill of materials inside
                                (vexabase.spdx.json)
  vexabase-VERSION-symbols.zip  the debug symbols that belong to it, for the same folder
  *.deb                         the Debian packages
  SHA256SUMS                    over all of these
"""

import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import zipfile

import bill_of_materials

FIRST_ZIP_TIME = 315532800  # 1980-01-01: ZIP knows nothing earlier
PACKAGES = ("*.zip", "*.deb")


def release_time():
    """What SOURCE_DATE_EPOCH says, else a fixed time."""
    return max(FIRST_ZIP_TIME, int(os.environ.get("SOURCE_DATE_EPOCH", FIRST_ZIP_TIME)))


def version_of(build):
    cache = (build / "CMakeCache.txt").read_text()
    return re.search(r"^CMAKE_PROJECT_VERSION:STATIC=(.*)$", cache, re.M).group(1)


def install(build, folder, *component):
    subprocess.run(["cmake", "--install", str(build), "--prefix", str(folder), *component],
                   check=True, stdout=subprocess.DEVNULL)


def write_zip(folder, path):
    """Every file in the order of its name, with one time and one mode."""
    when = time.gmtime(release_time())[:6]
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for file in sorted(folder.rglob("*")):
            if file.is_file():
                entry = zipfile.ZipInfo(str(file.relative_to(folder.parent)), when)
                entry.compress_type = zipfile.ZIP_DEFLATED
                entry.create_system = 3
                mode = 0o755 if file.suffix in (".sh", ".exe") else 0o644
                entry.external_attr = (0o100000 | mode) << 16
                archive.writestr(entry, file.read_bytes())


def write_checksums(dist):
    packages = sorted(path for pattern in PACKAGES for path in dist.glob(pattern))
    lines = [f"{hashlib.sha256(path.read_bytes()).hexdigest()}  {path.name}\n" for path in packages]
    (dist / "SHA256SUMS").write_text("".join(lines))


def make_zips(build, dist):
    """The package and its symbols."""
    version = version_of(build)
    dist.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name) / "package" / f"vexabase-{version}"
        install(build, folder)
        bill_of_materials.write(folder, version, release_time())
        packages = [dist / f"{folder.name}.zip", dist / f"{folder.name}-symbols.zip"]
        write_zip(folder, packages[0])
        symbols = pathlib.Path(name) / "symbols" / folder.name
        install(build, symbols, "--component", "symbols")
        write_zip(symbols, packages[1])
    return packages


def make_debian_packages(build, dist):
    """Their files. CPack gives folders the mode that the umask of whoever runs it leaves."""
    dist.mkdir(parents=True, exist_ok=True)
    environment = dict(os.environ, SOURCE_DATE_EPOCH=str(release_time()))
    with tempfile.TemporaryDirectory() as name:
        subprocess.run(["cpack", "--config", str(build / "CPackConfig.cmake"), "-B", name],
                       check=True, env=environment, umask=0o022, stdout=subprocess.DEVNULL)
        for package in pathlib.Path(name).glob("*.deb"):
            shutil.copyfile(package, dist / package.name)
    return sorted(dist.glob("*.deb"))


def main(windows, release, dist):
    shutil.rmtree(dist, ignore_errors=True)
    make_zips(windows, dist)
    make_debian_packages(release, dist)
    write_checksums(dist)


if __name__ == "__main__":
    main(*(pathlib.Path(argument).resolve() for argument in sys.argv[1:4]))
