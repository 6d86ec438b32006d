#!/usr/bin/env python3
"""The endpoint under fire: many connections at once, good, cut, oversized, slow and malicious.

soak.py [--seconds N] [--connections N] [--report FILE] -- COMMAND...

COMMAND starts the host; "serve --port N" is added to it. Reports requests by kind, wrong answers,
and the host's memory at the start, in the middle and at the end. Bounded in count and time, on the
loopback interface only. Exit status 0: no wrong answer, no crash, no block left, memory flat.
"""

import argparse
import asyncio
import json
import pathlib
import random
import signal
import socket
import subprocess
import sys
import time

MOST_REQUESTS = 400_000
BODY_LIMIT = 1048576
MEMORY_SLACK_KIB = 16 * 1024


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


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


async def talk(port, pieces, pause=0.0, seconds=25):
    """Sends the pieces and returns the whole answer, cut off or not."""
    answer = b""
    try:
        reader, writer = await asyncio.wait_for(asyncio.open_connection("127.0.0.1", port), seconds)
    except (OSError, asyncio.TimeoutError):
        return b"no connection"
    try:
        for piece in pieces:
            writer.write(piece)
            await writer.drain()
            if pause:
                await asyncio.sleep(pause)
        answer = await asyncio.wait_for(reader.read(-1), seconds)
    except (OSError, asyncio.TimeoutError, asyncio.IncompleteReadError):
        pass
    finally:
        writer.close()
    return answer


def split(request, rng):
    cuts = sorted(rng.randrange(1, len(request)) for _ in range(rng.randrange(0, 4)))
    return [request[a:b] for a, b in zip([0, *cuts], [*cuts, len(request)])]


def status_of(answer):
    words = answer.split(b"\r\n")[0].split()
    return int(words[1]) if len(words) > 1 and words[1].isdigit() else 0


async def good_get(port, rng):
    token = f"t{rng.randrange(1 << 40)}"
    request = f"GET /v1/echo?token={token} HTTP/1.1\r\nHost: x\r\n\r\n".encode()
    answer = await talk(port, split(request, rng))
    return status_of(answer) == 200 and token.encode() in answer


async def good_post(port, rng):
    number = rng.randrange(1 << 30)
    body = json.dumps({"number": number, "pad": "x" * rng.randrange(3000)}).encode()
    request = b"POST /v1/json HTTP/1.1\r\nContent-Length: %d\r\n\r\n" % len(body) + body
    answer = await talk(port, split(request, rng))
    return status_of(answer) == 200 and f'"number" : {number}'.encode() in answer


async def cut(port, rng):
    request = b"POST /v1/json HTTP/1.1\r\nContent-Length: 100\r\n\r\n{"
    try:
        _, writer = await asyncio.open_connection("127.0.0.1", port)
        writer.write(request[: rng.randrange(1, len(request))])
        await writer.drain()
        writer.close()
    except OSError:
        pass
    return True


async def long_line(port, _):
    answer = await talk(port, [b"GET / HTTP/1.1\r\nX: " + b"a" * 5000])
    return status_of(answer) == 400


async def large_body(port, _):
    head = b"POST /v1/json HTTP/1.1\r\nContent-Length: %d\r\n\r\n" % (BODY_LIMIT + 1)
    answer = await talk(port, [head, b"x" * (BODY_LIMIT + 1)])
    return status_of(answer) == 413


async def nonsense(port, rng):
    answer = await talk(port, [rng.randbytes(rng.randrange(1, 400)) + b"\r\n\r\n"])
    return status_of(answer) in (0, 400, 404, 405, 413)  # 0: it ended the connection for us


async def malicious(port, rng):
    request = rng.choice([
        b"GET /v1/echo?%00=%00&a=%&=&&==&%41 HTTP/1.1\r\n\r\n",
        b"GET /v1/url?u=https://a" + b"/" * 600 + b"&pattern=https://*.* HTTP/1.1\r\n\r\n",
        b"GET /v1/echo HTTP/1.1\r\nOrigin: https://x\ny.example\r\n\r\n",
        b"POST /v1/json HTTP/1.1\r\nContent-Length: 6000\r\n\r\n" + b'{"a":' + b"[" * 5995,
        b"OPTIONS /v1/info HTTP/1.1\r\nOrigin: null\r\n\r\n",
        b" \r\n\t\r\n::::\r\nGET  /v1/info  HTTP/1.1\r\n\r\n",
    ])
    return status_of(await talk(port, split(request, rng))) in (200, 400, 403, 404, 405)


async def slow(port, _):
    answer = await talk(port, [b"GET /v1/in", b"fo HTTP/1.1\r\n", b"Host: x\r\n", b"\r\n"], 0.5)
    return status_of(answer) == 200


async def too_slow(port, _):
    answer = await talk(port, [b"GET /v1/info HT"])
    return status_of(answer) == 408


KINDS = [(good_get, 40), (good_post, 25), (cut, 10), (long_line, 5), (large_body, 1), (nonsense, 8),
         (malicious, 8), (slow, 2), (too_slow, 1)]


async def fire(port, seconds, connections, counts, wrong):
    deadline = time.monotonic() + seconds
    started = 0

    async def client(number):
        nonlocal started
        rng = random.Random(number)
        kinds, weights = zip(*KINDS)
        while time.monotonic() < deadline and started < MOST_REQUESTS:
            started += 1
            kind = rng.choices(kinds, weights)[0]
            good = await kind(port, rng)
            counts[kind.__name__] = counts.get(kind.__name__, 0) + 1
            if not good:
                wrong[kind.__name__] = wrong.get(kind.__name__, 0) + 1

    await asyncio.gather(*(client(number) for number in range(connections)))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--seconds", type=int, default=300)
    parser.add_argument("--connections", type=int, default=200)
    parser.add_argument("--report", type=pathlib.Path)
    parser.add_argument("command", nargs="+")
    arguments = parser.parse_args()
    port = free_port()
    host = subprocess.Popen([*arguments.command, "serve", "--port", str(port)],
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT)
    host.stdout.readline()
    counts, wrong, memory = {}, {}, []
    third = max(1, arguments.seconds // 3)
    for _ in range(3):
        asyncio.run(fire(port, third, arguments.connections, counts, wrong))
        memory.append(memory_of(port))
    host.send_signal(signal.SIGINT)
    try:
        rest = host.communicate(timeout=60)[0].decode(errors="replace")
    except subprocess.TimeoutExpired:
        host.kill()
        rest = "the host did not end"
    print("requests:", sum(counts.values()), counts)
    print("wrong answers:", wrong or "none")
    print("memory after each third (KiB):", memory)
    print("the host said:", rest.strip()[-300:])
    checks = {
        "no wrong answer": not wrong,
        "no block left": "blocks still allocated: 0" in rest,
        "ended with status 0": host.returncode == 0,
        "memory flat": memory[2] <= memory[0] + MEMORY_SLACK_KIB,
    }
    for what, good in checks.items():
        print("ok     " if good else "FAILED ", what)
    failed = sum(not good for good in checks.values())
    if arguments.report:
        arguments.report.write_text(json.dumps({"passed": len(checks) - failed, "failed": failed}))
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
