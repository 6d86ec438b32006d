#!/usr/bin/env python3
"""The endpoint under fire: many clients at once, honest, cut, oversized, slow and malicious.

soak.py [--seconds N] [--clients N] [--seed N] [--report FILE] -- COMMAND...

COMMAND starts the host. Reports requests by kind, wrong answers, and the host's memory after each
third. What each client does follows from the seed. Loopback only. Exit status 0: no wrong answer, no
crash, no block left, memory flat.
"""

import asyncio
import json
import pathlib
import random
import subprocess
import time

from endpoint import BODY_LIMIT, COMMAND, HEAD_LIMIT, Host, argument, run_checks

MEMORY_SLACK_KIB = 16 * 1024
PATIENCE = 40
CROWDED = (503,)  # an honest answer of an endpoint that is full


def memory_of(port):
    """Resident KiB of the process that listens on the port."""
    found = subprocess.run(["ss", "-ltnpH", f"sport = :{port}"], capture_output=True, text=True,
                           check=False).stdout
    if "pid=" not in found:
        return 0
    pid = found.split("pid=")[1].split(",")[0]
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("VmRSS"):
            return int(line.split()[1])
    return 0


class Client:
    """One client: its own random numbers, a connection that it keeps for its honest requests."""

    def __init__(self, host, seed):
        self.host = host
        self.rng = random.Random(seed)
        self.kept = None

    async def open(self):
        return await asyncio.open_connection("127.0.0.1", self.host.port)

    def pieces(self, request):
        cuts = sorted(self.rng.randrange(1, len(request)) for _ in range(self.rng.randrange(4)))
        return [request[a:b] for a, b in zip([0, *cuts], [*cuts, len(request)])]

    async def answer(self, reader):
        head = await reader.readuntil(b"\r\n\r\n")
        status = int(head.split(b" ", 2)[1])
        length = [int(line[16:]) for line in head.split(b"\r\n")
                  if line.lower().startswith(b"content-length: ")]
        return status, head, await reader.readexactly(length[0] if length else 0)

    async def once(self, pieces, pause=0.0):
        """The status of one request on a connection of its own; 0 without an answer."""
        writer = None
        try:
            reader, writer = await self.open()
            for piece in pieces:
                writer.write(piece)
                await writer.drain()
                await asyncio.sleep(pause)
            return (await self.answer(reader))[0]
        except (OSError, asyncio.IncompleteReadError, asyncio.LimitOverrunError):
            return 0
        finally:
            if writer:
                writer.close()

    # Each kind tells whether the answer was right.

    async def honest(self, requests):
        """Requests with the text that their answers must hold, pipelined, on the kept connection."""
        for fresh in (False, True):
            try:
                if fresh or self.kept is None:
                    self.kept = await self.open()
                reader, writer = self.kept
                for piece in self.pieces(b"".join(request for request, _ in requests)):
                    writer.write(piece)
                    await writer.drain()
                for _, expected in requests:
                    status, head, body = await self.answer(reader)
                    if b"Connection: close" in head:
                        writer.close()
                        self.kept = None
                    if status != 200 or expected not in body:
                        return status in CROWDED
                    if self.kept is None:
                        return True
                return True
            except (OSError, asyncio.IncompleteReadError):
                self.kept = None  # closed while it was idle: once more on a new one
        return True  # no room for a connection at all

    async def get(self):
        texts = [f"t{self.rng.randrange(1 << 40)}" for _ in range(self.rng.randrange(1, 5))]
        return await self.honest([(self.host.head(f"GET /v1/echo?token={text} HTTP/1.1"),
                                   text.encode()) for text in texts])

    async def post(self):
        number = self.rng.randrange(1 << 30)
        body = json.dumps({"number": number, "pad": "x" * self.rng.randrange(3000)}).encode()
        request = self.host.head("POST /v1/json HTTP/1.1", f"Content-Length: {len(body)}") + body
        return await self.honest([(request, b'"number" : %d' % number)])

    async def poll(self):
        return await self.honest([(self.host.head("GET /v1/status?wait=1 HTTP/1.1"),
                                   b'"changes"')])

    async def abandoned(self):
        _, writer = await self.open()
        path = self.rng.choice(["/v1/status?wait=60", "/v1/events"])
        writer.write(self.host.head(f"GET {path} HTTP/1.1"))
        await writer.drain()
        await asyncio.sleep(self.rng.random())
        writer.close()
        return True

    async def cut(self):
        request = self.host.head("POST /v1/json HTTP/1.1", "Content-Length: 100") + b"{"
        _, writer = await self.open()
        writer.write(request[: self.rng.randrange(1, len(request))])
        await writer.drain()
        writer.close()
        return True

    async def large(self):
        head = self.host.head("POST /v1/json HTTP/1.1", f"Content-Length: {BODY_LIMIT + 1}")
        return await self.once([head]) in (413, 0)

    async def endless(self):
        head = self.host.head("GET / HTTP/1.1")[:-2] + b"X: " + b"a" * HEAD_LIMIT
        return await self.once([head]) in (431, 0)

    async def nonsense(self):
        return await self.once([self.rng.randbytes(self.rng.randrange(1, 400)) + b"\r\n\r\n"]) in (
            0, 400, 505)

    async def malicious(self):
        head = self.host.head
        request, right = self.rng.choice([
            (head("GET /v1/info HTTP/1.1", host="evil.example"), 421),
            (head("GET /v1/info HTTP/1.1", host=""), 400),
            (head("GET /v1/info HTTP/1.1", "Sec-Fetch-Site: cross-site"), 403),
            (head("GET /v1/info HTTP/1.1", "Origin: null"), 403),
            (head("GET /v1/certificates HTTP/1.1", "Authorization: Bearer x"), 401),
            (head("POST / HTTP/1.1", "Transfer-Encoding: chunked", "Content-Length: 3"), 400),
            (head("POST / HTTP/1.1", "Content-Length: 3", "Content-Length: 4"), 400),
            (head("GET /v1/echo?%00=%00&a=%&=&&==&%41 HTTP/1.1"), 200),
            (head("GET /v1/url?u=https://a" + "/" * 600 + "&pattern=https://*.* HTTP/1.1"), 200),
            (head("POST /v1/json HTTP/1.1", "Content-Length: 6000") + b'{"a":' + b"[" * 5995, 400),
            (head("POST /v1/certificates/inspect HTTP/1.1", "Content-Length: 64") +
             self.rng.randbytes(64), 400),
        ])
        return await self.once(self.pieces(request)) in (right, 0, *CROWDED)

    async def slow(self):
        request = self.host.head("GET /v1/info HTTP/1.1")
        pieces = [request[:10], request[10:30], request[30:]]
        return await self.once(pieces, 0.5) in (200, 0, *CROWDED)

    async def too_slow(self):
        return await self.once([b"GET /v1/info HT"]) in (408, 0)


