#!/usr/bin/env python3
"""Starts `vexahost serve`, sends it real requests, shows the answers and stops it again.

check_endpoint.py [--report FILE] [--power SENDER...] [--descriptors] -- COMMAND...

COMMAND starts the host; "serve --port 0" is added to it. Exit status 0: every check passed, among
them that the host went down cleanly and had given back every block. FILE receives the counts. SENDER
tells the host of sleep and wake-up, as Windows would.
"""

import email.utils
import json
import os
import pathlib
import re
import select
import subprocess
import tempfile
import threading

from endpoint import (ALLOWED, BODY_LIMIT, COMMAND, HEAD_LIMIT, Answer, Host, Reader,
                      answers_already, argument, as_json, run_checks)
from limits import check_limits

DESCRIPTION = pathlib.Path(__file__).parent / "openapi.json"
PATTERN = "https://*.client.example"
DEVELOPMENT = "http://localhost:3000"
MOST_WAITING = 128


def show(line, answer):
    print(f"\n{line}\n  -> {answer.status} {answer.body.decode(errors='replace').strip()[:400]}")


def check_answers(checks, host):
    answer = host.ask("/v1/info")
    show("GET /v1/info", answer)
    checks.expect("/v1/info answers with JSON", answer.status == 200 and
                  answer.headers.get("content-type") == "application/json" and
                  as_json(answer.body)["module"] == "vexabase", answer)
    answer = host.ask("/v1/echo?x=1&name=a%20b", "Referer: r")
    show("GET /v1/echo?x=1&name=a%20b", answer)
    echoed = as_json(answer.body) or {}
    checks.expect("/v1/echo names the parameters",
                  echoed.get("parameters", {}).get("name") == "a b", echoed)
    most = "&".join(f"p{number}" for number in range(1000))
    checks.expect("... a thousand of them", len(
        as_json(host.ask("/v1/echo?" + most + "&p0").body)["parameters"]) == 1000)
    checks.expect("... and refuses more", as_json(host.ask("/v1/echo?more&" + most).body) ==
                  {"title": "Bad Request", "status": 400,
                   "detail": "there are more than 1000 parameters"})
    content = {"text": "grüße", "list": [1, True, None], "deep": {"x": -7}}
    answer = host.ask("POST /v1/json", body=json.dumps(content, ensure_ascii=False).encode())
    show("POST /v1/json", answer)
    checks.expect("/v1/json answers with the JSON that was sent",
                  as_json(answer.body) == content, answer)
    answer = host.ask("POST /v1/json", body=b'{"text": ')
    show("POST /v1/json with half a JSON text", answer)
    checks.expect("a body that is not JSON answers 400", answer.status == 400, answer)
    checks.expect("... with a problem as RFC 9457 writes it",
                  answer.headers.get("content-type") == "application/problem+json" and
                  as_json(answer.body) == {"title": "Bad Request", "status": 400,
                                           "detail": "the body is not a JSON object"}, answer)
    answer = host.ask("/v1/url?u=https://a.example.com/x&pattern=https://*.example.com")
    show("GET /v1/url", answer)
    checks.expect("/v1/url says that the pattern covers the URL",
                  as_json(answer.body).get("match") is True, answer)
    answer = host.ask("/v1/time?value=1&from=unix&to=filetime")
    show("GET /v1/time", answer)
    checks.expect("/v1/time converts", as_json(answer.body).get("result") == "116444736010000000",
                  answer)
    checks.expect("... and refuses what it cannot read",
                  [host.ask("/v1/time" + query).status for query in
                   ("", "?value=x", "?value=-1", "?value=1&from=x",
                    "?value=99999999999999999999")] == [400] * 5)
    check_problems(checks, host)
    check_whole_answers(checks, host)
    check_description(checks, host)


