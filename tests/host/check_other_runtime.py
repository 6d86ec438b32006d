#!/usr/bin/env python3
"""What vexahost says and does with a runtime that has nothing but what every runtime has.

check_other_runtime.py [--report FILE] --runtime LIBRARY -- COMMAND

COMMAND is the host, with the module and the reference runtime beside it; LIBRARY passes for another
runtime. Exit status 0: every check passed. FILE receives the counts.
"""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile

from check_host import Host
from counts import COMMAND, argument, run_checks
from pki import make_chain

MODULE = "libvexabase.so"


def check_commands(checks, host):
    create = ["--key", "jane.key", "--cert", "jane.pem", "--out", "x.p12", "--password-file", "pw"]
    issue = ["--subject", "CN=x", "--like", "jane.pem", "--out", "x.pem"]
    for arguments, expected, words in [
        (["ca", "issue", *issue, "--issuer", "ca.p12", "--issuer-password-file", "pw"], 6,
         "this runtime issues no certificates"),
        (["p12", "create", *create], 6, "this runtime reads no keys"),
        (["own", "--pse", "ca.p12", "--password-file", "pw"], 6,
         "this runtime has a PSE of its own"),
        (["serve", "--port", "0", "--pse", "ca.p12", "--password-file", "pw"], 6,
         "this runtime has a PSE of its own"),
        (["p12", "open", "jane.pem", "--password-file", "pw"], 4,
         "the password is wrong, or the file is damaged"),
    ]:
        status, text = host.run(*arguments)
        checks.expect(f"{' '.join(arguments[:2])} says what is missing", (status, text) ==
                      (expected, "") and words in host.error, (status, text, host.error))
    status, text = host.run("--version")
    checks.expect("--version does not know it", status == 0 and "runtime  unknown\n" in text, text)
    status, text = host.run("--trace", "5", "time", "1", "--from", "unix", "--to", "filetime")
    checks.expect("what needs nothing else works, without a trace",
                  (status, text, host.error) == (0, "116444736010000000\n", ""), host.error)
    status, text = host.run("--json", "proxy", "http://a.example/", "--why")
    checks.expect("nobody tells how a proxy was chosen", status == 0 and
                  json.loads(text)["why"] == [], text)
    status, text = host.run("p12", "open", "ca.p12", "--password-file", "pw")
    checks.expect("a file is opened all the same", status == 0 and "CN=Test Root" in text, text)


def check_end(checks, host):
    with subprocess.Popen([*host.command, "serve", "--port", "0"], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, text=True) as process:
        process.stdout.readline()
        process.stdout.readline()
        process.send_signal(signal.SIGINT)
        rest = process.stdout.read()
    checks.expect("the endpoint ends, and tells no number of blocks",
                  (process.returncode, rest) == (0, "vexahost: stopped\n"),
                  (process.returncode, rest))


def check(checks, options):
    [program] = options.command
    built = pathlib.Path(program).parent
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        make_chain(folder)
        Host([program], folder).run("p12", "create", "--key", "ca.key", "--cert", "ca.pem", "--out",
                                    "ca.p12", "--password-file", "pw")
        shutil.copy(built / MODULE, folder / MODULE)
        shutil.copy(options.runtime, folder / "velmora.so")
        os.environ["VEXA_REFERENCE"] = str(built / "velmora.so")
        host = Host([program, "--module", str(folder / MODULE)], folder)
        check_commands(checks, host)
        check_end(checks, host)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("--runtime", type=pathlib.Path, required=True), COMMAND)
