#!/usr/bin/env python3
"""Runs the lines that the documents tell a developer to type, in the order in which they stand.

run_lines.py [--report FILE] [--clone] ROOT

Without --clone: in ROOT, with the build folders that are there, those lines that build and measure
nothing new (NOT_EVERY_TIME names the others).
--clone: all of them, in a clone of what ROOT has committed, with nothing in the environment but where
programs are; root does it twice, as itself and as an account without rights. Both share a ccache of
their own, or that of CCACHE_DIR. FILE receives the counts.
"""

import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tools"))
from counts import argument, run_checks  # noqa: E402  (found through the line above)

DOCUMENTS = ("README.md", "CONTRIBUTING.md", "docs/host-guide.md")
NOBODY = 65534
LONGEST = 3600  # seconds a line may take

# The same commands with less to do, and for those whose answer may be no, that it is an answer.
SHORTER = {
    "./dev test": ("./dev test --quick", (0,)),
    "./dev valgrind": ("./dev valgrind json_internal_test", (0,)),
    "./dev bench": ("./dev bench --benchmark_min_time=0.001", (0, 1)),
    "./dev fuzz 60": ("./dev fuzz 1 url", (0,)),
    "./dev mutate json 20": ("./dev mutate json 1", (0, 1)),
}
# What takes minutes, or what a full run has done already.
NOT_EVERY_TIME = {"./dev test", "./dev test --quick", "./dev coverage json/", "./dev valgrind",
                  "./dev bench", "./dev fuzz 60", "./dev mutate json 20", "./dev package"}


def lines_of(document):
    for block in re.findall(r"^```sh\n(.*?)^```", document.read_text(), re.M | re.S):
        for line in block.replace("\\\n", " ").splitlines():
            command = re.sub(r"\s+# .*", "", line).strip()
            if command:
                yield command


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


class Place:
    """A tree, and the account that works in it."""

    def __init__(self, tree, environment=None, account=None):
        self.tree = tree
        self.options = {"cwd": tree, "env": environment, "start_new_session": True,
                        "stdin": subprocess.DEVNULL}
        if account is not None:
            self.options.update(user=account, group=account, extra_groups=[])

    def run(self, command):
        """(status, output); nothing that it started stays but Wine's server."""
        with subprocess.Popen(["bash", "-c", command], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace",
                              **self.options) as process:
            try:
                output, _ = process.communicate(timeout=LONGEST)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                return None, process.communicate()[0]
        return process.returncode, output

    def serve(self, command):
        """A line that serves until Ctrl-C, which it gets as soon as it has answered."""
        port = free_port()
        command = re.sub(r" --port \d+", "", command) + f" --port {port}"
        with subprocess.Popen(["bash", "-c", f"exec {command}"], stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, text=True, **self.options) as process:
            said = process.stdout.readline()
            try:
                with urllib.request.urlopen(f"http://127.0.0.1:{port}/v1/info", timeout=60) as page:
                    said += page.read().decode()
            except OSError as error:
                return None, f"{said}{error}"
            finally:
                process.send_signal(signal.SIGINT)
            said += process.communicate(timeout=60)[0]
        return process.returncode, said


def is_server(command):
    return command.startswith("./dev run") and "--check" not in command


def run_documents(checks, place, every_time):
    before = set(place.tree.iterdir())
    for document in DOCUMENTS:
        for line in lines_of(place.tree / document):
            if every_time and line in NOT_EVERY_TIME:
                continue
            command, statuses = SHORTER.get(line, (line, (0,)))
            status, output = (place.serve if is_server(line) else place.run)(command)
            checks.expect(f"{document}: {command}", status in statuses,
                          f"status {status}\n{output}")
    for path in set(place.tree.iterdir()) - before:  # the programs that the documents compile
        if path.suffix == ".exe":
            path.unlink()


def clone(root, account):
    """A clone of what is committed, in the folder of the one before: so both share a cache."""
    scratch = pathlib.Path(tempfile.gettempdir()) / f"vexabase-documents-{os.getpid()}"
    shutil.rmtree(scratch, ignore_errors=True)
    tree, home = scratch / "vexabase", scratch / "home"
    home.mkdir(parents=True)
    subprocess.run(["git", "clone", "-q", "--no-local", str(root), str(tree)], check=True)
    if account is not None:
        subprocess.run(["chown", "-R", f"{account}:{account}", str(scratch)], check=True)
    return tree, home


def run_in_clones(checks, root):
    with tempfile.TemporaryDirectory() as cache:
        os.chmod(cache, 0o777)
        for account in (None, NOBODY) if os.geteuid() == 0 else (None,):
            tree, home = clone(root, account)
            environment = {"PATH": "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin", "HOME": str(home),
                           "LANG": "C.UTF-8", "CCACHE_UMASK": "000",
                           "CCACHE_DIR": os.environ.get("CCACHE_DIR", cache)}
            if "VEXA_JOBS" in os.environ:
                environment["VEXA_JOBS"] = os.environ["VEXA_JOBS"]
            print(f"== as {account or 'oneself'}", flush=True)
            place = Place(tree, environment, account)
            run_documents(checks, place, every_time=False)
            place.run("tests/tools/wine.sh --stop")
            shutil.rmtree(tree.parent)


def check(checks, options):
    root = options.root.resolve()
    if options.clone:
        run_in_clones(checks, root)
    else:
        run_documents(checks, Place(root), every_time=True)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("--clone", action="store_true"),
               argument("root", type=pathlib.Path))