def check_problems(checks, host):
    """What is wrong is told in words, which pages may show."""
    formats = "(known: filetime, unix, unix-ms, unix-us, from-now, from-now-ms)"
    for line, status, title, detail in [
        ("/v1/time", 400, "Bad Request", "the parameter value is missing"),
        ("/v1/time?value=x", 400, "Bad Request", "the value is not a number: x"),
        ("/v1/time?value=1&from=x", 400, "Bad Request", f"no such format: x {formats}"),
        ("/v1/url", 400, "Bad Request", "the parameter u is missing"),
        ("/v1/proxy", 400, "Bad Request", "the parameter url is missing"),
        ("/v1/proxy?url=a.example", 400, "Bad Request",
         "not a URL with scheme and host: a.example"),
        ("/v1/status?wait=x", 400, "Bad Request", "the parameter wait is not a number of seconds"),
        ("/v1/status?wait=1&since=x", 400, "Bad Request",
         "the parameter since is not a number of changes"),
        ("POST /v1/certificates/inspect", 400, "Bad Request",
         "the body: holds something that is not a certificate"),
        ("/nothing", 404, "Not Found", "there is nothing at this path"),
        ("DELETE /v1/info", 405, "Method Not Allowed", "this method is not taken here"),
    ]:
        answer = host.ask(line, host.bearer())
        checks.expect(f"{line} says: {detail}", answer.status == status and
                      answer.headers.get("content-type") == "application/problem+json" and
                      as_json(answer.body) == {"title": title, "status": status, "detail": detail},
                      answer)
    answer = host.ask("/v1/certificates")
    checks.expect("without a token it says where that was shown",
                  (as_json(answer.body) or {}).get("detail") ==
                  "this needs the token that was shown at the start", answer)


def check_whole_answers(checks, host):
    for line, expected in [
        ("/v1/url?u=https://a.example.com:444/x&pattern=https://*.example.com",
         {"url": "https://a.example.com:444/x", "valid": True, "https": True, "port": 444,
          "originLength": 25, "pattern": "https://*.example.com", "match": False}),
        ("/v1/url?u=x",
         {"url": "x", "valid": False, "https": False, "port": 0, "originLength": -1}),
        ("/v1/time?value=116444736010000000",
         {"value": "116444736010000000", "from": "filetime", "to": "unix", "result": "1"}),
        ("PUT /v1/echo?a=b&c=",
         {"method": "PUT", "path": "/v1/echo", "protocol": "HTTP/1.1",
          "parameters": {"a": "b", "c": ""}, "headers": {"Origin": ALLOWED, "Referer": "r"},
          "bodyLength": 2, "body": "hi"}),
        ("/v1/echo?&b=1&c&b=2&=x",
         {"method": "GET", "path": "/v1/echo", "protocol": "HTTP/1.1",
          "parameters": {"b": "2", "c": ""}, "headers": {"Origin": ALLOWED, "Referer": "r"},
          "bodyLength": 0}),
        ("/v1/echo?%E4=%FF&%c3%a4=%e2%82%ac",
         {"method": "GET", "path": "/v1/echo", "protocol": "HTTP/1.1",
          "parameters": {"\ufffd": "\ufffd", "ä": "€"},
          "headers": {"Origin": ALLOWED, "Referer": "r"}, "bodyLength": 0}),
    ]:
        body = b"hi" if line.startswith("PUT") else None
        answer = host.ask(line, "Referer: r", f"Origin: {ALLOWED}", body=body)
        checks.expect(f"{line} answers this and nothing more", answer.status == 200 and
                      as_json(answer.body) == expected, answer)


def check_description(checks, host):
    answer = host.ask("/v1/openapi.json")
    description = as_json(answer.body) or {}
    checks.expect("/v1/openapi.json is a description in OpenAPI 3.1",
                  description.get("openapi") == "3.1.0" and "/v1/proxy" in description["paths"],
                  answer.body[:300])
    description_text = answer.body.replace(f":{host.port}".encode(), b":PORT")
    checks.expect("... word for word that of openapi.json",
                  as_json(description_text) == json.loads(DESCRIPTION.read_text(encoding="utf-8")),
                  description_text)
    page = pathlib.Path(__file__).parents[2] / "docs/endpoint.md"
    if page.exists():
        text = page.read_text()
        missing = [path for path in description["paths"] if f"| `{path}` |" not in text]
        checks.expect("... of every path that docs/endpoint.md names", not missing, missing)
    for path, operations in description["paths"].items():
        methods = {name.upper() for name in operations} | {"OPTIONS"}
        answer = host.ask(f"OPTIONS {path}", f"Origin: {ALLOWED}",
                          "Access-Control-Request-Method: POST")
        told = set(answer.headers.get("access-control-allow-methods", "").split(", "))
        checks.expect(f"a preflight for {path} names its methods", told == methods, told)
        if "delete" not in operations:
            answer = host.ask(f"DELETE {path}")
            told = set(answer.headers.get("allow", "").split(", "))
            checks.expect(f"405 for {path} names them, too",
                          answer.status == 405 and told == methods, answer)


