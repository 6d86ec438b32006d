#!/usr/bin/env python3
"""Runs the commands of vexahost and holds what they say against OpenSSL and NSS.

check_host.py [--report FILE] -- COMMAND...

COMMAND starts the host. Exit status 0: every check passed. FILE receives the counts.
"""

import difflib
import json
import pathlib
import re
import subprocess
import sys
import tempfile

from answers import check_answers
from counts import COMMAND, run_checks
from errors import check_errors
from issuing import check_contents, check_keys, check_profiles, check_refusals
from pki import PASSWORD, make_chain, openssl

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bindings"))
from generator.reader import read_sdk  # pylint: disable=wrong-import-position

TEXTS = pathlib.Path(__file__).parent / "texts"
DESCRIPTION = ROOT / "tests/endtoend/openapi.json"
DOCUMENT = ROOT / "docs/endpoint.md"
INCLUDE = pathlib.Path("/usr/include")
CA_BUNDLE = pathlib.Path("/etc/ssl/certs/ca-certificates.crt")


class Host:
    """Runs one command of the host in a folder of its own."""

    def __init__(self, command, folder):
        self.command = command
        self.folder = folder
        self.said = ""
        self.error = ""  # what the last run wrote to the standard error

    def run(self, *arguments, text=None):
        result = subprocess.run(
            [*self.command, *arguments],
            cwd=self.folder,
            input=None if text is None else text.encode(),
            stdin=subprocess.DEVNULL if text is None else None,
            capture_output=True,
            timeout=120,
            check=False,
        )
        output = result.stdout.decode(errors="replace").replace("\r\n", "\n")
        self.error = result.stderr.decode(errors="replace")
        self.said += output + self.error
        return result.returncode, output


def check_texts(checks, host):
    status, text = host.run("json", "-", text='{"b":[1,null],"a":"x/y"}')
    checks.expect("json reads and writes", status == 0 and text ==
                  '{\n"b" : [\n1,\nnull\n]\n,\n"a" : "x\\/y"\n}\n', text)
    status, _ = host.run("json", "-", text="[1]")
    checks.expect("json refuses an array with status 3", status == 3, status)
    status, _ = host.run("json", "no-such-file")
    checks.expect("json reports a missing file with status 3", status == 3, status)

    _, text = host.run("url", "https://a.example.com:444/x", "--pattern", "https://*.example.com",
                       "--pattern", "https://*.example.com:444", "--same-as",
                       "https://a.example.com:444/y")
    checks.expect("url tells the port", "port    444\n" in text, text)
    checks.expect("url matches patterns with their port",
                  "match   no  https://*.example.com\n" in text
                  and "match   yes  https://*.example.com:444\n" in text, text)
    checks.expect("url compares origins", "same    yes" in text, text)

    for arguments, answer in [
        (("0", "--from", "unix", "--to", "filetime"), "116444736000000000"),
        (("1500", "--from", "0x22", "--to", "0x21"), "1"),
        (("7", "--from", "0x121", "--to", "0x21"), "7"),
    ]:
        _, text = host.run("time", *arguments)
        checks.expect(f"time {' '.join(arguments)}", text.strip() == answer, text)
    status, _ = host.run("time", "x")
    checks.expect("time refuses what is no number", status == 2, status)

    status, text = host.run("scramble")
    checks.expect("scramble passes its self-test", status == 0 and text.count("ok") == 10, text)


def check_lists(checks, host):
    """What the module offers, beside what the headers declare."""
    sdk = read_sdk(ROOT / "include")
    declared = {name: list(sdk.records[record].slots) for record, name in sdk.list_names.items()}
    status, text = host.run("lists")
    shown = dict(re.findall(r"^(\S+) \((\d+) slots\)$", text, re.M))
    checks.expect("lists shows every list, none with a missing slot", status == 0
                  and shown == {name: str(len(slots)) for name, slots in declared.items()}
                  and "missing" not in text, text)
    _, text = host.run("--json", "lists")
    lists = json.loads(text)["lists"]
    named = {one["name"]: [slot["name"] for slot in one["slots"]] for one in lists}
    checks.expect("lists --json names every slot", named == declared and all(
        slot["offered"] for one in lists for slot in one["slots"]), text[:200])


