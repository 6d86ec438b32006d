#!/usr/bin/env python3
"""What vexahost does with a terminal, with signals, with a full disk and where there is no Windows.

check_terminal.py [--report FILE] -- COMMAND...

COMMAND starts the host. Exit status 0: every check passed. FILE receives the counts.
"""

import contextlib
import json
import os
import pathlib
import pty
import re
import select
import signal
import socket
import subprocess
import tempfile
import termios
import urllib.error
import urllib.request

from check_host import Host
from counts import COMMAND, run_checks
from pki import PASSWORD, make_chain, openssl

SECONDS = 60
UMASK = 0o022
WHY = ["Try to get User IE Settings Proxy for the URL: http://a.example/",
       "IE User Settings [AutoDetect]: 0", "IE User Settings [AutoConfigUrl]: (null)",
       "IE User Settings [Proxy]: http=proxy.example:3128",
       "IE User Settings [ProxyBypass]: local.example;*.local.example", "static proxy settings detected.",
       "Use static proxy: proxy.example:3128"]


def read_until(descriptor, wanted):
    """What comes until `wanted` is in it, or nothing more does."""
    text = b""
    while wanted not in text and select.select([descriptor], [], [], SECONDS)[0]:
        try:
            piece = os.read(descriptor, 4096)
        except OSError:  # the other side is closed
            break
        if not piece:
            break
        text += piece
    return text


def type_passwords(command, folder, arguments, *passwords):
    """Runs the host on a terminal and types a password whenever it asks. (status, what it showed,
    whether it showed what is typed while it waited, and whether it does so afterwards)."""
    terminal, other = pty.openpty()
    with subprocess.Popen([*command, *arguments], cwd=folder, stdin=other, stdout=other,
                          stderr=other) as process:
        shown, echoed = b"", False
        for password in passwords:
            shown += read_until(terminal, b": ")
            echoed |= bool(termios.tcgetattr(other)[3] & termios.ECHO)
            os.write(terminal, password.encode() + b"\n")
        status = process.wait(SECONDS)
        echoes = bool(termios.tcgetattr(other)[3] & termios.ECHO)
        os.close(other)
        shown += read_until(terminal, b"\0")
    os.close(terminal)
    return status, shown.decode(errors="replace").replace("\r\n", "\n"), echoed, echoes


def end_question(command, folder, number):
    """(status, whether the terminal shows what is typed at the question, and after the signal)."""
    terminal, other = pty.openpty()
    with subprocess.Popen([*command, "p12", "open", "jane.p12"], cwd=folder, stdin=other,
                          stdout=other, stderr=other) as process:
        read_until(terminal, b": ")
        echoed = bool(termios.tcgetattr(other)[3] & termios.ECHO)
        process.send_signal(number)
        status = process.wait(SECONDS)
        echoes = bool(termios.tcgetattr(other)[3] & termios.ECHO)
    os.close(other)
    os.close(terminal)
    return status, echoed, echoes


def check_passwords(checks, host, folder):
    make_chain(folder)
    host.run("p12", "create", "--key", "jane.key", "--cert", "jane.pem", "--cert", "ca.pem",
             "--name", "Jane", "--out", "jane.p12", "--password-file", "pw")
    host.run("p12", "create", "--key", "ca.key", "--cert", "ca.pem", "--out", "ca.p12",
             "--password-file", "pw")
    checks.expect("there is a file to open", (folder / "jane.p12").is_file(), host.said)
    status, shown, echoed, echoes = type_passwords(host.command, folder, ["p12", "open", "jane.p12"],
                                                   PASSWORD)
    checks.expect("a typed password opens a file, and the answer begins on a line of its own",
                  status == 0 and shown.startswith("Password of the file: \ncertificate  CN=Jane"),
                  shown)
    checks.expect("nobody sees it", not echoed and PASSWORD not in shown, shown)
    checks.expect("the terminal shows again what is typed", echoes)
    for number in (signal.SIGINT, signal.SIGTERM):
        status, echoed, echoes = end_question(host.command, folder, number)
        checks.expect(f"... also when {number.name} ends the question",
                      (status, echoed, echoes) == (-number, False, True), (status, echoed, echoes))
    status, shown, *_ = type_passwords(host.command, folder, ["p12", "open", "jane.p12"], "wrong")
    checks.expect("a wrong one gives status 4", status == 4, (status, shown))
    check_questions(checks, host, folder)
    check_serving_question(checks, host, folder)
    status, _ = host.run("p12", "open", "jane.p12", "--password-stdin", text="")
    checks.expect("no line at all gives status 4", status == 4, status)
    status, text = host.run("p12", "open", "jane.p12", "--password-stdin", text=PASSWORD + "\n")
    checks.expect("a line from a program will do", status == 0 and "Jane" in text, text)
    checks.expect("... and is not asked for", host.error == "", host.error)