def check_page(checks, host):
    answer = host.ask("/")
    policy = answer.headers.get("content-security-policy", "")
    checks.expect("/ is a page with a strict policy",
                  answer.status == 200 and b"<!doctype html>" in answer.body.lower() and
                  re.fullmatch(r"default-src 'none'; script-src 'nonce-([\w-]{22})'; style-src "
                               r"'nonce-\1'; img-src data:; connect-src 'self'; base-uri 'none'; "
                               r"form-action 'none'; frame-ancestors 'none'", policy), policy)
    checks.expect("... in which every nonce was filled in", b"@NONCE@" not in answer.body)
    checks.expect("... with a new nonce each time",
                  policy != host.ask("/").headers.get("content-security-policy"))


def check_token(checks, host, certificate):
    for path in ("/v1/certificates", "/v1/proxy?url=https://a.example/"):
        answers = [host.ask(path), host.ask(path, "Authorization: Bearer x"),
                   host.ask(path, "Authorization: Bearer " + "x" * len(host.token)),
                   host.ask(path, f"Origin: {ALLOWED}")]
        checks.expect(f"{path} needs the token", [a.status for a in answers] == [401] * 4, answers)
        checks.expect("... and says so", answers[0].headers.get("www-authenticate") == "Bearer")
    answer = host.ask("/v1/proxy?url=https://a.example/", host.bearer())
    show("GET /v1/proxy?url=https://a.example/", answer)
    decision = as_json(answer.body) or {}
    checks.expect("/v1/proxy decides, and tells why",
                  decision.get("decision") in ("proxy", "direct", "none") and
                  any("https://a.example/" in line for line in decision.get("why", [])) and
                  not any(line.startswith("{") for line in decision["why"]), answer)
    answer = host.ask("/v1/certificates", host.bearer())
    show("GET /v1/certificates", answer)
    own = (as_json(answer.body) or {}).get("certificates", [])
    name = "CN=Jane,O=Orlind,C=DE"
    jane = {"subject": name, "issuer": name, "uses": {
        "encrypt": True, "sign": True, "client": False, "ca": True, "root": True,
        "selfIssued": False}}
    checks.expect("/v1/certificates shows the user's own", own == [jane], own)
    for name, body in (("PEM", certificate.read_bytes()), ("DER", subprocess.run(
            ["openssl", "x509", "-in", certificate, "-outform", "DER"], capture_output=True,
            check=True).stdout)):
        answer = host.ask("POST /v1/certificates/inspect", body=body)
        found = (as_json(answer.body) or {}).get("certificates", [])
        checks.expect(f"/v1/certificates/inspect reads {name}",
                      found == [jane], answer)
    answer = host.ask("POST /v1/certificates/inspect", body=b"nonsense")
    checks.expect("... and refuses what is no certificate", answer.status == 400, answer)


def check_hosts(checks, host):
    port = host.port
    for name in (f"127.0.0.1:{port}", f"localhost:{port}", f"[::1]:{port}", f"LocalHost:{port}"):
        checks.expect(f"Host: {name} is served", host.ask("/v1/info", host=name).status == 200)
    for name in (f"evil.example:{port}", "localhost", f"localhost:{port}0", f"x@localhost:{port}"):
        checks.expect(f"Host: {name} is misdirected", host.ask("/v1/info", host=name).status == 421)
    checks.expect("a missing Host is an error", host.ask("/v1/info", host="").status == 400)
    checks.expect("two of them, too", host.ask("/v1/info", f"Host: {host.name()}").status == 400)
    checks.expect("[::1] answers", host.ask("/v1/info", address="::1").status == 200)
    for site, status in (("cross-site", 403), ("same-site", 403), ("same-origin", 200),
                         ("none", 200)):
        checks.expect(f"Sec-Fetch-Site: {site} without an origin answers {status}",
                      host.ask("/v1/info", f"Sec-Fetch-Site: {site}").status == status)
    checks.expect("... with an allowed origin 200",
                  host.ask("/v1/info", "Sec-Fetch-Site: cross-site",
                           f"Origin: {ALLOWED}").status == 200)