def define_of(header, name):
    text = (INCLUDE / header).read_text(encoding="utf-8")
    return re.search(rf"^\s*#define {name} (\S+)", text, re.M).group(1)


def check_versions(checks, host):
    """Of libraries that are nothing but headers: what is installed is what was built in."""
    _, text = host.run("--version", "--json")
    data = json.loads(text)
    libraries = data["libraries"]
    number = int(define_of("asio/version.hpp", "ASIO_VERSION"))
    checks.expect("--version tells that of Asio", libraries["Asio"] ==
                  f"{number // 100000}.{number // 100 % 1000}.{number % 100}", libraries)
    checks.expect("... that of CLI11", f'"{libraries["CLI11"]}"' ==
                  define_of("CLI/Version.hpp", "CLI11_VERSION"), libraries)
    numbers = subprocess.run(
        ["g++", "-E", "-P", "-x", "c++", "-"], capture_output=True, text=True, check=True,
        input="#include <nlohmann/json.hpp>\nVERSION NLOHMANN_JSON_VERSION_MAJOR "
              "NLOHMANN_JSON_VERSION_MINOR NLOHMANN_JSON_VERSION_PATCH\n").stdout
    checks.expect("... that of the JSON library", libraries["json"] == ".".join(
        re.search(r"^VERSION\s+(\d+)\s+(\d+)\s+(\d+)", numbers, re.M).groups()), libraries)
    _, text = host.run("--version")
    checks.expect("--version without --json tells the same", text ==
                  f"vexahost {data['vexahost']}\nmodule   {data['module']}\n"
                  f"runtime  {data['runtime']}\n"
                  f"with     Asio {libraries['Asio']}, CLI11 {libraries['CLI11']}, "
                  f"json {libraries['json']}\n", (text, data))


def check_help_on_serve(checks, host):
    """The help of `serve` tells every path that the endpoint's description has, and every option that
    its document has."""
    paths = json.loads(DESCRIPTION.read_text(encoding="utf-8"))["paths"]
    lines = ["What it answers (docs/endpoint.md):"]
    for path, operations in paths.items():
        operation = next(iter(operations.values()))
        token = " (token)" if "security" in operation else ""
        lines.append(f"  {path} ".ljust(28) + operation["summary"] + token)
    _, text = host.run("help", "serve")
    told = text[text.find(lines[0]):].splitlines()[:len(lines)]
    checks.expect("help serve tells the paths", told == lines, told)
    options = set(re.findall(r"^  (?:-h,)?(--[a-z-]+)", text, re.M)) - {"--help"}
    rows = re.findall(r"^\| (`--.*?) \|", DOCUMENT.read_text(encoding="utf-8"), re.M)
    described = set(re.findall(r"`(--[a-z-]+)", " ".join(rows)))
    checks.expect("... and the options that docs/endpoint.md describes", options == described,
                  options ^ described)