def check_serving_question(checks, host, folder):
    terminal, other = pty.openpty()
    with subprocess.Popen([*host.command, "serve", "--port", "0", "--pse", "jane.p12"], cwd=folder,
                          stdin=other, stdout=other, stderr=other) as process:
        shown = read_until(terminal, b": ")
        os.write(terminal, PASSWORD.encode() + b"\n")
        shown += read_until(terminal, b"#token=")
        process.send_signal(signal.SIGINT)
        status = process.wait(SECONDS)
    os.close(other)
    os.close(terminal)
    checks.expect("serve asks for the password of the PSE", status == 0 and
                  shown.startswith(b"Password of the PSE: \r\nvexahost: serving on "), shown)


def check_questions(checks, host, folder):
    """Each password is asked for by what it belongs to, once, and when it is needed."""
    openssl(folder, "pkcs8", "-topk8", "-in", "jane.key", "-out", "locked.key", "-passout", "pass:k")
    for arguments, passwords, expected in [
        (["own", "--pse", "jane.p12"], [PASSWORD], "Password of the PSE: \nsubject "),
        (["p12", "create", "--key", "locked.key", "--cert", "jane.pem", "--out", "typed.p12"],
         ["k", "n"], "Password of locked.key: \nPassword of the new file: \nwritten  typed.p12\n"),
        (["ca", "issue", "--issuer", "ca.p12", "--subject", "CN=Bob", "--p12-out", "bob.p12", "--out",
          "bob.pem"], [PASSWORD, "b"],
         "Password of the issuer: \nmaking a key of 2048 bits ...\nPassword of the new key: \n"
         "issued  CN=Bob\n"),
        (["--quiet", "ca", "issue", "--issuer", "ca.p12", "--subject", "CN=Bob", "--p12-out",
          "bob.p12", "--out", "bob.pem"], [PASSWORD, "b"],
         "Password of the issuer: \nPassword of the new key: \n"),
    ]:
        status, shown, *_ = type_passwords(host.command, folder, arguments, *passwords)
        checks.expect(f"{' '.join(arguments)} asks for what it needs", status == 0 and
                      shown.startswith(expected) and shown.count("Password") == len(passwords),
                      (status, shown))
    for name in ["typed.p12", "bob.p12"]:
        mode = (folder / name).stat().st_mode & 0o777
        checks.expect(f"{name} is for the user alone", mode == 0o600, oct(mode))
    mode = (folder / "bob.pem").stat().st_mode & 0o777
    checks.expect("... what is no secret is not", mode == 0o666 & ~UMASK, oct(mode))


def watch(command, folder, *arguments):
    """`monitor` until it says that it watches, then Ctrl-C. (status, what it said)."""
    with subprocess.Popen([*command, *arguments], cwd=folder, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT) as process:
        first = process.stdout.readline().decode()
        process.send_signal(signal.SIGINT)
        rest = process.stdout.read().decode()
        return process.wait(SECONDS), first + rest


def check_monitor(checks, host, folder):
    status, text = watch(host.command, folder, "monitor", "--interval", "3600")
    checks.expect("monitor watches until Ctrl-C", status == 0 and
                  text == "watching the network every 3600 s (Ctrl-C ends)\n", (status, text))
    status, text = watch(host.command, folder, "--json", "monitor", "--interval", "7")
    checks.expect("monitor --json tells how often it looks", status == 0 and
                  json.loads(text.splitlines()[0]) == {"watchingEverySeconds": 7}, (status, text))
    status, _ = host.run("monitor", "--interval", "0")
    checks.expect("monitor looks at most once a second", status == 2, status)