def check_origins(checks, host):
    for origin in (ALLOWED, DEVELOPMENT, f"http://localhost:{host.port}"):
        answer = host.ask("/v1/info", f"Origin: {origin}")
        checks.expect(f"{origin} may call", answer.status == 200 and
                      answer.headers.get("access-control-allow-origin") == origin, answer)
    for origin in ("https://evil.example", "null", "https://evil@x.client.example",
                   "https://x.client.example:0443", "https://x.client.example:443x",
                   "https://evil#.client.example", "http://localhost:3001"):
        answer = host.ask("/v1/info", f"Origin: {origin}")
        checks.expect(f"{origin} may not", answer.status == 403 and
                      answer.headers.get("vary") == "Origin" and
                      "access-control-allow-origin" not in answer.headers, answer)
    answer = host.ask("OPTIONS /v1/echo", f"Origin: {ALLOWED}",
                      "Access-Control-Request-Method: PUT",
                      "Access-Control-Request-Headers: content-type,x-mine",
                      "Access-Control-Request-Private-Network: true")
    checks.expect("a preflight for /v1/echo is answered as one", answer.status == 204 and
                  "PUT" in answer.headers.get("access-control-allow-methods", "") and
                  answer.headers.get("access-control-allow-headers") == "content-type,x-mine" and
                  answer.headers.get("access-control-allow-private-network") == "true" and
                  answer.headers.get("access-control-allow-origin") == ALLOWED, answer)
    checks.expect("... without a length", "content-length" not in answer.headers)
    answer = host.ask("OPTIONS /v1/echo")
    checks.expect("OPTIONS that is no preflight is echoed",
                  (as_json(answer.body) or {}).get("method") == "OPTIONS", answer)


def check_framing(checks, host):
    line = "POST /v1/echo HTTP/1.1"
    origin = f"Origin: {ALLOWED}"

    def refused(what, status, request, readable=True):
        answer = host.send(request)
        checks.expect(f"{what}: {status}", answer.status == status, answer)
        if readable:
            checks.expect("... and an allowed page can read it",
                          answer.headers.get("access-control-allow-origin") == ALLOWED, answer)

    refused("one word", 400, b"NONSENSE\r\n\r\n", readable=False)
    refused("TLS", 400, b"\x16\x03\x01\x02\x00", readable=False)
    refused("a header without a name", 400, host.head(line, origin, ": x"))
    for length in ("-1", "12abc", "5, 5", "", "0x5"):
        refused(f'length "{length}"', 400, host.head(line, origin, f"Content-Length: {length}"))
    refused("two lengths", 400, host.head(line, origin, "Content-Length: 5", "Content-Length: 5"))
    refused("an oversized body, before it comes", 413,
            host.head(line, origin, f"Content-Length: {BODY_LIMIT + 1}"))
    refused("chunks", 501, host.head(line, origin, "Transfer-Encoding: chunked"))
    refused("chunks and a length", 400,
            host.head(line, origin, "Transfer-Encoding: chunked", "Content-Length: 5"))
    refused("HTTP/2.0", 505, host.head("GET / HTTP/2.0", origin), readable=False)
    refused("an unknown method", 501, host.head("PATCH /v1/echo HTTP/1.1", origin))
    answer = host.ask("PATCH /v1/echo")
    checks.expect("... is called so", (as_json(answer.body) or {}).get("detail") ==
                  "this method is not known", answer)
    refused("a header block over the limit", 431,
            host.head("GET /v1/info HTTP/1.1", origin)[:-2] + b"X: " + b"a" * HEAD_LIMIT)
    long = host.head("GET /v1/info HTTP/1.1", "Cookie: " + "c" * 20000)
    with host.connect() as connection:
        for start in range(0, len(long), 3000):
            connection.sendall(long[start : start + 3000])
            threading.Event().wait(0.01)  # so that TCP cuts it there
        checks.expect("a long header line may come in pieces",
                      Reader(connection).answer().status == 200)
    with host.connect() as connection:
        reader = Reader(connection)
        connection.sendall(host.head(line, "Content-Length: 5", "Expect: 100-continue"))
        checks.expect("Expect: 100-continue is answered",
                      reader.until(b"\r\n\r\n") == b"HTTP/1.1 100 Continue")
        connection.sendall(b"hello")
        checks.expect("... and so is what follows",
                      (as_json(reader.answer().body) or {}).get("body") == "hello")
        connection.sendall(host.head(line, "Content-Length: 5", "Expect: 100-continue"))
        checks.expect("... each time", reader.head()[0] == 100)
        connection.sendall(b"h")
        connection.sendall(b"ello" + host.head(line, "Content-Length: 5", "Expect: 100-continue") +
                           b"there")
        told = [(as_json(reader.answer().body) or {}).get("body") for _ in range(2)]
        checks.expect("... unless the body is there already", told == ["hello", "there"], told)
    with host.connect() as connection:
        connection.sendall(host.head("POST /v1/echo HTTP/1.0", "Content-Length: 5",
                                     "Expect: 100-continue"))
        connection.sendall(b"hello")
        answer = Reader(connection).answer()
        checks.expect("... or the client speaks HTTP/1.0", answer.status == 200, answer)
    body = b"x" * BODY_LIMIT
    answer = host.ask("POST /v1/echo", body=body)
    checks.expect("a body of the largest size is taken",
                  (as_json(answer.body) or {}).get("bodyLength") == BODY_LIMIT, answer.status)
    answer = host.send(host.head(f"GET http://{host.name()}/v1/echo?a=b HTTP/1.1"))
    checks.expect("a target in absolute form is understood",
                  (as_json(answer.body) or {}).get("parameters") == {"a": "b"}, answer)
    answer = host.send(host.head(f"POST http://{host.name()}/v1/echo?a=b HTTP/1.1",
                                 "Content-Length: 5") + b"hello")
    told = as_json(answer.body) or {}
    checks.expect("... also with a body", (told.get("path"), told.get("body"), told.get("protocol"))
                  == ("/v1/echo", "hello", "HTTP/1.1"), answer)