def check_command_line(checks, host, folder):
    """What every command has in common: versions, JSON, exit statuses, the texts about itself."""
    check_versions(checks, host)
    check_help_on_serve(checks, host)
    (folder / "a-folder").mkdir()
    status, text = host.run("--version", "--json")
    versions = json.loads(text)
    checks.expect("--version names module, runtime and libraries", status == 0
                  and "vexabase" in versions["module"] and "libgcrypt" in versions["runtime"]
                  and versions["libraries"].keys() == {"Asio", "CLI11", "json"}, text)
    for arguments, expected in [
        (["url", "nonsense"], 1),
        (["url", "https://a.example/", "--pattern", "https://b.example"], 1),
        (["frobnicate"], 2),
        ([], 2),
        (["help", "frobnicate"], 2),
        (["json", "."], 3),
        (["p12", "open", "ca.pem", "--password-file", "pw"], 3),
        (["p12", "open", "no-such.p12", "--password-file", "pw"], 3),
        (["--module", "no-such-module", "lists"], 7),
    ]:
        status, text = host.run(*arguments)
        checks.expect(f"{' '.join(arguments) or 'no command'} ends with {expected}",
                      status == expected, (status, text))
    for arguments, expected, words in [
        (["frobnicate"], 2, "no such command: frobnicate"),
        (["lists", "frobnicate"], 2, "frobnicate"),
        (["json", "."], 3, ".: cannot be read: it is a folder"),
        (["json", "no-such.json"], 3, "no-such.json: cannot be read: No such file or directory\n"),
        (["json", "/no-such.json"], 3, "/no-such.json: cannot be read: "),
        (["--module"], 2, "vexahost: --module: 1 required TEXT missing"),
        (["--trace"], 2, "vexahost: --trace: 1 required"),
        (["--frobnicate"], 2, "vexahost: The following argument was not expected: --frobnicate"),
        (["json", "pw", "--frobnicate"], 2, "The following argument was not expected: --frobnicate"),
        (["proxy", "://a.example/"], 2, "not a URL with scheme and host: ://a.example/"),
        (["proxy", "http://"], 2, "not a URL with scheme and host: http://"),
        (["proxy", "http://?x"], 2, "not a URL with scheme and host: http://?x"),
        (["proxy", "http://#x"], 2, "not a URL with scheme and host: http://#x"),
        (["proxy", "http://:80"], 2, "not a URL with scheme and host: http://:80"),
        (["proxy", "http:/a.example"], 2, "not a URL with scheme and host: http:/a.example"),
        (["proxy", "ht_tp://a.example"], 2, "not a URL with scheme and host: ht_tp://a.example"),
        (["monitor", "--interval", "3601"], 2, "1 to 3600"),
        (["serve", "--monitor-interval", "0"], 2, "Value 0 not in range 1 to 3600"),
        (["serve", "--monitor-interval", "3601"], 2, "Value 3601 not in range 1 to 3600"),
        (["serve", "--port", "65536"], 2, "Value 65536 not in range 0 to 65535"),
        (["serve", "--port", "0", "--ready-file", "no-such-folder/ready"], 5,
         "no-such-folder/ready.part: cannot be written: No such file or directory\n"),
        (["serve", "--port", "0", "--ready-file", "a-folder"], 5,
         "vexahost: a-folder: cannot be written"),
        (["certs", "ca.pem", "no-such.pem"], 3, "no-such.pem: cannot be read: "),
        (["p12", "open", "ca.pem", "--password-file", "."], 3, ".: cannot be read: it is a folder"),
        (["time", "18446744073709551616"], 2, "the value is too large"),
        (["time", "1", "--to", "0x100000021"], 2, "the format is too large"),
        (["time", "1x"], 2, "the value is not a number"),
        (["monitor", "--interval", "0"], 2, "1 to 3600"),
        (["serve", "--port", "70000"], 2, "vexahost: --port: Value 70000 not in range 0 to 65535"),
        (["serve", "--port", "http"], 2, "vexahost: --port: Value http not in range 0 to 65535"),
        (["url"], 2, "vexahost: url is required"),
        (["proxy", "a.example"], 2, "not a URL with scheme and host: a.example"),
        (["proxy", "http:///path"], 2, "not a URL with scheme and host: http:///path"),
        (["own", "--pse", "no-such.p12", "--password-file", "pw"], 3,
         "no-such.p12: cannot be read: "),
        (["own", "--pse", "ca.pem", "--password-file", "pw"], 3, "ca.pem: not a PKCS#12 file"),
        (["--trace", "6", "lists"], 2, "0 to 5"),
        (["p12", "create", "--key", "ca.key", "--cert", "ca.pem", "--name", "n", "--out",
          "no-such-folder/a.p12", "--password-file", "pw"], 5,
         "no-such-folder/a.p12: cannot be written: "),
        (["p12", "create", "--key", "ca.key", "--cert", "ca.pem", "--name", "n", "--out", ".",
          "--password-file", "pw"], 5, ".: cannot be written: "),
    ]:
        status, text = host.run(*arguments)
        checks.expect(f"{' '.join(arguments)} says why it refuses",
                      (status, text) == (expected, "") and words in host.error,
                      (status, text, host.error))
    _, text = host.run("json", "-", "--json", text='{"a":"x\\ny","b":[1,{}]}')
    checks.expect("json --json answers with one line", text.count("\n") == 1
                  and json.loads(text) == {"a": "x\ny", "b": [1, {}]}, text)
    schemes = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-."
    status, text = host.run("proxy", f"{schemes}://a.example/")
    checks.expect("a scheme may be of letters, digits and three signs", status == 0, host.error)
    for arguments, member in [(["url", "http://a.example"], "valid"), (["time", "0"], "result"),
                              (["proxy", "http://a.example/"], "decided")]:
        _, text = host.run("--json", *arguments)
        checks.expect(f"{arguments[0]} --json", member in json.loads(text), text)
    _, text = host.run("help", "exit-status")
    checks.expect("help tells the exit statuses", len(text.splitlines()) == 8, text)
    _, text = host.run("help", "p12", "create")
    checks.expect("help on a command mentions OpenSSL's -legacy", "-legacy" in text, text)
    check_own_texts(checks, host)
    (folder / "completion").write_text(host.run("help", "--bash-completion")[1])
    complete = subprocess.run(
        ["bash", "-c", "source ./completion; COMP_WORDS=(vexahost p12 create --ce); COMP_CWORD=3; "
                       "_vexahost; echo \"${COMPREPLY[@]}\""],
        cwd=folder, capture_output=True, text=True, check=False)
    checks.expect("bash completes an option", complete.stdout == "--cert\n", complete)
    page = host.run("help", "--man")[1]
    checks.expect("the manual page has commands and exit statuses",
                  ".SS ca issue" in page and ".SH EXIT STATUS" in page, page[:200])
    checks.expect("... what an option takes, and the date of the version",
                  "for server|client|ca|person" in page
                  and re.match(r"\.TH VEXAHOST 1 \d{4}-\d\d-\d\d ", page), page[:200])
    checks.expect("... and describes --help once", page.count("\\-\\-help") == 1, page)
    for options in ([], ["--quiet"], ["--trace", "1"], ["--module", "x"], ["--json", "--quiet"]):
        _, text = host.run(*options, "help", "ca", "issue")
        checks.expect("help on a command shows how to call it", "vexahost ca issue [" in text, text)


