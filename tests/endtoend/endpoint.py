"""What the end-to-end checks of the endpoint share: the running host, and raw talk with it."""

import collections
import json
import pathlib
import queue
import re
import select
import signal
import socket
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "tools"))
from counts import COMMAND, argument, run_checks  # noqa: E402, F401

START_SECONDS = 120  # a fresh Wine prefix takes its time
STOP_SECONDS = 30
TALK_SECONDS = 30
BODY_LIMIT = 1048576
HEAD_LIMIT = 32 * 1024
ALLOWED = "https://app.client.example"  # an origin that the checks allow
QUIET_SECONDS = 0.5

Answer = collections.namedtuple("Answer", "status headers body")
NO_ANSWER = Answer(0, {}, b"")


class Host:
    """`COMMAND serve --port PORT OPTIONS...`. Its output is collected."""

    def __init__(self, command, *options, port=0):
        self.lines = []
        self.port = 0
        self.token = ""
        self._told = queue.SimpleQueue()
        self.process = subprocess.Popen(
            [*command, "serve", "--port", str(port), *options],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self.process.stdout:
            line = line.decode(errors="replace").rstrip()
            self.lines.append(line)
            served = re.fullmatch(r"vexahost: serving on http://127\.0\.0\.1:(\d+) .*", line)
            console = re.fullmatch(r"vexahost: console http://127\.0\.0\.1:\d+/#token=(\S+)", line)
            if served:
                self.port = int(served.group(1))
            if console:
                self.token = console.group(1)
                self._told.put(True)
        self._told.put(False)

    def wait_until_up(self):
        try:
            return self._told.get(timeout=START_SECONDS)
        except queue.Empty:
            return False

    def stop(self):
        """Ctrl-C. The exit status, or None when the host had to be killed."""
        self.process.send_signal(signal.SIGINT)
        return self.wait()

    def wait(self):
        try:
            status = self.process.wait(STOP_SECONDS)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            status = None
        self._reader.join(5)
        return status

    def until(self, words):
        """Whether the host says this, in the time that a stop may take."""
        for _ in range(STOP_SECONDS * 10):
            if any(words in line for line in self.lines):
                return True
            time.sleep(0.1)
        return False

    def left_no_block(self):
        return any("blocks still allocated: 0" in line for line in self.lines)

    # Talk.

    def name(self):
        return f"127.0.0.1:{self.port}"

    def connect(self, address="127.0.0.1"):
        connection = socket.create_connection((address, self.port), TALK_SECONDS)
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        return connection

    def head(self, line, *headers, host=None):
        """A header block with the right Host (or another, or none when it is "")."""
        name = self.name() if host is None else host
        lines = [line, *([f"Host: {name}"] if name else []), *headers]
        return "\r\n".join(lines).encode() + b"\r\n\r\n"

    def send(self, request, address="127.0.0.1"):
        """The answer to bytes on a connection of their own."""
        try:
            with self.connect(address) as connection:
                connection.sendall(request)
                return Reader(connection).answer()
        except OSError:
            return NO_ANSWER

    def ask(self, line, *headers, body=None, host=None, address="127.0.0.1"):
        if " " not in line:
            line = "GET " + line
        if body is not None:
            headers = (*headers, f"Content-Length: {len(body)}")
        request = self.head(line + " HTTP/1.1", *headers, host=host) + (body or b"")
        return self.send(request, address)

    def bearer(self):
        return f"Authorization: Bearer {self.token}"


class Reader:
    """Answers from a connection, one after the other."""

    def __init__(self, connection):
        self.connection = connection
        self.bytes = b""

    def _more(self):
        piece = self.connection.recv(65536)
        self.bytes += piece
        return bool(piece)

    def until(self, mark):
        """What comes up to the mark, or all there is when it does not come."""
        while mark not in self.bytes:
            if not self._more():
                found, self.bytes = self.bytes, b""
                return found
        found, self.bytes = self.bytes.split(mark, 1)
        return found

    def head(self):
        lines = self.until(b"\r\n\r\n").decode(errors="replace").split("\r\n")
        words = lines[0].split()
        status = int(words[1]) if len(words) > 1 and words[1].isdigit() else 0
        pairs = (line.split(": ", 1) for line in lines[1:] if ": " in line)
        return status, {name.lower(): value for name, value in pairs}

    def event(self):
        """The next of a stream of events, whose data are JSON; None at its end."""
        while block := self.until(b"\n\n"):
            lines = block.decode().splitlines()
            if not lines[0].startswith(":"):  # a comment that keeps the way open
                return as_json("".join(line[6:] for line in lines if line.startswith("data: ")))
        return None

    def answer(self, to_head=False):
        try:
            status, headers = self.head()
            length = 0 if to_head else int(headers.get("content-length", 0))
            while len(self.bytes) < length:
                if not self._more():
                    return NO_ANSWER
            body, self.bytes = self.bytes[:length], self.bytes[length:]
            return Answer(status, headers, body)
        except OSError:
            return NO_ANSWER

    def is_at_end(self):
        """Whether the other side closes without another byte."""
        try:
            return not self.bytes and not self._more()
        except TimeoutError:
            return False
        except OSError:
            return True


def answers_already(connections):
    """The statuses of those that are answered; the others say nothing for a moment."""
    statuses, waiting = [], list(connections)
    while told := select.select(waiting, [], [], QUIET_SECONDS if statuses else TALK_SECONDS)[0]:
        waiting = [connection for connection in waiting if connection not in told]
        statuses += map(status_of, told)
    return statuses


def status_of(connection):
    """0 when the other side broke off."""
    try:
        return Reader(connection).head()[0]
    except OSError:
        return 0


def as_json(body):
    try:
        return json.loads(body)
    except ValueError:
        return None