def check_keep_alive(checks, host):
    with host.connect() as connection:
        reader = Reader(connection)
        for number in range(50):
            connection.sendall(host.head(f"GET /v1/echo?n={number} HTTP/1.1"))
            answer = reader.answer()
            if answer.status != 200 or as_json(answer.body)["parameters"]["n"] != str(number):
                break
        checks.expect("a connection serves request after request", number == 49, answer)
        connection.sendall(b"".join(host.head(f"GET /v1/echo?n={n} HTTP/1.1") for n in range(100)))
        numbers = [(as_json(reader.answer().body) or {}).get("parameters", {}).get("n")
                   for _ in range(100)]
        checks.expect("pipelined requests are answered in order",
                      numbers == [str(n) for n in range(100)], numbers)
        connection.sendall(host.head("HEAD /nothing HTTP/1.1") +
                           host.head("HEAD /v1/info HTTP/1.1") +
                           host.head("GET /v1/info HTTP/1.1", "Connection: close"))
        checks.expect("HEAD is told what is wrong by the status alone",
                      reader.answer(to_head=True).status == 404)
        head = reader.answer(to_head=True)
        answer = reader.answer()
        checks.expect("HEAD tells the length and nothing more", head.status == 200 and
                      int(head.headers["content-length"]) == len(answer.body), head)
        checks.expect("Connection: close ends it", reader.is_at_end() and
                      answer.headers.get("connection") == "close")
    with host.connect() as connection:
        reader = Reader(connection)
        connection.sendall(host.head("GET /v1/info HTTP/1.0", "Connection: keep-alive") +
                           host.head("GET /v1/info HTTP/1.0"))
        checks.expect("HTTP/1.0 stays when asked to",
                      reader.answer().headers.get("connection") == "keep-alive" and
                      reader.answer().status == 200 and reader.is_at_end())
    with host.connect() as connection:
        reader = Reader(connection)
        origin = f"Origin: {ALLOWED}"
        connection.sendall(host.head("GET /v1/info HTTP/1.1", origin) +
                           host.head("GET /v1/info HTTP/1.1"))
        told = [reader.answer().headers.get("access-control-allow-origin") for _ in range(2)]
        checks.expect("each request has its own origin", told == [ALLOWED, None], told)
    with host.connect() as connection:
        reader = Reader(connection)
        connection.sendall(host.head("GET /v1/info HTTP/1.1", origin) + b"\x16\x03\x01")
        told = [reader.answer().headers.get("access-control-allow-origin") for _ in range(2)]
        checks.expect("... also one that cannot be read", told == [ALLOWED, None], told)
    with host.connect() as connection:
        reader = Reader(connection)
        connection.sendall(host.head("GET /v1/info HTTP/1.1", "Connection: close"))
        reader.answer()
        checks.expect("the last answer ends what the host says", reader.is_at_end())
        try:
            for _ in range(3):
                connection.sendall(b"more")  # fails where nobody reads any more
            listens = True
        except OSError:
            listens = False
        checks.expect("... but not what it hears", listens)
    with host.connect() as connection:
        reader = Reader(connection)
        connection.sendall(host.head("POST /v1/json HTTP/1.1", "Content-Length: 1") + b"x" +
                           host.head("GET /v1/info HTTP/1.1"))
        checks.expect("a request that fails leaves the connection",
                      [reader.answer().status, reader.answer().status] == [400, 200])


