#!/usr/bin/env python3
"""What vexahost does with a console of Windows, as Wine makes one of a terminal.

check_console.py [--report FILE] -- WINE HOST

WINE runs Windows programs, HOST among them. Exit status 0: every check passed. FILE receives the
counts.
"""

import os
import pathlib
import pty
import re
import select
import subprocess
import tempfile
import tty

from check_host import Host
from counts import COMMAND, run_checks
from pki import openssl

SECONDS = 60
PASSWORD = "pä€😀w"
NAME = "Jürgen Größe €"


class Terminal:
    """A Windows program on a terminal."""

    def __init__(self, folder, *command):
        self._end, other = pty.openpty()
        tty.setraw(other)  # as Wine itself would, a moment after the first output
        self._process = subprocess.Popen(command, cwd=folder, stdin=other, stdout=other,
                                         stderr=other, env=os.environ | {"LC_ALL": "C.UTF-8"})
        os.close(other)
        self._shown = b""

    def wait_for(self, words):
        """What is shown, when the words are, or nothing more is."""
        while words not in self.shown():
            if not select.select([self._end], [], [], SECONDS)[0]:
                break
            try:
                self._shown += os.read(self._end, 4096)
            except OSError:  # the program has ended
                break
        return self.shown()

    def shown(self):
        """Without what moves and hides the cursor."""
        text = self._shown.replace(b"\x1b[K\x1b[1C", b" ").decode(errors="replace")
        return re.sub(r"\r+\n", "\n", re.sub(r"\x1b\[\??[0-9;]*[a-zA-Z]", "", text))

    def type(self, text):
        os.write(self._end, text.encode() + b"\r")

    def end(self):
        """The exit status, and what was shown."""
        shown = self.wait_for("\0")
        status = self._process.wait(SECONDS)
        os.close(self._end)
        return status, shown


def check_texts(checks, command, folder):
    openssl(folder, "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "key", "-out",
            "own.pem", "-utf8", "-subj", f"/CN={NAME}")
    (folder / "pw").write_text(PASSWORD + "\n")
    host = Host(command, folder)
    host.run("p12", "create", "--key", "key", "--cert", "own.pem", "--out", "own.p12",
             "--password-file", "pw")
    terminal = Terminal(folder, *command, "p12", "open", "own.p12")
    terminal.wait_for("Password of the file: ")
    terminal.type(PASSWORD)
    status, shown = terminal.end()
    checks.expect("a typed password with characters of no code page opens a file", status == 0,
                  (status, shown))
    checks.expect("... and is not shown", "w\n" not in shown, shown)
    checks.expect("a name is shown as it is", f"certificate  CN={NAME}\n" in shown, shown)
    status, shown = Terminal(folder, *command, "certs", "größe €.pem").end()
    checks.expect("... and so is one in a complaint", status == 3 and
                  "vexahost: größe €.pem: cannot be read" in shown, (status, shown))


def check_code_page(checks, command, folder):
    wine, host = command
    (folder / "pages.bat").write_text("\r\n".join([
        "@echo off", "chcp 850", f'"Z:{host}" time 1'.replace("/", "\\"),
        f'"Z:{host}" time x'.replace("/", "\\"), "chcp.com", ""]))
    _, shown = Terminal(folder, wine, "cmd", "/c", "pages.bat").end()
    checks.expect("the console's code page is afterwards what it was before", re.fullmatch(
        r"\D*850\n\d+\nvexahost: [^\n]*\n\D*850\n\s*", shown), shown)


def check(checks, options):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        check_texts(checks, options.command, folder)
        check_code_page(checks, options.command, folder)


if __name__ == "__main__":
    run_checks(__doc__, check, COMMAND)
