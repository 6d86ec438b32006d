#!/usr/bin/env python3
"""The endpoint beside a bare Asio server that answers a constant text, with wrk.

bench_endpoint.py [--seconds N] [--rounds N] HOST BARE_SERVER

Both run at once; rounds alternate between them, so that the ratio holds on a busy machine. For each
load the best round of both counts.
"""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "tests/endtoend"))
from endpoint import Host  # noqa: E402

JSON = '{"name": "%s", "numbers": [1, 2, 3], "deep": {"flag": true, "none": null}}' % ("x" * 228)
POST = f"""wrk.method = "POST"
wrk.body = '{JSON}'
wrk.headers["Content-Type"] = "application/json"
"""
LOADS = [("GET /v1/info", "/v1/info", "", 0.8), (f"POST /v1/json, {len(JSON)} bytes", "/v1/json",
                                                 POST, 0.6)]


def rate(port, path, script, connections, keep_alive, seconds):
    with tempfile.NamedTemporaryFile("w", suffix=".lua") as file:
        file.write(script)
        if not keep_alive:
            file.write('wrk.headers["Connection"] = "close"\n')
        file.flush()
        told = subprocess.run(
            ["wrk", "-t1", f"-c{connections}", f"-d{seconds}s", "-s", file.name,
             f"http://127.0.0.1:{port}{path}"], capture_output=True, text=True, check=True).stdout
    if "Non-2xx" in told:
        sys.exit("an answer was an error:\n" + told)
    return float(re.search(r"Requests/sec:\s*([\d.]+)", told).group(1))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--seconds", type=int, default=2)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("host")
    parser.add_argument("bare_server")
    arguments = parser.parse_args()
    host = Host([arguments.host])
    host.wait_until_up()
    print(f"{'load':28}{'connections':>12}{'':>12}{'endpoint/s':>12}{'bare/s':>12}"
          f"{'ratio':>8}{'goal':>6}")
    for name, path, script, goal in LOADS:
        answer = host.ask(path) if not script else host.ask("POST " + path, body=JSON.encode())
        bare = subprocess.Popen([arguments.bare_server, str(len(answer.body))],
                                stdout=subprocess.PIPE, text=True)
        port = int(bare.stdout.readline())
        for connections in (1, 20):
            for keep_alive in (True, False):
                ours, theirs = [], []
                for _ in range(arguments.rounds):
                    load = (path, script, connections, keep_alive, arguments.seconds)
                    ours.append(rate(host.port, *load))
                    theirs.append(rate(port, *load))
                print(f"{name:28}{connections:>12}{'keep-alive' if keep_alive else 'close':>12}"
                      f"{max(ours):>12.0f}{max(theirs):>12.0f}{max(ours) / max(theirs):>8.2f}"
                      f"{goal:>6}", flush=True)
        bare.kill()
        bare.wait()
    host.stop()


if __name__ == "__main__":
    main()