def check_log(checks, host, log):
    """Each answer is one line, which is there before the answer is."""
    for request, words in [
        (host.head("GET /v1/echo?log=1 HTTP/1.1", f"Origin: {ALLOWED}", "Connection: close"),
         f"GET /v1/echo?log=1 {ALLOWED}"),
        (host.head("GET /nothing HTTP/1.0"), "GET /nothing -"),
        (b"NONSENSE\r\n\r\n", "- - -"),
    ]:
        with host.connect() as connection:
            client = "{}:{}".format(*connection.getsockname())
            connection.sendall(request)
            answer = b""
            while piece := connection.recv(65536):
                answer += piece
        status = answer.split(b" ")[1].decode()
        line = log.read_text().splitlines()[-1]
        checks.expect(f"the log tells of {words}", re.fullmatch(
            r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z " + re.escape(f"{client} {status} {len(answer)} ")
            + r"\d+\.\d{3}ms " + re.escape(words), line), (line, answer))


def check_common_headers(checks, host):
    common = {"cache-control": "no-store", "x-content-type-options": "nosniff", "vary": "Origin",
              "cross-origin-resource-policy": "same-origin"}
    as_page = {"access-control-allow-origin": ALLOWED}
    preflight = {"access-control-allow-methods": "GET, HEAD, OPTIONS",
                 "access-control-max-age": "600"}
    origin = f"Origin: {ALLOWED}"
    for what, answer, status, more in [
        ("an answer", host.ask("/v1/info"), 200, {"content-type": "application/json"}),
        ("a page's answer", host.ask("/v1/info", origin), 200,
         {"content-type": "application/json"} | as_page),
        ("the console", host.ask("/"), 200,
         {"content-type": "text/html; charset=utf-8", "referrer-policy": "no-referrer"}),
        ("OPTIONS", host.ask("OPTIONS /v1/info"), 204, {"allow": "GET, HEAD, OPTIONS"}),
        ("OPTIONS *", host.ask("OPTIONS *"), 204,
         {"allow": "GET, HEAD, POST, PUT, DELETE, TRACE, OPTIONS"}),
        ("a preflight", host.ask("OPTIONS /v1/info", origin, "Access-Control-Request-Method: GET"),
         204, preflight | as_page),
        ("404", host.ask("/nothing"), 404, {}),
        ("405", host.ask("DELETE /v1/info"), 405, {"allow": "GET, HEAD, OPTIONS"}),
        ("401", host.ask("/v1/certificates"), 401, {"www-authenticate": "Bearer"}),
        ("what cannot be read", host.send(b"NONSENSE\r\n\r\n"), 400, {"connection": "close"}),
    ]:
        expected = common | more
        if status >= 400:
            expected["content-type"] = "application/problem+json"
        headers = dict(answer.headers)
        date = headers.pop("date", "")
        length = headers.pop("content-length", None)
        headers.pop("content-security-policy", None)
        checks.expect(f"{what} has these headers and no others",
                      (answer.status, headers) == (status, expected), answer)
        checks.expect("... a date", date.endswith(" GMT") and
                      email.utils.parsedate_to_datetime(date), date)
        checks.expect("... and a length, unless it is 204",
                      (length is None) == (status == 204), length)