def check_stores(checks, host):
    """Where there are no Windows stores."""
    status, text = host.run("capi", "list")
    checks.expect("capi list gives status 6", (status, text) == (6, "") and
                  "there are no Windows certificate stores here" in host.error, (status, host.error))
    status, _ = host.run("capi", "import", "jane.p12", "--container", "c", "--password-file", "pw",
                         "--check-root")
    checks.expect("capi import does not pretend", status == 1 and
                  "vexahost: the root is not trusted; nothing but the CA certificates was imported"
                  in host.error, (status, host.error))
    status, _ = host.run("capi", "import", "jane.p12", "--container", "c", "--password-file",
                         "wrong")
    checks.expect("capi import with a wrong password gives status 4", status == 4, status)
    status, _ = host.run("capi", "delete", "--container", "c", "--issuer", "CN=Test Root")
    checks.expect("what is not there is deleted already", status == 0, status)
    for option in ["--container", "--issuer"]:
        status, _ = host.run("capi", "delete", option, "CN=Test Root")
        checks.expect(f"... by {option} alone, too", status == 0, (status, host.error))
    # What the import leaves open on purpose is nobody's leak when the module goes.
    for options, answer in [([], "imported into c\n"), (["--exportable"], "imported into c\n"),
                            (["--json"], '{"imported":"c"}\n'), (["--quiet"], "")]:
        status, text = host.run("capi", "import", "jane.p12", "--container", "c", "--password-file",
                                "pw", *options)
        checks.expect(f"capi import {' '.join(options)} fills the stores of one run",
                      (status, text, host.error) == (0, answer, ""), (status, text, host.error))
    status, _ = host.run("capi", "delete")
    checks.expect("capi delete wants to know what", status == 2, status)


def check_output(checks, host):
    with open("/dev/full", "wb") as full:
        ended = subprocess.run([*host.command, "lists"], stdout=full, stderr=subprocess.PIPE,
                               check=False, timeout=SECONDS)
    checks.expect("a full disk gives status 5", (ended.returncode, ended.stderr) ==
                  (5, b"vexahost: the output could not be written\n"), ended)
    status, text = host.run("--version")
    checks.expect("--version is four lines for people", status == 0 and
                  [line.split()[0] for line in text.splitlines()] ==
                  ["vexahost", "module", "runtime", "with"], text)
    status, text = host.run("proxy", "http://a.example/", "--why")
    checks.expect("proxy says how it decided", status == 0 and "direct" in text and
                  "GetIEUserSettingProxy" in host.error, host.error)
    status, text = host.run("--json", "proxy", "http://a.example/", "--why")
    checks.expect("proxy --json, too", status == 0 and json.loads(text)["why"], text)


def check_failing_files(checks, host):
    """Where reading or writing fails when the file is open already."""
    status, _ = host.run("p12", "open", "jane.p12", "--password-file", "pw", "--certs-out",
                         "/dev/full")
    checks.expect("a full disk is told", (status, host.error) ==
                  (5, "vexahost: /dev/full: cannot be written: No space left on device\n"),
                  (status, host.error))
    status, _ = host.run("json", "/proc/self/mem")
    checks.expect("... and what the system does not read", (status, host.error) ==
                  (3, "vexahost: /proc/self/mem: cannot be read: Input/output error\n"),
                  (status, host.error))


