#!/usr/bin/env python3
"""Whoever waits at the endpoint, or for `vexahost monitor`, learns of real network changes, made in a
namespace of the test's own.

check_events.py [--report FILE] -- COMMAND...

COMMAND starts the host. Where no namespace can be made the check is skipped, and says so. FILE
receives the counts.
"""

import os
import pathlib
import select
import signal
import socket
import subprocess
import sys

from endpoint import COMMAND, Host, Reader, argument, as_json, run_checks

TRIES = 20
PORTS = (40000, 40001)
STARTS = 8
NAMESPACE = f"vexa-events-{os.getpid()}"


def ip(*arguments):
    return subprocess.run(["ip", *arguments], capture_output=True, check=False).returncode == 0


def check_addresses(checks, command):
    """In the namespace, whose loopback loses its second address for a while."""
    setting = pathlib.Path("/proc/sys/net/ipv6/conf/lo/disable_ipv6")
    setting.write_text("1")
    host = Host(command)
    checks.expect("without IPv6 it serves all the same", host.wait_until_up() and
                  host.ask("/v1/info").status == 200, host.lines)
    checks.expect("... and ends well", host.stop() == 0, host.lines)
    setting.write_text("0")


def check_ports(checks, command):
    """In the namespace, where the system has two free ports to choose from."""
    setting = pathlib.Path("/proc/sys/net/ipv4/ip_local_port_range")
    before = setting.read_text()
    setting.write_text(f"{PORTS[0]} {PORTS[1]}")
    with socket.create_server(("::1", PORTS[0]), family=socket.AF_INET6):
        ports = []
        for _ in range(STARTS):  # the system begins with either of them
            host = Host(command)
            host.wait_until_up()
            ports.append(host.port)
            host.stop()
        checks.expect("a port that is free on one address alone is not taken",
                      ports == [PORTS[1]] * STARTS, ports)
        with socket.create_server(("::1", PORTS[1]), family=socket.AF_INET6):
            host = Host(command)
            checks.expect("... and when all are like that it gives up", host.wait() == 7 and
                          any("another program has it" in line for line in host.lines), host.lines)
    setting.write_text(before)


def check_inside(checks, command):
    """In the namespace. Whether a change wakes is told by an answer that comes before time is up."""
    host = Host(command, "--monitor-interval", "1")
    checks.expect("the host serves", host.wait_until_up(), host.lines)
    stream, poll = host.connect(), host.connect()
    stream.sendall(host.head("GET /v1/events HTTP/1.1"))
    events = Reader(stream)
    status, _ = events.head()
    first = events.event()
    checks.expect("the stream begins with the state", status == 200 and first and
                  first["cause"] == "start", first)
    poll.sendall(host.head(f"GET /v1/status?wait=60&since={first['changes']} HTTP/1.1"))
    checks.expect("the step itself", ip("link", "add", "vexa0", "type", "veth", "peer", "name",
                                        "vexa1"))
    event = events.event()
    checks.expect("the stream tells of an interface that was added",
                  event and event["changes"] > first["changes"] and event["cause"] == "network",
                  event)
    answer = Reader(poll).answer()
    checks.expect("a long poll ends with it",
                  (as_json(answer.body) or {}).get("changes", 0) > first["changes"], answer)
    poll = host.connect()
    poll.sendall(host.head("GET /v1/status?wait=60 HTTP/1.1") +
                 host.head("GET /v1/status?wait=60&since=0 HTTP/1.1"))
    ip("link", "del", "vexa0")
    event = events.event()
    checks.expect("... and of one that went away", event and event["cause"] == "network", event)
    reader = Reader(poll)
    later = [(as_json(reader.answer().body) or {}).get("changes", 0) for _ in range(2)]
    checks.expect("a long poll without a number waits for the next change", later[0] >
                  as_json(answer.body)["changes"] and later[1] >= later[0], (later, answer))
    checks.expect("Ctrl-C ends the host and its streams", host.stop() == 0 and
                  host.left_no_block(), host.lines[-3:])


def change_until_told(process):
    """Interfaces come and go until the process says something; what it says. A change at the very
    moment when it begins to watch may be the state that it begins with."""
    for _ in range(TRIES):
        if not ip("link", "add", "vexa0", "type", "veth", "peer", "name", "vexa1"):
            ip("link", "del", "vexa0")
        if select.select([process.stdout], [], [], 2.0)[0]:
            break
    return process.stdout.readline().decode().rstrip()


def check_monitor(checks, command):
    """`vexahost monitor`, in the namespace."""
    for options, first, change in [
        ([], "watching the network every 1 s (Ctrl-C ends)", "change {}"),
        (["--json"], '{"watchingEverySeconds":1}', '{{"change":{}}}'),
    ]:
        with subprocess.Popen([*command, *options, "monitor", "--interval", "1"], bufsize=0,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE) as process:
            said = [process.stdout.readline().decode().rstrip()]
            said += [change_until_told(process) for _ in range(2)]
            process.send_signal(signal.SIGINT)
            process.stdout.read()
        checks.expect(f"monitor {' '.join(options)} counts the changes", said ==
                      [first, change.format(1), change.format(2)], said)
        checks.expect("... and ends well with Ctrl-C", process.returncode == 0, process.returncode)
    ip("link", "del", "vexa0")


def check(checks, options):
    if options.inside:
        check_monitor(checks, options.command)
        check_addresses(checks, options.command)
        check_ports(checks, options.command)
        check_inside(checks, options.command)
    elif ip("netns", "add", NAMESPACE) and ip("-n", NAMESPACE, "link", "set", "lo", "up"):
        report = ["--report", str(options.report)] if options.report else []
        try:
            sys.exit(subprocess.run(
                ["ip", "netns", "exec", NAMESPACE, sys.executable, __file__, "--inside", *report,
                 "--", *options.command], check=False).returncode)
        finally:
            ip("netns", "del", NAMESPACE)
    else:
        checks.skip("no network namespace can be made here")


if __name__ == "__main__":
    run_checks(__doc__, check,
               argument("--inside", action="store_true", help="the namespace is made already"),
               COMMAND)
