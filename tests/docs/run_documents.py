#!/usr/bin/env python3
"""Runs the console sessions of the documents and compares what they show with the standard output.

run_documents.py [--report FILE] BIN DOCUMENT...

BIN holds the host, the module and the runtime. The commands of a document run in the order in which
they stand, in one empty folder, with nothing in the environment but where programs are; root does it
twice, as itself and as an account without rights. FILE receives the counts.
"""

import os
import pathlib
import re
import shutil
import socket
import subprocess
import tempfile

from counts import argument, run_checks

PROGRAMS = ("vexahost", "libvexabase.so", "velmora.so")
NOBODY = 65534
PORT = "8420"  # of the endpoint, in the documents
DATE = re.compile(r"\w{3}, \d\d \w{3} \d{4} \d\d:\d\d:\d\d GMT")


def sessions(document):
    """(command, expected output) of each "$ " line in the console blocks."""
    for block in re.findall(r"^```console\n(.*?)^```", document.read_text(), re.M | re.S):
        for step in re.split(r"^\$ ", block, flags=re.M)[1:]:
            command, _, expected = step.partition("\n")
            while command.endswith("\\"):
                line, _, expected = expected.partition("\n")
                command = f"{command}\n{line}"
            yield command, expected


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


def plain(text):
    return DATE.sub("DATE", text.replace("\r\n", "\n")).rstrip("\n")


class Folder:
    """An empty folder and an account's environment."""

    def __init__(self, root, programs, account):
        self.path = pathlib.Path(root)
        bin_folder = self.path / "bin"
        bin_folder.mkdir()
        for name in PROGRAMS:
            shutil.copy2(programs / name, bin_folder)
        self.work = self.path / "work"
        self.work.mkdir()
        self.account = {} if account is None else {
            "user": account, "group": account, "extra_groups": []}
        if account is not None:
            self.path.chmod(0o755)
            os.chown(self.work, account, account)
        self.environment = {"PATH": f"{bin_folder}:/usr/bin:/bin", "HOME": str(self.work),
                            "LANG": "C.UTF-8"}

    def run(self, command):
        done = subprocess.run(["bash", "-c", command], cwd=self.work, env=self.environment,
                              stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=120, check=False, **self.account)
        return done.returncode, *(text.decode(errors="replace")
                                  for text in (done.stdout, done.stderr))

    def serve(self, port):
        server = subprocess.Popen(
            ["vexahost", "serve", "--port", port, "--allow-origin", "https://*.example.com"],
            cwd=self.work, env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            executable=str(self.path / "bin/vexahost"), **self.account)
        server.stdout.readline()  # it serves when it has said so
        return server


def run_document(checks, document, programs, account):
    steps = list(sessions(document))
    with tempfile.TemporaryDirectory() as root:
        folder, port = Folder(root, programs, account), free_port()
        server = folder.serve(port) if any(f":{PORT}/" in command for command, _ in steps) else None
        for command, expected in steps:
            status, said, complained = folder.run(command.replace(f":{PORT}/", f":{port}/"))
            checks.expect(f"{document.name}, as {account or 'oneself'}: $ {command}",
                          status == 0 and plain(said) == plain(expected),
                          f"status {status}, and it says\n{said}{complained}")
        if server is not None:
            server.terminate()
            server.communicate(timeout=60)


def check(checks, options):
    for account in (None, NOBODY) if os.geteuid() == 0 else (None,):
        for document in options.documents:
            run_document(checks, document, options.programs, account)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("programs", type=pathlib.Path),
               argument("documents", type=pathlib.Path, nargs="+"))
