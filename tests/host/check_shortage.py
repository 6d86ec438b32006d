#!/usr/bin/env python3
"""What vexahost says and does when its runtime is short of memory.

check_shortage.py [--report FILE] --runtime LIBRARY -- COMMAND...

COMMAND starts the host, with the module beside it; LIBRARY is a runtime whose heap refuses. Exit
status 0: every check passed. FILE receives the counts.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from check_host import Host
from counts import COMMAND, argument, run_checks
from pki import PASSWORD, make_chain, openssl

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "endtoend"))
from endpoint import Host as Endpoint, Reader, answers_already, as_json  # noqa: E402

PW = ["--password-file", "pw"]
ENOUGH = 4  # so many runs on end that need no more memory
STRIDE = 16
SHORT = "kOutOfMemory (0x8007000e)"
# The command, and every step of it that may fail.
SWEEPS = [
    (["json", "good.json"], ["reading JSON", "writing JSON"]),
    (["certs", "jane.pem"], ["reading jane.pem", "reading a name"]),
    (["proxy", "http://a.example/"], ["converting a text"]),
    (["p12", "open", "jane.p12", "--certs-out", "out.pem", *PW],
     ["copying a text", "opening jane.p12", "reading a name", "encoding a certificate"]),
    (["own", "--pse", "jane.p12", *PW],
     ["opening jane.p12", "the PSE", "listing the own certificates", "reading a name"]),
    (["p12", "create", "--key", "locked.key", "--key-password-file", "pw", "--cert", "jane.pem",
      "--cert", "ca.pem", "--out", "out.p12", *PW],
     ["reading jane.pem", "reading ca.pem", "listing a certificate", "reading locked.key",
      "comparing key and certificate", "copying a text", "creating PKCS#12"]),
    (["ca", "issue", "--issuer-key", "ca.key", "--issuer-cert", "ca.pem", "--like", "jane.pem",
      "--subject", "CN=x", "--for", "person", "--san", "DNS:a.example", "--out", "out.pem"],
     ["a certificate", "the subject", "emailProtection", "clientAuth", "DNS:a.example",
      "reading ca.pem", "listing a certificate", "reading ca.key", "comparing key and certificate",
      "reading jane.pem", "the key", "making an identifier", "signing", "encoding a certificate",
      "reading a name"]),
    (["ca", "issue", "--issuer-key", "ca.key", "--issuer-cert", "ca.pem", "--curve", "P-256",
      "--subject", "CN=x", "--p12-out", "out.p12", "--p12-password-file", "pw", "--out", "out.pem"],
     ["a certificate", "the subject", "reading ca.pem", "listing a certificate", "reading ca.key",
      "comparing key and certificate", "making a key", "the key", "signing", "copying a text",
      "creating PKCS#12", "encoding a certificate", "reading a name"]),
]
# The module does not say why there is no PSE.
NO_PSE = "vexahost: the PSE cannot be had; memory may have been short\n"


def run_short(host, arguments, number):
    """(status, answer, error) of a command whose allocation of that number fails; 0: none does."""
    os.environ["VEXA_FAILS_AT"] = str(number)
    outcome = (*host.run(*arguments), host.error.replace("\r\n", "\n"))
    del os.environ["VEXA_FAILS_AT"]
    return outcome


def outcomes(host, arguments):
    """{number: outcome} when the allocation of that number fails, until the command needs no more:
    every STRIDE-th, and wherever the outcome becomes another one."""
    good = run_short(host, arguments, 0)
    found, number = {}, 1
    while list(found.values())[-ENOUGH:] != [good] * ENOUGH:
        found[number] = run_short(host, arguments, number)
        number += 1 if found[number] == good else STRIDE
    unseen = list(zip(list(found), list(found)[1:]))
    while unseen:
        first, last = unseen.pop()
        if found[first] != found[last] and last - first > 1:
            middle = (first + last) // 2
            found[middle] = run_short(host, arguments, middle)
            unseen += [(first, middle), (middle, last)]
    return found, good


def check_commands(checks, host):
    for arguments, steps in SWEEPS:
        told = {(7, "", NO_PSE if step == "the PSE" else f"vexahost: {step} failed: {SHORT}\n"): step
                for step in steps}
        met, wrong = set(), []
        found, good = outcomes(host, arguments)
        for number, outcome in found.items():
            if outcome in told:
                met.add(told[outcome])
            elif outcome != good:
                wrong.append((number, outcome))
        name = " ".join(arguments[:2])
        checks.expect(f"{name} does its work or says what failed", not wrong, wrong[:3])
        checks.expect("... at each step", met == set(steps), set(steps) - met)


def check_ciphers(checks, host):
    """A cipher that fails is no reason to leave out the others."""
    status, text, _ = run_short(host, ["scramble"], 1)
    lines = text.splitlines()
    checks.expect("scramble says which cipher failed", status == 1 and len(lines) == 10
                  and lines[0] == "cipher  1 mode 0   43 ->   0 bytes  cbf29ce484222325  FAILED"
                  and all(line.endswith("  ok") for line in lines[1:]), (status, text))


def serving(command, **limits):
    os.environ.update({f"VEXA_{name}": str(value) for name, value in limits.items()})
    endpoint = Endpoint(command)
    for name in limits:
        del os.environ[f"VEXA_{name}"]
    return endpoint


def check_endpoint(checks, command):
    endpoint = serving(command, MOST_BYTES=16384, MOST_ELSEWHERE=4000)
    checks.expect("an endpoint that is short of memory serves", endpoint.wait_until_up(),
                  endpoint.lines)
    token = endpoint.bearer()
    for line, body, words in [
        ("POST /v1/echo", b"x" * 20000, "out of memory"),
        ("POST /v1/json", b'{"a": "%s"}' % (b"/" * 10000), f"reading JSON failed: {SHORT}"),
        ("/v1/echo?x=" + "%01" * 4000, None, f"writing JSON failed: {SHORT}"),
        ("/v1/proxy?url=http://a.example/" + "x" * 3000, None, f"converting a text failed: {SHORT}"),
    ]:
        answer = endpoint.ask(line, token, body=body)
        checks.expect(f"{line[:20]} of too many bytes is answered 500", answer.status == 500 and
                      as_json(answer.body) == {"title": "Internal Server Error", "status": 500,
                                               "detail": words}, answer)
        checks.expect("... and the next one as ever", endpoint.ask("/v1/info").status == 200)
    checks.expect("it ends well", endpoint.stop() == 0 and endpoint.left_no_block(), endpoint.lines)


def check_worker(checks, command):
    """A question for a proxy that nobody ever answers."""
    endpoint = serving(command, HOLDS_ABOVE=4000)
    checks.expect("an endpoint serves", endpoint.wait_until_up(), endpoint.lines)
    token = endpoint.bearer()
    asking = [endpoint.connect() for _ in range(18)]
    asking[0].sendall(endpoint.head("GET /v1/proxy?url=http://a.example/" + "x" * 3000 +
                                    " HTTP/1.1", token))
    endpoint.ask("/v1/info")  # what was sent before it has come, too
    for connection in asking[1:]:
        connection.sendall(endpoint.head("GET /v1/proxy?url=http://a.example/ HTTP/1.1", token))
    answers = answers_already(asking)
    # The first one is a moment on its way to the worker.
    checks.expect("sixteen questions may wait for it", answers in ([503], [503, 503]), answers)
    asking += [endpoint.connect() for _ in range(2)]
    for connection in asking[-2:]:
        connection.sendall(endpoint.head("GET /v1/proxy?url=http://a.example/ HTTP/1.1", token))
    answer = Reader(asking[-1]).answer()
    checks.expect("... and the next one is told so", answer.status == 503 and
                  answer.headers.get("retry-after") == "1" and (as_json(answer.body) or {}).get(
                      "detail") == "too many such questions; try again", answer)
    checks.expect("... beside which others are answered", endpoint.ask("/v1/info").status == 200)
    checks.expect("Ctrl-C ends it all the same", endpoint.stop() == 0 and endpoint.lines[-1] ==
                  "vexahost: stopped; a question for a proxy was still open", endpoint.lines)
    for connection in asking:
        connection.close()


def check(checks, options):
    built = pathlib.Path(options.command[-1]).parent
    [module] = [path for path in built.glob("*vexabase.*") if path.suffix in (".dll", ".so")]
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        make_chain(folder)
        (folder / "good.json").write_text('{"a": [1, {"b": "c"}]}')
        openssl(folder, "pkcs8", "-topk8", "-in", "jane.key", "-out", "locked.key", "-passout",
                f"pass:{PASSWORD}")
        openssl(folder, "pkcs12", "-export", "-legacy", "-inkey", "jane.key", "-in", "jane.pem",
                "-out", "jane.p12", "-passout", f"pass:{PASSWORD}")
        shutil.copy(module, folder / module.name)
        shutil.copy(options.runtime, folder / options.runtime.name)
        command = [*options.command, "--module", str(folder / module.name)]
        host = Host(command, folder)
        check_commands(checks, host)
        check_ciphers(checks, host)
        check_endpoint(checks, command)
        check_worker(checks, command)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("--runtime", type=pathlib.Path, required=True),
               COMMAND)
