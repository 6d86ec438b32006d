"""The Debian packages as one who got them uses them. The functions tell `checks` what they found."""

import gzip
import os
import re
import subprocess
import tarfile

from packages import (check_debug_link, check_folders_in_symbols, check_links,  # finds the next
                      check_no_folder_of_ours, make)
from installed_sdk import InstalledSdk

NAMES = ("vexabase-dev", "vexahost", "vexahost-dbgsym")
LIBRARY_FOLDER = "usr/lib/x86_64-linux-gnu"
PROGRAMS = ("libvexabase.so", "velmora.so", "vexahost")
FILES = (
    "usr/bin/vexahost", "usr/include/vexabase.h", "usr/include/vexa/host.h",
    f"{LIBRARY_FOLDER}/cmake/vexabase/vexabaseConfig.cmake", f"{LIBRARY_FOLDER}/pkgconfig/vexabase.pc",
    "usr/share/bash-completion/completions/vexahost", "usr/share/doc/vexabase/LICENSE",
    "usr/share/doc/vexabase/README.md", "usr/share/doc/vexabase/licenses/LGPL-2.1.txt",
    "usr/share/man/man1/vexahost.1.gz", "usr/share/vexabase/python/vexabase.py",
    *(f"usr/share/doc/{name}/{text}" for name in NAMES for text in ("copyright", "changelog.gz")))


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, check=False, **options)
    return done.returncode, (done.stdout + done.stderr).decode(errors="replace")


def field(package, name):
    return run("dpkg-deb", "-f", str(package), name)[1].strip()


def check_control(checks, packages, version):
    checks.expect("there are the three packages", tuple(packages) == NAMES, packages)
    for name, package in packages.items():
        checks.expect(f"{name}: its version", field(package, "Version") == version)
    needed = re.findall(r"[\w.+-]+(?= \()", field(packages["vexahost"], "Depends"))
    checks.expect("vexahost depends on the libraries that it loads, and on no others",
                  sorted(needed) == ["libc6", "libgcc-s1", "libgcrypt20", "libstdc++6"], needed)
    for name in ("vexabase-dev", "vexahost-dbgsym"):
        checks.expect(f"{name}: depends on this very host",
                      field(packages[name], "Depends") == f"vexahost (= {version})")


def expected_mode(entry):
    if entry.isdir() or entry.name.endswith("/vexahost") and "completions" not in entry.name:
        return 0o755
    return 0o644


def check_entries(checks, name, package):
    """Owners, modes and times, as they are unpacked everywhere."""
    with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", str(package)],
                          stdout=subprocess.PIPE) as unpacking:
        with tarfile.open(fileobj=unpacking.stdout, mode="r|") as content:
            entries = list(content)
    wrong = [(entry.name, oct(entry.mode)) for entry in entries
             if not entry.issym() and entry.mode != expected_mode(entry)]
    checks.expect(f"{name}: folders and programs 755, files 644", not wrong, wrong)
    wrong = [(entry.name, entry.uname, entry.mtime) for entry in entries
             if (entry.uid, entry.gid, entry.mtime) != (0, 0, make.release_time())]
    checks.expect(f"{name}: all is root's, from the time of the release", not wrong, wrong)


def check_lint(checks, packages, root):
    status, text = run("lintian", "--allow-root", "--fail-on", "error,warning",
                       *(str(package) for package in packages.values()))
    checks.expect("lintian has nothing to say", status == 0 and not re.search("^[EW]:", text, re.M),
                  text)
    page = root / "vexahost.1"
    page.write_bytes(gzip.decompress((root / "usr/share/man/man1/vexahost.1.gz").read_bytes()))
    status, text = run("mandoc", "-Tlint", "-Wwarning", str(page))
    checks.expect("nor has mandoc about the manual page", status == 0 and not text, text)
    page.unlink()


def check_host(checks, root, version):
    """Started by the name that stands on the search path, with nothing else in the environment."""
    environment = {"PATH": "/usr/bin:/bin", "LANG": "C.UTF-8"}
    host = str(root / "usr/bin/vexahost")
    status, text = run(host, "json", "-", input=b'{"port": 8443}', env=environment)
    checks.expect("the host runs from where it was unpacked", (status, text) ==
                  (0, '{\n"port" : 8443\n}\n'), text)
    status, text = run(host, "--version", env=environment)
    checks.expect("... tells its version", status == 0 and version in text, text)
    completion = root / "usr/share/bash-completion/completions/vexahost"
    status, text = run("bash", "-c", f'source "{completion}" && complete -p vexahost')
    checks.expect("... and bash completes it", status == 0 and "vexahost" in text, text)


def check_installing(checks, packages, folder):
    """Installed into a system of their own, upgraded over themselves, and removed again."""
    if os.geteuid() != 0:
        checks.skip("only root installs packages")
        return
    system = folder / "system"
    database = system / "var/lib/dpkg"
    for name in ("updates", "info", "triggers"):
        (database / name).mkdir(parents=True)
    for name in ("status", "available"):
        (database / name).touch()

    def dpkg(*arguments):
        # What they depend on is installed outside.
        return run("dpkg", f"--root={system}", "--force-depends", "--force-not-root",
                   "--log=/dev/null", *arguments)

    files = [str(package) for package in packages.values()]
    for what in ("are installed", "are upgraded"):
        status, text = dpkg("--install", *files)
        checks.expect(f"the packages {what}", status == 0, text)
        checks.expect("... with every file as it was packed", dpkg("--verify") == (0, ""))
    status, text = dpkg("--purge", *packages)
    left = [str(path) for path in system.rglob("*")
            if database not in [path, *path.parents] and path not in database.parents]
    checks.expect("... and are removed without a trace", status == 0 and not left, (text, left))


def check(checks, files, version, folder):
    """All three packages, unpacked into an empty folder below `folder`."""
    root = folder / "unpacked"
    packages = dict(sorted((field(file, "Package"), file) for file in files))
    check_control(checks, packages, version)
    for name, package in packages.items():
        check_entries(checks, name, package)
        subprocess.run(["dpkg-deb", "-x", str(package), str(root)], check=True)
    missing = [name for name in FILES if not (root / name).is_file()]
    checks.expect("the packages have what they must have", not missing, missing)
    check_installing(checks, packages, folder)
    check_lint(checks, packages, root)
    check_links(checks, root / "usr/share/doc/vexabase")
    check_no_folder_of_ours(checks, root)
    for program in PROGRAMS:
        symbols = root / "usr/lib/debug" / LIBRARY_FOLDER / "vexabase" / f"{program}.debug"
        check_debug_link(checks, root / LIBRARY_FOLDER / "vexabase" / program, symbols)
        check_folders_in_symbols(checks, symbols)
    check_host(checks, root, version)
    scratch = folder / "hosts"
    scratch.mkdir()
    InstalledSdk(root / "usr", scratch, {}).check_all(checks)
