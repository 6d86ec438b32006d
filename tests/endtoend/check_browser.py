#!/usr/bin/env python3
"""A browser's view of the endpoint: pages of other origins call it in headless Chromium.

check_browser.py [--report FILE] -- COMMAND...

COMMAND starts the host. The examples of docs/endpoint.md run in a page that may call; another page
may not; both are tried with the browser's own question for the local network permitted and denied.
Exit status 0: every check passed. FILE receives the counts.
"""

import http.server
import pathlib
import re
import ssl
import subprocess
import tempfile
import threading

from chromium import Chromium, Page, where_there_is_chromium
from endpoint import COMMAND, Host, run_checks

# Secure origins, as host patterns demand; the browser is told where these names are.
ALLOWED = "app.client.example"
REFUSED = "app.other.example"
DOCUMENT = pathlib.Path(__file__).parents[2] / "docs/endpoint.md"
PERMISSION = "loopback-network"


class PageServer:
    """Serves an empty page over TLS with a certificate made for it."""

    def __init__(self, folder):
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
             str(folder / "page.key"), "-out", str(folder / "page.pem"), "-subj", "/CN=page",
             "-days", "2", "-addext", f"subjectAltName=DNS:{ALLOWED},DNS:{REFUSED}"],
            check=True, capture_output=True)
        content = b"<!doctype html><title>a page</title>"

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                self.send_response(200)
                self.send_header("Content-Type", "text/html")
                self.send_header("Content-Length", str(len(content)))
                self.end_headers()
                self.wfile.write(content)

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(folder / "page.pem", folder / "page.key")
        self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def origin(self, name):
        return f"https://{name}:{self.port}"


def call(host, path, options="{}"):
    """A script: the status and text of an answer, or what fetch fails with."""
    return (f"fetch('http://127.0.0.1:{host.port}{path}', {options})"
            ".then(async a => a.status + ' ' + await a.text(), error => error.name)")


def examples(host):
    """The document's scripts, each with a console that keeps what it is told."""
    for code in re.findall(r"^```js\n(.*?)^```$", DOCUMENT.read_text(), re.M | re.S):
        code = code.replace("127.0.0.1:8420", f"127.0.0.1:{host.port}")
        yield f"""(async () => {{
          const told = [];
          const news = new Promise(go => setTimeout(go, 10000));
          let first;
          const heard = new Promise(go => first = go);
          const console = {{log: (...words) => {{ told.push(words.join(" ")); first(); }}}};
          {code}
          await Promise.race([heard, news]);
          return told.join("\\n");
        }})()"""


def check_pages(checks, host, browser, pages):
    origin = pages.origin(ALLOWED) + "/"
    first, second = examples(host)
    said = browser.run_in_page(origin, first)
    checks.expect("the document's first example says what it promises",
                  said == "port 8443\nnumbers [1,2]\nerror 400 the body is not a JSON object", said)
    said = browser.run_in_page(origin, second)
    checks.expect("... and so does the one with events", said == "changes 0", said)
    said = browser.run_in_page(origin, call(host, "/v1/echo", "{method: 'PUT', body: 'x'}"))
    checks.expect("a page of an allowed origin puts", said.startswith("200"), said)
    said = browser.run_in_page(origin, call(host, "/v1/nothing", "{method: 'DELETE'}"))
    checks.expect("... reads a 404 to something that needs a preflight", said.startswith("404"),
                  said)
    tabs = []
    for _ in range(6):  # as many connections as a browser opens to one host
        tabs.append(tab := Page(browser))
        tab.go(origin)
        said = tab.run(second)
        checks.expect("... in one more tab", said == "changes 0", said)
    said = tabs[-1].run(call(host, "/v1/status", "{signal: AbortSignal.timeout(10000)}"))
    checks.expect("... which leaves it the way for other requests", said.startswith("200"), said)
    for tab in tabs:
        tab.close()
    token = f"{{headers: {{Authorization: 'Bearer {host.token}'}}}}"
    said = browser.run_in_page(origin, call(host, "/v1/certificates", token))
    checks.expect("... and shows the token", said.startswith("200"), said)
    said = browser.run_in_page(origin, call(host, "/v1/json", "{method: 'POST', body: 'x'.repeat(2e6)}"))
    checks.expect("... and reads why a body is too large", said.startswith("413"), said)
    refused = pages.origin(REFUSED) + "/"
    for options in ("{}", "{method: 'POST', body: 'x'}", "{method: 'PUT', body: 'x'}"):
        said = browser.run_in_page(refused, call(host, "/v1/echo", options))
        checks.expect(f"a page of another origin is refused: {options}", said == "TypeError", said)
    said = browser.run_in_page(refused, call(host, "/v1/info", "{mode: 'no-cors'}"))
    checks.expect("... and reads nothing without CORS", said in ("TypeError", "0 "), said)
    # A name that was turned to this machine: to the browser the page and the endpoint are one.
    said = browser.run_in_page(f"http://evil.example:{host.port}/", "fetch('/v1/info').then("
                               "async a => a.status + ' ' + await a.text())")
    checks.expect("a rebound name gets nothing", said.startswith("421"), said)
    console = f"http://127.0.0.1:{host.port}/#token={host.token}"
    said = browser.run_in_page(console, "document.title + '|' + location.hash")
    checks.expect("the console shows itself and hides its token",
                  said and host.token not in said, said)


def check_permission(checks, host, folder, pages):
    """The page counts as one of the public Internet; the browser asks for the local network."""
    browser = Chromium(folder, f"--ip-address-space-overrides=127.0.0.1:{pages.port}=public",
                       "--enable-features=LocalNetworkAccessChecks")
    try:
        origin = pages.origin(ALLOWED)
        tell = (f"navigator.permissions.query({{name: '{PERMISSION}'}})"
                ".then(found => found.state, error => error.name)")
        for setting, expected in (("denied", "TypeError"), ("granted", "200")):
            browser.permit(origin, PERMISSION, setting)
            said = browser.run_in_page(origin + "/", tell)
            checks.expect(f"the permission can be asked for: {setting}", said == setting, said)
            said = browser.run_in_page(origin + "/", call(host, "/v1/status"))
            checks.expect(f"a call of a public page, {setting}: {expected}",
                          said.startswith(expected), said)
    except RuntimeError as error:
        checks.skipped += 1
        print(f"skipped: this Chromium does not know the permission ({error})")
    finally:
        browser.close()


def check(checks, options):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        pages = PageServer(folder)
        host = Host(options.command, "--allow-origin", f"https://*.client.example:{pages.port}")
        checks.expect("the host serves", host.wait_until_up(), host.lines)
        # Pages on this machine need no permission; here they are what is tested.
        browser = Chromium(folder / "profile", "--disable-features=LocalNetworkAccessChecks")
        try:
            check_pages(checks, host, browser, pages)
        finally:
            browser.close()
        check_permission(checks, host, folder / "other-profile", pages)
        checks.expect("the host ends cleanly", host.stop() == 0 and host.left_no_block(),
                      host.lines[-3:])


if __name__ == "__main__":
    run_checks(__doc__, where_there_is_chromium(check), COMMAND)