KINDS = [(Client.get, 40), (Client.post, 25), (Client.poll, 2), (Client.abandoned, 5),
         (Client.cut, 8), (Client.large, 2), (Client.endless, 3), (Client.nonsense, 8),
         (Client.malicious, 14), (Client.slow, 2), (Client.too_slow, 1)]


async def fire(host, seconds, clients, counts, wrong):
    deadline = time.monotonic() + seconds
    kinds, weights = zip(*KINDS)

    async def run(client):
        while time.monotonic() < deadline:
            kind = client.rng.choices(kinds, weights)[0]
            try:
                good = await asyncio.wait_for(kind(client), PATIENCE)
            except OSError:
                good = True  # no room for a connection
            except asyncio.TimeoutError:
                good = False
            counts[kind.__name__] = counts.get(kind.__name__, 0) + 1
            if not good:
                wrong[kind.__name__] = wrong.get(kind.__name__, 0) + 1
        client.kept = None

    await asyncio.gather(*(run(client) for client in clients))


def check(checks, options):
    host = Host(options.command)
    host.wait_until_up()
    clients = [Client(host, f"{options.seed} {number}") for number in range(options.clients)]
    counts, wrong, memory = {}, {}, []
    for _ in range(3):
        asyncio.run(fire(host, max(1, options.seconds // 3), clients, counts, wrong))
        memory.append(memory_of(host.port))
    status = host.stop()
    print("requests:", sum(counts.values()), counts)
    print("wrong answers:", wrong or "none")
    print("memory after each third (KiB):", memory)
    print("the host said:", host.lines[-3:])
    checks.expect("no wrong answer", not wrong)
    checks.expect("no block left", host.left_no_block())
    checks.expect("ended with status 0", status == 0)
    checks.expect("memory flat", memory[2] <= memory[0] + MEMORY_SLACK_KIB)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("--seconds", type=int, default=300),
               argument("--clients", type=int, default=100),
               argument("--seed", type=int, default=1), COMMAND)