def check_own_texts(checks, host):
    """What the host says about itself stands in files word for word, so that no change slips in."""
    for arguments, name in [(["--man"], "manual.1"), (["--bash-completion"], "completion.bash"),
                            (["pkcs12"], "pkcs12.txt"), (["exit-status"], "exit-status.txt")]:
        status, text = host.run("help", *arguments)
        text = re.sub(r'^(\.TH VEXAHOST 1) \S+ "vexahost [0-9.]+"', r'\1 DATE "vexahost VERSION"', text)
        expected = (TEXTS / name).read_text(encoding="utf-8")
        difference = "\n".join(difflib.unified_diff(expected.splitlines(), text.splitlines(), name,
                                                    "said", lineterm="", n=0))
        checks.expect(f"help {arguments[0]} says what is in {name}", status == 0 and
                      text == expected, difference)
    checks.expect("help alone is what --help says", host.run("help") == host.run("--help"))


def check_texts_beyond_ascii(checks, host, folder):
    """Names, files and passwords that no code page holds, and texts that would reach the terminal."""
    openssl(folder, "pkcs12", "-export", "-inkey", "ca.key", "-in", "ca.pem", "-out", "Müller €.p12",
            "-passout", f"pass:{PASSWORD}")
    (folder / "marked").write_bytes(b"\xef\xbb\xbf" + PASSWORD.encode() + b"\r\n")
    status, text = host.run("ca", "issue", "--issuer", "Müller €.p12", "--issuer-password-file",
                            "marked", "--subject", "CN=Müller €,O=Orlind,C=DE", "--like", "jane.pem",
                            "--out", "ä.pem")
    checks.expect("ca issue takes an umlaut and a euro sign",
                  status == 0 and text == "issued  CN=Müller €,O=Orlind,C=DE\n", (status, text))
    _, text = openssl(folder, "x509", "-in", "ä.pem", "-noout", "-subject", "-nameopt",
                      "RFC2253,-esc_msb,utf8")
    checks.expect("... and OpenSSL reads them", "CN=Müller €" in text, text)
    status, text = host.run("certs", "ä.pem")
    checks.expect("... and certs shows them", "CN=Müller €" in text, text)
    (folder / "wide").write_bytes(b"\xff\xfe" + PASSWORD.encode("utf-16-le"))
    status, _ = host.run("p12", "open", "Müller €.p12", "--password-file", "wide")
    checks.expect("a password file in UTF-16 is refused", status == 4, status)
    openssl(folder, "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "evil.key", "-out",
            "evil.pem", "-subj", "/O=x\nyes     yes/CN=a\x1b[31mb")
    _, text = host.run("certs", "evil.pem")
    checks.expect("control characters in names stay harmless",
                  len(text.splitlines()) == 2 and "\x1b" not in text, repr(text))