def check_descriptors(checks, host):
    """With fewer descriptors than the endpoint needs it says what it has not got."""
    said = set()
    for most in range(4, 40):
        with subprocess.Popen(["prlimit", f"--nofile={most}:{most}", *host.command, "serve", "--port",
                               "0"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True) as process:
            if process.stdout.readline():
                process.send_signal(signal.SIGINT)
                process.stdout.read()
                break
            error = process.stderr.read()
        if process.returncode == 7:
            said.add(re.sub(r"port \d+", "port N", error))
    checks.expect("without descriptors the endpoint says what it lacks", process.returncode == 0
                  and {"vexahost: epoll: Too many open files\n",
                       "vexahost: cannot listen on port N: error 24; --port takes another one\n",
                       "vexahost: no event for the network monitor\n"} <= said, said)


def check_proxies(checks, host, folder):
    """Proxies come from the environment here."""
    settings = {"http_proxy": "proxy.example:3128", "no_proxy": "local.example"}
    os.environ.update(settings)
    try:
        for url, decision in [("http://a.example/", "proxy proxy.example:3128"),
                              ("http://local.example/", "direct (no usable setting)")]:
            status, text = host.run("proxy", url)
            checks.expect(f"proxy {url} is {decision}", (status, text) == (0, decision + "\n"), text)
        _, text = host.run("--json", "proxy", "http://a.example/", "--why")
        checks.expect("... and why", json.loads(text) == {
            "url": "http://a.example/", "decided": True, "proxy": "proxy.example:3128",
            "why": WHY}, text)
        _, text = host.run("--json", "proxy", "http://a.example/")
        checks.expect("... which is told when it is asked for", "why" not in json.loads(text), text)
        with serving(host, folder) as (port, token):
            for url, decision in [("http://a.example/", {"decision": "proxy",
                                                         "proxy": "proxy.example:3128"}),
                                  ("http://local.example/", {"decision": "none"})]:
                answer = json.loads(fetch(f"http://127.0.0.1:{port}/v1/proxy?url={url}", token))
                told = {name: answer[name] for name in ("decision", "proxy") if name in answer}
                checks.expect(f"the endpoint says so of {url}", told == decision, answer)
    finally:
        for name in settings:
            del os.environ[name]


def check_strange_names(checks, host):
    """A name of a file may be anything; what is told about it can be read and is harmless."""
    for name, shown in [(b"no\xc3\xa4", "noä"), (b"no\xf0\x9f\x98\x80", "no😀"),
                        (b"no\xe2\x80\xae", "no\\u202E"), (b"no\x1b[2J", "no\\x1B[2J"),
                        (b"no\xc2\x85", "no\\x85"), (b"no\xff", "no\\xFF"), (b"no\xc3", "no\\xC3"),
                        (b"no\xed\xa0\x80", "no\\xED\\xA0\\x80")]:
        status, _ = host.run("json", name)
        checks.expect(f"a file named {name} is told as {shown}", status == 3 and
                      shown in host.error, (status, host.error))


def check_busy_port(checks, host):
    with socket.create_server(("::1", 0), family=socket.AF_INET6) as busy:
        port = busy.getsockname()[1]
        status, _ = host.run("serve", "--port", str(port))
        checks.expect("... and one that is busy at [::1] alone", (status, host.error) ==
                      (7, f"vexahost: cannot listen on port {port}: another program has it; "
                          "--port 0 takes a free one\n"), (status, host.error))
    with socket.create_server(("127.0.0.1", 0)) as busy:
        port = busy.getsockname()[1]
        status, _ = host.run("serve", "--port", str(port))
        checks.expect("a port that another program has is told", status == 7 and
                      f"port {port}" in host.error and "another program" in host.error,
                      (status, host.error))


@contextlib.contextmanager
def serving(host, folder):
    """The port and the token of an endpoint, which is stopped at the end."""
    ready = folder / "ready"
    with subprocess.Popen([*host.command, "serve", "--port", "0", "--ready-file", str(ready)],
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True) as process:
        token = (process.stdout.readline() + process.stdout.readline()).split("#token=")[1].strip()
        try:
            yield json.loads(ready.read_text())["port"], token
        finally:
            process.send_signal(signal.SIGINT)
            process.stdout.read()
            process.wait(SECONDS)


def fetch(url, token=""):
    """The body of the answer, whatever its status."""
    request = urllib.request.Request(url, headers={"Authorization": f"Bearer {token}"})
    # Past the proxies of this process's environment.
    opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
    try:
        with opener.open(request, timeout=SECONDS) as answer:
            return answer.read().decode()
    except urllib.error.HTTPError as error:
        return error.read().decode()


def check_endpoint_texts(checks, host, folder):
    """Bytes of a URL that are no UTF-8 do not spoil the JSON that tells of them."""
    ready = folder / "ready"
    with subprocess.Popen([*host.command, "serve", "--port", "0", "--ready-file", str(ready)],
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT) as process:
        process.stdout.readline()
        process.stdout.readline()
        port = json.loads(ready.read_text())["port"]
        for sent, shown in [("%C3%A4", "ä"), ("%E2%82%AC", "€"), ("%F0%9F%98%80", "😀"),
                            ("%FF", "�"), ("%C3", "�"), ("%E0%80%80", "���"),
                            ("%ED%A0%80", "���"), ("%ED%BF%BF", "���"), ("%ED%9F%BF", "\ud7ff"),
                            ("%EE%80%80", "\ue000"), ("%C1%BF", "��"), ("%DF%BF", "\u07ff"),
                            ("%E0%9F%BF", "���"), ("%E0%A0%80", "\u0800"),
                            ("%F0%8F%BF%BF", "����"), ("%F0%90%80%80", "\U00010000"),
                            ("%F4%8F%BF%BF", "\U0010ffff"), ("%F4%90%80%80", "����")]:
            body = fetch(f"http://127.0.0.1:{port}/v1/echo?x=a{sent}b")
            checks.expect(f"{sent} is told as {shown}", f"a{shown}b" in
                          json.dumps(json.loads(body), ensure_ascii=False), body)
        process.send_signal(signal.SIGINT)
        process.stdout.read()
        checks.expect("the endpoint ends well", process.wait(SECONDS) == 0, process.returncode)


def check(checks, options):
    os.umask(UMASK)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        host = Host(options.command, folder)
        check_passwords(checks, host, folder)
        check_monitor(checks, host, folder)
        check_stores(checks, host)
        check_output(checks, host)
        check_failing_files(checks, host)
        check_descriptors(checks, host)
        check_proxies(checks, host, folder)
        check_strange_names(checks, host)
        check_busy_port(checks, host)
        check_endpoint_texts(checks, host, folder)


if __name__ == "__main__":
    run_checks(__doc__, check, COMMAND)