def check_waiting(checks, host):
    answer = host.ask("/v1/status")
    changes = (as_json(answer.body) or {}).get("changes")
    checks.expect("/v1/status tells the changes", isinstance(changes, int), answer)
    answer = host.ask("/v1/status?wait=1")
    show("GET /v1/status?wait=1", answer)
    checks.expect("a long poll is answered when its time is up",
                  isinstance((as_json(answer.body) or {}).get("changes"), int), answer)
    answer = host.ask(f"/v1/status?wait=60&since={changes + 1}")
    checks.expect("... and at once when the number is another one", answer.status == 200, answer)
    answer = host.ask("HEAD /v1/events")
    checks.expect("HEAD /v1/events is answered at once", answer.status == 200 and
                  answer.headers.get("content-type") == "text/event-stream", answer)
    poll = host.head("GET /v1/status?wait=60 HTTP/1.1", f"Origin: {ALLOWED}")
    waiting = [host.connect() for _ in range(MOST_WAITING + 1)]
    for connection in waiting:
        connection.sendall(poll)
    answers = answers_already(waiting)
    checks.expect("polls have a limit of their own", answers == [503], answers)
    answer = host.ask("/v1/status?wait=60")
    checks.expect("... of which the next one is told", answer.status == 503 and
                  answer.headers.get("retry-after") == "1" and
                  (as_json(answer.body) or {}).get("detail") ==
                  "too many wait already; try again", answer)
    checks.expect("... beside which others are answered", host.ask("/v1/info").status == 200)
    for connection in waiting:
        connection.close()
    left = [host.ask("/v1/status?wait=1").status for _ in range(3)]
    checks.expect("polls that were left make room", left[-1] == 200, left)
    again = [host.connect() for _ in range(MOST_WAITING // 2 + 1)]
    for connection in again:
        connection.sendall(host.head("GET /v1/status?wait=1 HTTP/1.1") * 2)
    readers = [Reader(connection) for connection in again]
    answers = {reader.answer().status for reader in readers for _ in range(2)}
    checks.expect("... and those that are over do", answers == {200}, answers)
    for connection in again:
        connection.close()
    with host.connect() as connection:
        reader = Reader(connection)
        connection.sendall(host.head("GET /v1/events HTTP/1.1", f"Origin: {ALLOWED}"))
        status, headers = reader.head()
        block = reader.until(b"\n\n").decode().splitlines()
        data = as_json("".join(line.removeprefix("data: ") for line in block[1:]))
        show("GET /v1/events", Answer(status, headers, "\n".join(block).encode()))
        checks.expect("/v1/events is a stream of events", status == 200 and
                      headers.get("content-type") == "text/event-stream" and
                      "content-length" not in headers and
                      headers.get("access-control-allow-origin") == ALLOWED, headers)
        checks.expect("... whose first one tells the state", data ==
                      {"changes": changes, "cause": data["cause"]} and block[0] == f"id: {changes}"
                      and all(line.startswith("data: ") for line in block[1:]), block)


def check_crowd(checks, host, clients=8, requests=20):
    """Several clients at once, each with its own text."""
    wrong = []

    def client(number):
        for turn in range(requests):
            text = f"client{number}turn{turn}"
            answer = host.ask(f"/v1/echo?text={text}")
            if answer.status != 200 or text.encode() not in answer.body:
                wrong.append((text, answer))

    threads = [threading.Thread(target=client, args=(number,)) for number in range(clients)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    checks.expect(f"{clients} clients at once each get their own answers", not wrong, wrong[:1])


def check_starts(checks, command, host, folder):
    for pattern in ("nonsense", "*", "", "http://app.example:3000", "https://*.com"):
        failed = Host(command, "--allow-origin", pattern)
        status = failed.wait()
        checks.expect(f'--allow-origin "{pattern}" is an error that is explained',
                      status == 2 and any("can never match" in line for line in failed.lines),
                      (status, failed.lines))
    failed = Host(command, port=host.port)
    status = failed.wait()
    checks.expect("a port in use is an error that is explained", status == 7 and
                  any("another program has it; --port 0" in line for line in failed.lines),
                  failed.lines)
    taken = folder / "taken"
    taken.mkdir()
    failed = Host(command, "--ready-file", str(taken))
    status = failed.wait()
    checks.expect("a ready file that cannot be written is one, too, and leaves nothing behind",
                  status == 5 and not list(folder.glob("taken.*")) and
                  any("taken: cannot be written" in line for line in failed.lines), failed.lines)


def check_printed_log(checks, command):
    host = Host(command, "--log", "-")
    host.wait_until_up()
    status = host.ask("/v1/echo?log=-").status
    host.stop()
    lines = [line for line in host.lines if line.endswith(" GET /v1/echo?log=- -")]
    checks.expect("the log may go to the output", status == 200 and len(lines) == 1 and
                  " 200 " in lines[0] and host.left_no_block(), host.lines)


def check_end(checks, host, folder):
    """Ctrl-C while clients ask as fast as they can."""
    stopped = threading.Event()

    def client():
        while not stopped.is_set():
            host.ask("/v1/info")

    threads = [threading.Thread(target=client) for _ in range(4)]
    for thread in threads:
        thread.start()
    streams = [host.connect() for _ in range(5)]
    for stream in streams:
        stream.sendall(host.head("GET /v1/events HTTP/1.1"))
        Reader(stream).head()
    status = host.stop()
    stopped.set()
    for thread in threads:
        thread.join()
    checks.expect("Ctrl-C under load ends the host with status 0", status == 0, status)
    checks.expect("the closing report says that no block is left", host.left_no_block(),
                  host.lines[-5:])
    checks.expect("the ready file is gone", not (folder / "ready").exists())
    log = (folder / "log").read_text().splitlines()
    checks.expect("the last lines of the log tell of the streams", all(
        re.search(r" 200 \d+ \d+\.\d{3}ms GET /v1/events -$", line) for line in
        [line for line in log if "/v1/events" in line][-5:]), log[-9:])
    checks.expect("the log has lines of eight words", len(log) > 100 and
                  all(len(line.split(" ")) == 8 for line in log), log[:3])
    checks.expect("... and no token", host.token not in "\n".join(log))


def check_power(checks, host, sender):
    def told(code):
        return subprocess.run([*sender, str(code)], check=False).returncode == 0

    with host.connect() as connection:
        connection.sendall(host.head("GET /v1/events HTTP/1.1"))
        events = Reader(connection)
        events.head()
        first = events.event()
        checks.expect("the host takes what Windows tells of power", told(4) and told(7))
        slept = events.event()
        checks.expect("a page learns that the machine goes to sleep",
                      slept == {"changes": first["changes"] + 1, "cause": "suspend"}, slept)
        checks.expect("... and that it is awake again", told(18))
        woken = events.event()
        checks.expect("... once", woken == {"changes": first["changes"] + 2, "cause": "resume"},
                      woken)


def processor_seconds(process):
    with open(f"/proc/{process.pid}/stat") as file:
        fields = file.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def check_descriptors(checks, command):
    """More clients than the host may have descriptors."""
    host = Host(["prlimit", "--nofile=40:40", *command])
    checks.expect("a host with few descriptors serves", host.wait_until_up(), host.lines)
    crowd = [host.connect() for _ in range(60)]
    polls = host.head("GET /v1/status?wait=60 HTTP/1.1")
    for connection in crowd:
        connection.sendall(polls)
    told = host.until("no room for more connections")
    before = processor_seconds(host.process)
    select.select([], [], [], 1.0)
    spent = processor_seconds(host.process) - before
    checks.expect("out of descriptors it waits instead of spinning", told and spent < 0.5, spent)
    for connection in crowd:
        connection.close()
    checks.expect("... and serves again when they are back", host.ask("/v1/info").status == 200)
    checks.expect("... and ends cleanly", host.stop() == 0 and host.left_no_block(), host.lines)
    complaints = sum("no room for more connections" in line for line in host.lines)
    checks.expect("... and complained once", complaints == 1, host.lines)


def make_own_certificate(folder):
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
                    "jane.key", "-out", "jane.pem", "-subj", "/C=DE/O=Orlind/CN=Jane", "-days",
                    "20"], cwd=folder, check=True, capture_output=True)
    subprocess.run(["openssl", "pkcs12", "-export", "-legacy", "-inkey", "jane.key", "-in",
                    "jane.pem", "-out", "jane.p12", "-passout", "pass:pw"], cwd=folder, check=True,
                   capture_output=True)
    (folder / "pw").write_text("pw\n")


def check_host(checks, options, folder):
    make_own_certificate(folder)
    host = Host(options.command, "--allow-origin", PATTERN, "--allow-origin", DEVELOPMENT,
                "--log", str(folder / "log"), "--ready-file", str(folder / "ready"),
                "--pse", str(folder / "jane.p12"), "--password-file", str(folder / "pw"))
    up = host.wait_until_up()
    checks.expect(f"the host serves on 127.0.0.1:{host.port}", up, host.lines)
    if not up:
        return host
    ready = as_json((folder / "ready").read_text()) or {}
    checks.expect("the ready file names the port and the URL", ready == {
        "port": host.port, "url": f"http://127.0.0.1:{host.port}"} and
        not (folder / "ready.part").exists(), ready)
    check_answers(checks, host)
    check_page(checks, host)
    check_token(checks, host, folder / "jane.pem")
    check_hosts(checks, host)
    check_origins(checks, host)
    check_framing(checks, host)
    check_keep_alive(checks, host)
    check_log(checks, host, folder / "log")
    check_common_headers(checks, host)
    check_waiting(checks, host)
    if options.power:
        check_power(checks, host, options.power)
    check_crowd(checks, host)
    check_limits(checks, host)
    if options.descriptors:
        check_descriptors(checks, options.command)
    check_starts(checks, options.command, host, folder)
    check_printed_log(checks, options.command)
    checks.expect("after all that, /v1/info still answers", host.ask("/v1/info").status == 200)
    check_end(checks, host, folder)
    return host


def check(checks, options):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        host = check_host(checks, options, pathlib.Path(name))
        if host.process.poll() is None:
            host.stop()
    print("\nwhat the host said:")
    for line in host.lines[-40 if checks.failed else -8 :]:
        print(f"  {line}")


if __name__ == "__main__":
    run_checks(__doc__, check, argument("--power", nargs="+", metavar="SENDER"),
               argument("--descriptors", action="store_true", help="COMMAND is a program of this "
                        "system: see what it does when it may open no more files"), COMMAND)
