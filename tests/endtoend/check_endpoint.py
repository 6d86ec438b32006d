#!/usr/bin/env python3
"""Starts `vexahost serve`, sends it real requests, shows the answers and stops it again.

check_endpoint.py [--report FILE] -- COMMAND...

COMMAND starts the host; "serve --port N" is added to it. Exit status 0: every check passed, among
them that the host went down cleanly and had given back every block. FILE receives the counts.
"""

import argparse
import json
import pathlib
import queue
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

START_SECONDS = 90  # a fresh Wine prefix takes its time
STOP_SECONDS = 30
BODY_LIMIT = 1048576
HEADER_LIMIT = 1024


class Host:
    """The running host: its output is collected, and shown when something went wrong."""

    def __init__(self, command, port):
        self.port = port
        self.lines = []
        self._process = subprocess.Popen(
            [*command, "serve", "--port", str(port)],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self._process.stdout:
            self.lines.append(line.decode(errors="replace").rstrip())

    def wait_until_up(self):
        deadline = time.monotonic() + START_SECONDS
        while time.monotonic() < deadline and self._process.poll() is None:
            try:
                socket.create_connection(("127.0.0.1", self.port), 1).close()
                return True
            except OSError:
                time.sleep(0.1)
        return False

    def stop(self):
        """Ctrl-C. Returns the exit status, or None when the host had to be killed."""
        self._process.send_signal(signal.SIGINT)
        try:
            status = self._process.wait(STOP_SECONDS)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            status = None
        self._reader.join(5)
        return status


class Checks:
    def __init__(self):
        self.passed = 0
        self.failed = 0

    def expect(self, what, good, detail=""):
        if good:
            self.passed += 1
            print(f"ok      {what}")
        else:
            self.failed += 1
            print(f"FAILED  {what}" + (f": {detail}" if detail else ""))


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def curl(port, target, *options):
    """One request with curl: (status, body). Status 0: no answer."""
    with tempfile.NamedTemporaryFile() as body:
        result = subprocess.run(
            ["curl", "-sS", "--noproxy", "*", "--max-time", "20", "-o", body.name]
            + ["-w", "%{http_code}", *options, f"http://127.0.0.1:{port}{target}"],
            capture_output=True,
            text=True,
            check=False,
        )
        if result.returncode != 0:
            print(f"        curl: {result.stderr.strip()}")
        text = pathlib.Path(body.name).read_text(errors="replace")
    return int(result.stdout or 0), text


def raw(port, request):
    """Sends bytes as they are; the status of the answer, 0 without one."""
    answer = b""
    with socket.create_connection(("127.0.0.1", port), 20) as connection:
        connection.settimeout(20)
        try:
            connection.sendall(request)
            while b"\r\n" not in answer:
                piece = connection.recv(4096)
                if not piece:
                    break
                answer += piece
        except OSError:
            pass
    words = answer.split(b"\r\n")[0].split()
    return int(words[1]) if len(words) > 1 and words[1].isdigit() else 0


def as_json(text):
    try:
        return json.loads(text)
    except ValueError:
        return None


def show(request, status, body):
    print(f"\n{request}\n  -> {status} {body.strip()[:600]}")


def check_requests(checks, port):
    status, body = curl(port, "/v1/info")
    show("GET /v1/info", status, body)
    checks.expect("GET /v1/info answers 200", status == 200, status)
    checks.expect("... with a JSON object", isinstance(as_json(body), dict), body)

    status, body = curl(port, "/v1/echo?x=1&name=a%20b")
    show("GET /v1/echo?x=1&name=a%20b", status, body)
    checks.expect("GET /v1/echo answers 200", status == 200, status)
    checks.expect("... in JSON that names the parameters", as_json(body) and "a b" in body, body)

    content = {"text": "grüße", "list": [1, True, None], "deep": {"x": -7}}
    status, body = curl(port, "/v1/json", "--json", json.dumps(content, ensure_ascii=False))
    show("POST /v1/json", status, body)
    checks.expect("POST /v1/json answers 200", status == 200, status)
    checks.expect("... with the JSON that was sent", as_json(body) == content, body)

    status, body = curl(port, "/v1/echo", "--data-binary", "some text")
    show("POST /v1/echo", status, body)
    checks.expect("POST /v1/echo answers 200", status == 200, status)
    checks.expect("... with the body that was sent", (as_json(body) or {}).get("body") == "some text")

    status, body = curl(port, "/v1/json", "--json", '{"text": ')
    show("POST /v1/json with half a JSON text", status, body)
    checks.expect("a body that is not JSON answers 400", status == 400, status)

    status, body = curl(
        port, "/v1/url?u=https://a.example.com/x&pattern=https://*.example.com"
    )
    show("GET /v1/url", status, body)
    checks.expect("GET /v1/url says that the pattern covers the URL", '"match" : true' in body, body)

    status, body = curl(port, "/v1/status")
    show("GET /v1/status", status, body)
    checks.expect("GET /v1/status answers 200", status == 200, status)

    status, body = curl(port, "/v1/info", "-H", "Origin: https://evil.example")
    show("GET /v1/info from a foreign origin", status, body)
    checks.expect("a foreign origin is refused", status == 403, status)

    status, body = curl(port, "/no/such/path")
    show("GET /no/such/path", status, body)
    checks.expect("an unknown path answers 404", status == 404, status)

    check_refusals(checks, port)

    status, _ = curl(port, "/v1/info")
    checks.expect("after all that, GET /v1/info still answers 200", status == 200, status)


def check_refusals(checks, port):
    status = raw(port, b"NONSENSE\r\n\r\n")
    show("a request line of one word", status, "")
    checks.expect("a malformed request answers 400", status == 400, status)

    status = raw(port, b"GET / HTTP/1.1\r\nX-Long: " + b"a" * (4 * HEADER_LIMIT))
    show("an endless header line", status, "")
    checks.expect("a header line over the limit is refused", status in (400, 413, 431), status)

    with tempfile.NamedTemporaryFile() as big:
        big.write(b"x" * (BODY_LIMIT + 1))
        big.flush()
        status, body = curl(port, "/v1/echo", "--data-binary", f"@{big.name}")
    show("POST with a body one byte too long", status, body)
    checks.expect("a body over the limit answers 413", status == 413, status)

    with socket.create_connection(("127.0.0.1", port), 20) as connection:
        connection.sendall(b"GET /v1/info HT")  # and never the rest


def check_parallel(checks, port, clients=8, requests=5):
    """Several clients at once, each with its own text."""
    wrong = queue.SimpleQueue()

    def client(number):
        for turn in range(requests):
            text = f"client{number}turn{turn}"
            status, body = curl(port, f"/v1/echo?text={text}")
            if status != 200 or text not in body:
                wrong.put(f"{text}: {status} {body[:80]}")

    threads = [threading.Thread(target=client, args=(number,)) for number in range(clients)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    checks.expect(
        f"{clients} clients at once each get their own answers",
        wrong.empty(),
        "" if wrong.empty() else wrong.get(),
    )


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--report", type=pathlib.Path)
    parser.add_argument("command", nargs="+")
    arguments = parser.parse_args()

    checks = Checks()
    host = Host(arguments.command, free_port())
    up = host.wait_until_up()
    checks.expect(f"the host answers on 127.0.0.1:{host.port}", up)
    if up:
        check_requests(checks, host.port)
        check_parallel(checks, host.port)
    status = host.stop()
    checks.expect("Ctrl-C ends the host with status 0", status == 0, status)
    report = [line for line in host.lines if "blocks still allocated" in line]
    checks.expect(
        "the closing report says that no block is left",
        any("blocks still allocated: 0" in line for line in report),
        report or "no report",
    )
    print("\nwhat the host said:")
    for line in host.lines[-40 if checks.failed else -8 :]:
        print(f"  {line}")
    print(f"\n{checks.passed} passed, {checks.failed} failed")
    if arguments.report:
        arguments.report.write_text(json.dumps({"passed": checks.passed, "failed": checks.failed}))
    sys.exit(1 if checks.failed else 0)


if __name__ == "__main__":
    main()