def check_pkcs12(checks, host, folder):
    status, _ = host.run("p12", "create", "--key", "jane.key", "--cert", "jane.pem", "--cert",
                         "ca.pem", "--name", "Jane's key", "--out", "ours.p12",
                         "--password-file", "pw")
    checks.expect("p12 create writes a file", status == 0, status)
    status, text = openssl(folder, "pkcs12", "-legacy", "-in", "ours.p12", "-passin",
                           f"pass:{PASSWORD}", "-nodes")
    checks.expect("OpenSSL opens it", status == 0 and "PRIVATE KEY" in text, text[-300:])
    checks.expect("... with both certificates", text.count("BEGIN CERTIFICATE") == 2, text)
    checks.expect("... the friendly names", "friendlyName: Jane's key" in text
                  and "friendlyName: Test Root" in text, text)
    checks.expect("... and the local key id twice", text.count("localKeyID: 01") == 2, text)
    status, _ = host.run("p12", "open", "ours.p12", "--password-file", "pw", "--certs-out",
                         "chain.pem")
    checks.expect("p12 open writes the certificates", status == 0 and
                  (folder / "chain.pem").read_text() ==
                  (folder / "jane.pem").read_text() + (folder / "ca.pem").read_text(),
                  (folder / "chain.pem").read_text())
    nss = subprocess.run(["pk12util", "-l", "ours.p12", "-w", "pw"], cwd=folder,
                         capture_output=True, check=False)
    checks.expect("NSS opens it", nss.returncode == 0 and b"Test Root" in nss.stdout,
                  nss.stderr.decode(errors="replace"))

    variants = {
        "old.p12": ["-legacy", "-certfile", "ca.pem", "-passout", f"pass:{PASSWORD}"],
        "new.p12": ["-certfile", "ca.pem", "-passout", f"pass:{PASSWORD}"],
        "single.p12": ["-legacy", "-passout", f"pass:{PASSWORD}"],
        "nopassword.p12": ["-legacy", "-passout", "pass:"],
    }
    for name, options in variants.items():
        openssl(folder, "pkcs12", "-export", "-inkey", "jane.key", "-in", "jane.pem", "-out", name,
                *options)
        password = "empty" if name == "nopassword.p12" else "pw"
        status, text = host.run("p12", "open", name, "--password-file", password)
        count = 2 if "-certfile" in options else 1
        checks.expect(f"p12 open reads OpenSSL's {name}",
                      status == 0 and text.startswith("certificate  CN=Jane")
                      and text.count("certificate  ") == count
                      and "of the first certificate" in text, text)
    status, text = host.run("p12", "open", "ours.p12", "--password-file", "wrong")
    checks.expect("a wrong password gives status 4",
                  status == 4 and text == "" and "password is wrong" in host.error, host.error)
    cut = (folder / "ours.p12").read_bytes()
    (folder / "cut.p12").write_bytes(cut[: len(cut) // 2])
    status, _ = host.run("p12", "open", "cut.p12", "--password-file", "pw")
    checks.expect("a cut file gives status 3",
                  status == 3 and "cut short" in host.error, (status, host.error))
    damaged = bytearray(cut)
    damaged[len(cut) // 2] ^= 1
    (folder / "damaged.p12").write_bytes(bytes(damaged))
    status, _ = host.run("p12", "open", "damaged.p12", "--password-file", "pw")
    checks.expect("a damaged file gives status 4", status == 4, status)
    status, _ = host.run("p12", "open", "jane.key", "--password-file", "pw")
    checks.expect("a key in PEM is no PKCS#12 file",
                  status == 3 and "not a PKCS#12 file" in host.error, (status, host.error))
    openssl(folder, "x509", "-in", "jane.pem", "-outform", "DER", "-out", "jane.der")
    status, _ = host.run("p12", "open", "jane.der", "--password-file", "pw")
    checks.expect("... nor is a certificate in DER",
                  status == 3 and "not a PKCS#12 file" in host.error, (status, host.error))
    openssl(folder, "pkcs12", "-export", "-inkey", "jane.key", "-in", "jane.pem", "-nomac", "-out",
            "nomac.p12", "-passout", f"pass:{PASSWORD}")
    status, _ = host.run("p12", "open", "nomac.p12", "--password-file", "pw")
    checks.expect("a file without MAC is refused",
                  status == 3 and "no MAC" in host.error, (status, host.error))
    openssl(folder, "pkcs12", "-export", "-inkey", "jane.key", "-in", "jane.pem", "-keypbe",
            "CAMELLIA-128-CBC", "-out", "camellia.p12", "-passout", f"pass:{PASSWORD}")
    status, _ = host.run("p12", "open", "camellia.p12", "--password-file", "pw")
    checks.expect("an unknown algorithm gives status 6",
                  status == 6 and "algorithm" in host.error, (status, host.error))
    openssl(folder, "pkcs12", "-export", "-nokeys", "-in", "jane.pem", "-out", "nokey.p12",
            "-passout", f"pass:{PASSWORD}")
    status, _ = host.run("p12", "open", "nokey.p12", "--password-file", "pw")
    checks.expect("a file without key says so",
                  status == 3 and "holds no key" in host.error, (status, host.error))

    status, text = host.run("own", "--pse", "ours.p12", "--password-file", "pw")
    checks.expect("own lists the user's certificate", "subject  CN=Jane,O=Orlind,C=DE" in text, text)
    for command in (["own"], ["serve", "--port", "0"]):
        status, _ = host.run(*command, "--pse", "ours.p12", "--password-file", "wrong")
        checks.expect(f"{command[0]} says that the password is wrong", status == 4
                      and "ours.p12: the password is wrong" in host.error, (status, host.error))


def check_issuing(checks, host, folder):
    openssl(folder, "pkcs12", "-export", "-inkey", "ca.key", "-in", "ca.pem", "-out", "ca.p12",
            "-passout", f"pass:{PASSWORD}")
    for code, usage in [("0", "Digital Signature"), ("5", "Certificate Sign"),
                        ("18", "Digital Signature, Non Repudiation, Key Encipherment, "
                               "Data Encipherment")]:
        status, text = host.run("ca", "issue", "--issuer", "ca.p12", "--issuer-password-file", "pw",
                                "--subject", "CN=Bob,O=Orlind,C=DE", "--usage", code, "--like",
                                "jane.pem", "--out", "bob.pem")
        checks.expect(f"ca issue with usage {code}", status == 0, text)
        status, text = openssl(folder, "verify", "-CAfile", "ca.pem", "bob.pem")
        checks.expect("... OpenSSL accepts the signature", status == 0, text)
        _, text = openssl(folder, "x509", "-in", "bob.pem", "-noout", "-ext", "keyUsage")
        checks.expect("... with a critical key usage",
                      re.search(r"Key Usage: critical\n\s+" + re.escape(usage) + r"\n", text), text)
    status, _ = host.run("ca", "issue", "--issuer", "ca.p12", "--issuer-password-file", "pw",
                         "--subject", "CN=Bob", "--out", "lost.pem", "--p12-out",
                         "no-such-folder/bob.p12", "--p12-password-file", "pw")
    checks.expect("no certificate is left whose key could not be written",
                  status == 5 and not (folder / "lost.pem").exists(), (status, host.error))


def expected_answers(folder, pem):
    """encrypt, sign, client, CA, root and self-issued, by what OpenSSL says of the certificate."""
    (folder / "one.pem").write_text(pem)
    _, text = openssl(folder, "x509", "-in", "one.pem", "-noout", "-subject", "-issuer",
                      "-nameopt", "RFC2253", "-ext",
                      "keyUsage,extendedKeyUsage,basicConstraints")
    usage = re.search(r"X509v3 Key Usage:.*\n(.*)\n", text)
    extended = re.search(r"X509v3 Extended Key Usage:.*\n(.*)\n", text)
    constraints = re.search(r"X509v3 Basic Constraints:.*\n(.*)\n", text)
    same = (re.search(r"subject=(.*)", text).group(1) == re.search(r"issuer=(.*)", text).group(1))

    def allows(*flags):
        return usage is None or any(flag in usage.group(1) for flag in flags)

    is_ca = allows("Certificate Sign", "CRL Sign") and (
        constraints is None or "CA:TRUE" in constraints.group(1))
    return [
        allows("Key Encipherment", "Data Encipherment"),
        allows("Digital Signature", "Non Repudiation"),
        extended is not None and "TLS Web Client Authentication" in extended.group(1),
        is_ca,
        is_ca and same,
        same and not is_ca,
    ]


def check_bundle(checks, host, folder):
    bundle = CA_BUNDLE.read_text()
    pems = re.findall(r"-----BEGIN CERTIFICATE-----.*?-----END CERTIFICATE-----\n", bundle, re.S)
    (folder / "bundle.pem").write_text(bundle)
    status, text = host.run("certs", "bundle.pem")
    rows = text.splitlines()[1:]
    checks.expect(f"certs reads the machine's {len(pems)} authorities",
                  status == 0 and len(rows) == len(pems), f"{status}, {len(rows)} rows")
    wrong = []
    for pem, row in zip(pems, rows):
        answers = [row[start:end].strip() == "yes"
                   for start, end in [(0, 8), (8, 14), (14, 22), (22, 27), (27, 33), (33, 45)]]
        if answers != expected_answers(folder, pem):
            wrong.append(row)
    checks.expect("... and answers as OpenSSL does for each", not wrong, wrong[:3])


def check(checks, options):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        host = Host(options.command, folder)
        make_chain(folder)
        check_texts(checks, host)
        check_lists(checks, host)
        check_answers(checks, host, folder)
        check_command_line(checks, host, folder)
        check_texts_beyond_ascii(checks, host, folder)
        check_pkcs12(checks, host, folder)
        check_issuing(checks, host, folder)
        check_profiles(checks, host, folder)
        check_contents(checks, host, folder)
        check_keys(checks, host, folder)
        check_refusals(checks, host, folder)
        check_errors(checks, host, folder)
        check_bundle(checks, host, folder)
        secrets = [PASSWORD, "PRIVATE KEY"]
        checks.expect("no output shows a password or a key",
                      not any(secret in host.said for secret in secrets))


if __name__ == "__main__":
    run_checks(__doc__, check, COMMAND)
