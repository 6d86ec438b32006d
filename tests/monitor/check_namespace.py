#!/usr/bin/env python3
"""Real network changes in a network namespace of the test's own, seen by `vexahost monitor`.

check_namespace.py [--report FILE] -- COMMAND...

COMMAND starts the host. Where no namespace can be made the check is skipped, and says so. FILE
receives the counts.
"""

import os
import queue
import signal
import subprocess
import threading
import time

from counts import COMMAND, run_checks

NAMESPACE = f"vexa-{os.getpid()}"
PATIENCE = 15  # seconds for one change to be told; the interval is one
QUIET = 4  # seconds in which nothing must be told


def ip(*arguments):
    return subprocess.run(["ip", *arguments], capture_output=True, check=False).returncode == 0


def inside(*arguments):
    return ip("-n", NAMESPACE, *arguments)


class Monitor:
    """The running host and the changes that it tells."""

    def __init__(self, command):
        self.process = subprocess.Popen(
            ["ip", "netns", "exec", NAMESPACE, *command, "monitor", "--interval", "1"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.lines = queue.SimpleQueue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line.decode(errors="replace").strip())

    def wait_for(self, start, seconds):
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            try:
                line = self.lines.get(timeout=max(0.01, deadline - time.monotonic()))
            except queue.Empty:
                return False
            if line.startswith(start):
                return True
        return False

    def tells_change(self):
        started = time.monotonic()
        told = self.wait_for("change", PATIENCE)
        print(f"        after {time.monotonic() - started:.1f} s" if told else "        nothing")
        # One step may be several changes to the machine; what follows is not about this one.
        while self.wait_for("change", 2.5):
            pass
        return told


CHANGES = [
    ("an interface is added", ("link", "add", "vexa0", "type", "veth", "peer", "name", "vexa1")),
    ("an interface is renamed", ("link", "set", "vexa0", "name", "vexa2")),
    ("both ends are set up", ("link", "set", "vexa1", "up")),
    ("an address is changed", ("addr", "del", "192.0.2.1/24", "dev", "vexa1")),
    ("an interface is set down", ("link", "set", "vexa1", "down")),
    ("an interface is removed", ("link", "del", "vexa2")),
]


def check_changes(checks, command):
    monitor = Monitor(command)
    checks.expect("the monitor starts", monitor.wait_for("watching", 120))
    time.sleep(1.5)
    for what, step in CHANGES:
        if what.startswith("both ends"):
            inside("link", "set", "vexa2", "up")  # without its peer it does not come up yet
        if what.startswith("an address"):
            # A list that is merely longer is no change; what is changed is the first address. (Wine
            # loses sight of the addresses of the interface that was renamed.)
            for address in ("192.0.2.1/24", "198.51.100.7/24"):
                inside("addr", "add", address, "dev", "vexa1")
                checks.expect("not told: an address is appended",
                              not monitor.wait_for("change", QUIET))
        if not inside(*step):
            checks.expect(f"{what}: the step itself", False)
            continue
        checks.expect(f"told: {what}", monitor.tells_change())
    monitor.process.send_signal(signal.SIGINT)
    try:
        checks.expect("Ctrl-C ends it", monitor.process.wait(20) == 0)
    except subprocess.TimeoutExpired:
        monitor.process.kill()
        checks.expect("Ctrl-C ends it", False)


def check(checks, options):
    if not (ip("netns", "add", NAMESPACE) and inside("link", "set", "lo", "up")):
        checks.skip("no network namespace can be made here")
        return
    # IPv6 addresses come and go by themselves, and stand behind those that are appended.
    subprocess.run(["ip", "netns", "exec", NAMESPACE, "sh", "-c",
                    "for f in all default; do echo 1 >/proc/sys/net/ipv6/conf/$f/disable_ipv6;"
                    " done"], capture_output=True, check=False)
    try:
        check_changes(checks, options.command)
    finally:
        ip("netns", "del", NAMESPACE)


if __name__ == "__main__":
    run_checks(__doc__, check, COMMAND)
