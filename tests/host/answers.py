"""What the commands of vexahost answer, whole: as text, as JSON, and with --quiet."""

import json
import re
import time

from pki import PASSWORD, openssl

JANE, ROOT = "CN=Jane,O=Orlind,C=DE", "CN=Test Root,O=Orlind,C=DE"
HEADING = "encrypt sign  client  CA   root  self-issued   subject\n"
CLASSES = {"Certificates": True, "vexa.clientmonitor": True, "vexa.webclient.http.request": False,
           "vexa.webclient.http.response": False, "OwnCertificates": True, "PSE": True,
           "vexa.webclient.url.parser": False}


def expect_answer(checks, host, arguments, text, data, expected=0):
    """One command as text and with --json; both end with the same status and say nothing more."""
    status, said = host.run(*arguments)
    checks.expect(f"{arguments[0]} answers this and nothing more",
                  (status, said, host.error) == (expected, text, ""), (status, said, host.error))
    status, said = host.run("--json", *arguments)
    checks.expect("... and with --json", status == expected and said.count("\n") == 1
                  and json.loads(said) == data, (status, said, host.error))


def check_urls(checks, host):
    expect_answer(checks, host,
                  ["url", "https://a.example.com:444/x", "--pattern", "https://*.example.com:444",
                   "--pattern", "https://*.example.com", "--same-as", "https://b.example.com"],
                  "valid   yes\nhttps   yes\nport    444\norigin  https://a.example.com:444\n"
                  "match   yes  https://*.example.com:444\nmatch   no  https://*.example.com\n"
                  "same    no  https://b.example.com\n",
                  {"url": "https://a.example.com:444/x", "valid": True, "https": True, "port": 444,
                   "origin": "https://a.example.com:444", "sameOrigin": False,
                   "patterns": [{"pattern": "https://*.example.com:444", "match": True},
                                {"pattern": "https://*.example.com", "match": False}]}, 1)
    expect_answer(checks, host, ["url", "http://a.example.com/x", "--same-as",
                                 "http://a.example.com:80/y"],
                  "valid   yes\nhttps   no\nport    80\norigin  http://a.example.com\n"
                  "same    yes  http://a.example.com:80/y\n",
                  {"url": "http://a.example.com/x", "valid": True, "https": False, "port": 80,
                   "origin": "http://a.example.com", "sameOrigin": True})
    expect_answer(checks, host, ["url", "x"], "valid   no\nhttps   no\nport    0\n",
                  {"url": "x", "valid": False, "https": False, "port": 0}, 1)


def check_times(checks, host):
    expect_answer(checks, host, ["time", "116444736010000000"], "1\n", {"result": 1})
    for name, answer in [("unix", "1"), ("unix-ms", "1000"), ("unix-us", "1000000"),
                         ("filetime", "116444736010000000")]:
        for arguments, expected in [(["1", "--from", "unix", "--to", name], answer),
                                    ([answer, "--from", name, "--to", "unix"], "1")]:
            _, text = host.run("time", *arguments)
            checks.expect(f"time {' '.join(arguments)} is {expected}", text == expected + "\n", text)
    before = int(time.time())
    _, text = host.run("time", "now")
    checks.expect("time now is the machine's", before <= int(text) <= int(time.time()), text)
    for name, unit in [("from-now", 1), ("from-now-ms", 1000)]:
        _, text = host.run("time", str(10**9 * unit), "--from", name, "--to", "unix")
        checks.expect(f"time {name} counts from now",
                      before <= int(text) - 10**9 <= int(time.time()), text)


def check_classes(checks, host):
    _, text = host.run("lists")
    slots, _, classes = text.partition("classes\n")
    checks.expect("lists tells the classes, and which of them have one instance", classes == "".join(
        f"  {name} ({'one instance' if single else 'new objects'})\n"
        for name, single in CLASSES.items()), classes)
    numbers = re.findall(r"^( +\d+)  \w+$", slots, re.M)
    checks.expect("... and numbers the slots, one below the other",
                  {len(number) for number in numbers} == {4} and "\n   0  GetModuleInfo\n" in slots
                  and "\n  16  " in slots, slots)
    _, text = host.run("--json", "lists")
    data = json.loads(text)
    checks.expect("... with --json, too", {one["name"]: one["singleton"]
                                           for one in data["classes"]} == CLASSES, text[-400:])
    checks.expect("... the slots from 0 on", all(
        [slot["number"] for slot in one["slots"]] == list(range(len(one["slots"])))
        for one in data["lists"]), text[:400])


