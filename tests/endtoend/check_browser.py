#!/usr/bin/env python3
"""A browser's view of the endpoint: pages of another origin fetch it in headless Chromium.

check_browser.py [--report FILE] -- COMMAND...

COMMAND starts the host; "serve ..." is added to it. One page may call, another may not, and a third
needs a preflight. Exit status 0: every check passed. FILE receives the counts.
"""

import argparse
import http.server
import json
import pathlib
import re
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time

# Secure origins, as host patterns demand; the browser is told where these names are.
ALLOWED = "app.client.example"
REFUSED = "app.other.example"
PATTERN = "https://*.client.example"

PAGE = """<!doctype html><title>waiting</title><pre id="answer"></pre><script>
(async () => {
  const say = text => { document.getElementById("answer").textContent += text + "\\n"; };
  const ask = async (name, path, options) => {
    try {
      const answer = await fetch("http://127.0.0.1:%(port)d" + path, options);
      say(name + " " + answer.status + " " + JSON.stringify(await answer.json()));
    } catch (error) {
      say(name + " blocked");
    }
  };
  await ask("get", "/v1/echo?from=page", {});
  await ask("post", "/v1/json", {method: "POST", headers: {"Content-Type": "application/json"},
                                 body: JSON.stringify({hello: "browser"})});
  say("done");
})();
</script>"""


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


class PageServer:
    """Serves the page over TLS with a certificate made for it."""

    def __init__(self, folder, endpoint_port):
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
             str(folder / "page.key"), "-out", str(folder / "page.pem"), "-subj", "/CN=page",
             "-days", "2", "-addext", f"subjectAltName=DNS:{ALLOWED},DNS:{REFUSED}"],
            check=True, capture_output=True)
        content = (PAGE % {"port": endpoint_port}).encode()

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                self.send_response(200)
                self.send_header("Content-Type", "text/html")
                self.send_header("Content-Length", str(len(content)))
                self.end_headers()
                self.wfile.write(content)

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", free_port()), Handler)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(folder / "page.pem", folder / "page.key")
        self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()


def what_the_page_says(folder, host, port):
    profile = folder / f"profile-{host}"
    command = [
        "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
        "--no-first-run", "--disable-background-networking", "--disable-component-update",
        "--disable-sync", "--ignore-certificate-errors", f"--user-data-dir={profile}",
        f"--host-resolver-rules=MAP *.example 127.0.0.1",
        # Calls from a page to the machine itself are what is tested here, not the browser's prompt.
        "--disable-features=LocalNetworkAccessChecks,BlockInsecurePrivateNetworkRequests",
        "--virtual-time-budget=10000", "--dump-dom", f"https://{host}:{port}/",
    ]
    result = subprocess.run(command, capture_output=True, timeout=120, check=False)
    found = re.search(r'<pre id="answer">(.*?)</pre>', result.stdout.decode(errors="replace"), re.S)
    return found.group(1) if found else result.stderr.decode(errors="replace")[-500:]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--report", type=pathlib.Path)
    parser.add_argument("command", nargs="+")
    arguments = parser.parse_args()
    counts = {"passed": 0, "failed": 0, "skipped": 0}

    def expect(what, good, detail):
        counts["passed" if good else "failed"] += 1
        print(f"ok      {what}" if good else f"FAILED  {what}: {detail}")

    if shutil.which("chromium") is None:
        counts["skipped"] = 1
        print("skipped: there is no Chromium here")
    else:
        check(arguments.command, expect)
    print(f"{counts['passed']} passed, {counts['failed']} failed")
    if arguments.report:
        arguments.report.write_text(json.dumps(counts))
    sys.exit(1 if counts["failed"] else 0)


def check(command, expect):
    port = free_port()
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        pages = PageServer(folder, port)
        origin = f"{PATTERN}:{pages.port}"
        host = subprocess.Popen(
            [*command, "serve", "--port", str(port), "--allow-origin", origin],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        host.stdout.readline()  # it serves
        time.sleep(0.1)
        said = what_the_page_says(folder, ALLOWED, pages.port)
        expect("a page of an allowed origin reads the answer",
               "get 200" in said and f"https://{ALLOWED}:{pages.port}" in said, said)
        expect("... and posts after a preflight", 'post 200 {"hello":"browser"}' in said, said)
        said = what_the_page_says(folder, REFUSED, pages.port)
        expect("a page of another origin is refused",
               "get blocked" in said and "post blocked" in said and "done" in said, said)
        host.send_signal(signal.SIGINT)
        rest = host.communicate(timeout=30)[0].decode(errors="replace")
        expect("the host ends cleanly", "blocks still allocated: 0" in rest, rest[-300:])


if __name__ == "__main__":
    main()