def check_ciphers(checks, host):
    ciphers = [(1, 0, 48), (2, 1, 48), (4, 1, 48), (6, 0, 43), (7, 0, 48), (10, 1, 48), (11, 1, 48),
               (12, 0, 48), (12, 1, 48), (12, 2, 43)]
    _, text = host.run("scramble")
    shown = [line.rsplit("  ", 2) for line in text.splitlines()]
    checks.expect("scramble tells cipher, mode and sizes", [line[0] for line in shown] == [
        f"cipher {algorithm:2} mode {mode}   43 -> {size:3} bytes"
        for algorithm, mode, size in ciphers], text)
    checks.expect("... a digest of each, and how it went",
                  len({digest for _, digest, _ in shown}) == len(ciphers) and
                  all(re.fullmatch("[0-9a-f]{16}", digest) and good == "ok"
                      for _, digest, good in shown), text)
    _, text = host.run("--json", "scramble")
    tests = [{name: value for name, value in one.items() if name != "digest"}
             for one in json.loads(text)]
    checks.expect("... with --json, too", tests == [
        {"algorithm": algorithm, "mode": mode, "plainBytes": 43, "scrambledBytes": size,
         "good": True} for algorithm, mode, size in ciphers], text)


def check_certificates(checks, host, folder):
    openssl(folder, "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "self.key", "-out",
            "self.pem", "-subj", "/CN=Self", "-addext", "basicConstraints=critical,CA:FALSE",
            "-addext", "keyUsage=digitalSignature", "-addext", "extendedKeyUsage=clientAuth")
    uses = {"encrypt": False, "sign": False, "client": False, "ca": False, "root": False,
            "selfIssued": False}
    expect_answer(checks, host, ["certs", "self.pem", "ca.pem"], HEADING +
                  "-       yes   yes     -    -     yes           CN=Self\n"
                  f"-       -     -       yes  yes   -             {ROOT}\n",
                  [uses | {"subject": "CN=Self", "issuer": "CN=Self", "sign": True, "client": True,
                           "selfIssued": True},
                   uses | {"subject": ROOT, "issuer": ROOT, "ca": True, "root": True}])
    bundle = (folder / "jane.pem").read_text() + (folder / "ca.pem").read_text()
    (folder / "two.pem").write_text("Jane's, and her authority's:\n" + bundle)
    _, text = host.run("certs", "two.pem")
    checks.expect("certs reads what text surrounds", [line[47:] for line in text.splitlines()[1:]]
                  == [JANE, ROOT], text)
    (folder / "key-and.pem").write_text((folder / "jane.key").read_text() + bundle)
    _, text = host.run("certs", "key-and.pem")
    checks.expect("... and passes over a key", [line[47:] for line in text.splitlines()[1:]]
                  == [JANE, ROOT], text)
    (folder / "half.pem").write_text(bundle[:-60])
    _, text = host.run("certs", "half.pem")
    checks.expect("... and leaves a block without end alone",
                  [line[47:] for line in text.splitlines()[1:]] == [JANE], text)


def check_files(checks, host, folder):
    create = ["p12", "create", "--key", "jane.key", "--cert", "jane.pem", "--cert", "ca.pem", "--out",
              "whole.p12", "--password-file", "pw"]
    expect_answer(checks, host, create, "written  whole.p12\n", {"written": "whole.p12"})
    quiet = host.run("--quiet", *create)
    checks.expect("--quiet says nothing of what was done", (*quiet, host.error) == (0, "", ""), quiet)
    opened = ["p12", "open", "whole.p12", "--password-file", "pw"]
    expect_answer(checks, host, opened, f"certificate  {JANE}\ncertificate  {ROOT}\n"
                  "private key  yes, of the first certificate\n",
                  {"certificates": [JANE, ROOT], "keyOfFirstCertificate": True})
    checks.expect("... but gives answers", host.run("--quiet", *opened) == host.run(*opened))
    expect_answer(checks, host, ["own", "--pse", "whole.p12", "--password-file", "pw"],
                  f"subject  {JANE}\nissuer   {ROOT}\n", [{"subject": JANE, "issuer": ROOT}])
    openssl(folder, "pkcs12", "-export", "-nocerts", "-inkey", "jane.key", "-out", "key.p12",
            "-passout", f"pass:{PASSWORD}")
    expect_answer(checks, host, ["p12", "open", "key.p12", "--password-file", "pw"],
                  "private key  yes\n", {"certificates": [], "keyOfFirstCertificate": False})
    openssl(folder, "pkcs12", "-export", "-inkey", "ca.key", "-in", "ca.pem", "-out", "root.p12",
            "-passout", f"pass:{PASSWORD}")
    issue = ["ca", "issue", "--issuer", "root.p12", "--issuer-password-file", "pw", "--subject",
             "CN=Bob,C=DE", "--like", "jane.pem", "--out", "whole.pem"]
    expect_answer(checks, host, issue, "issued  CN=Bob,C=DE\n", {"issued": "CN=Bob,C=DE"})
    status, text = host.run("--quiet", *issue)
    checks.expect("ca issue --quiet", (status, text) == (0, ""), (status, text))


def check_answers(checks, host, folder):
    check_urls(checks, host)
    check_times(checks, host)
    check_classes(checks, host)
    check_ciphers(checks, host)
    check_certificates(checks, host, folder)
    check_files(checks, host, folder)
