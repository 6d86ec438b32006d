#!/usr/bin/env python3
"""Proxy discovery for real: Windows Internet settings in each combination, PAC scripts over HTTP.

check_proxy.py [--report FILE] -- COMMAND...

COMMAND starts a Windows program; "vexahost.exe" or "reg" with arguments is added to it, the former
with its path from --host. The settings of the prefix are put back to "nothing set" at the end.
"""

import http.server
import struct
import subprocess
import threading

from counts import COMMAND, argument, run_checks

CONNECTIONS = (r"HKCU\Software\Microsoft\Windows\CurrentVersion\Internet Settings\Connections")
URL = "http://www.a.example/x"

SCRIPTS = {
    "/direct.pac": 'return "DIRECT";',
    "/one.pac": 'return "PROXY one.example:81";',
    "/several.pac": 'return "PROXY one.example:81; PROXY two.example:82; DIRECT";',
    "/byhost.pac": 'return host == "www.a.example" ? "PROXY mine.example:83" : "DIRECT";',
    "/error.pac": "this is no script {{{",
}


class Scripts(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        body = SCRIPTS.get(self.path)
        if body is None:
            self.send_error(404)
            return
        if "error" not in self.path:
            body = "function FindProxyForURL(url, host) { " + body + " }"
        content = body.encode()
        self.send_response(200)
        self.send_header("Content-Type", "application/x-ns-proxy-autoconfig")
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        self.wfile.write(content)

    def log_message(self, *_):
        pass


class Prefix:
    """The Internet settings of one Wine prefix, and the host that reads them."""

    def __init__(self, command, host):
        self.command = command
        self.host = host

    def run(self, *arguments):
        result = subprocess.run([*self.command, *arguments], stdin=subprocess.DEVNULL,
                                capture_output=True, timeout=90, check=False)
        return (result.stdout + result.stderr).decode(errors="replace").replace("\r\n", "\n")

    def configure(self, proxy="", bypass="", script=""):
        # The block that Windows keeps: version, counter, flags, then three counted texts.
        flags = 1 | (2 if proxy else 0) | (4 if script else 0)
        block = struct.pack("<III", 70, 1, flags)
        for text in (proxy, bypass, script):
            block += struct.pack("<I", len(text)) + text.encode()
        block += bytes(32)
        for _ in range(3):
            said = self.run("reg", "add", CONNECTIONS, "/v", "DefaultConnectionSettings", "/t",
                            "REG_BINARY", "/d", block.hex(), "/f")
            if "success" in said:
                return
        print(f"the settings could not be written: {said}")

    def proxy_for(self, url):
        return self.run(self.host, "proxy", url, "--why")


def check_settings(checks, prefix):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Scripts)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    base = f"http://127.0.0.1:{server.server_address[1]}"

    def ask(what, answer, *messages, url=URL, **settings):
        prefix.configure(**settings)
        said = prefix.proxy_for(url)
        good = said.startswith(answer + "\n") and all(message in said for message in messages)
        checks.expect(what, good, said[-900:])

    ask("nothing is set", "direct (no usable setting)", "Access type 0 detected.",
        "No proxy for the target host was found, using Direct Connect.")
    ask("a static proxy", "proxy p.example:8080", "static proxy settings detected.",
        "Use static proxy: p.example:8080", proxy="p.example:8080")
    ask("a proxy per scheme, http", "proxy p1:80", proxy="http=p1:80;https=p2:443")
    ask("a proxy per scheme, https", "proxy p2:443", proxy="http=p1:80;https=p2:443",
        url="https://www.a.example/")
    ask("a host on the bypass list", "direct (no usable setting)", proxy="p:1",
        bypass="*.b.example;*.a.example")
    ask("a host beside the bypass list", "proxy p:1", proxy="p:1", bypass="*.b.example")
    ask("a local host with <local>", "direct (decided)",
        "ignore local addresses enabled and detected. bypass static proxy", proxy="p:1",
        bypass="<local>", url="http://intranet/")
    ask("a host that is not local with <local>", "proxy p:1", proxy="p:1", bypass="<local>")
    ask("a script that answers DIRECT", "direct (decided)",
        f"PAC script URL {base}/direct.pac succeeded.",
        "No proxy for the target host was found, using Direct Connect.",
        script=f"{base}/direct.pac")
    ask("a script that answers one proxy", "proxy one.example:81",
        f"Try proxy Auto config URL {base}/one.pac", "Proxy one.example:81 will be used.",
        script=f"{base}/one.pac")
    ask("a script that answers several", "proxy one.example:81", script=f"{base}/several.pac")
    ask("a script that looks at the host", "proxy mine.example:83", script=f"{base}/byhost.pac")
    ask("a script with an error", "direct (no usable setting)",
        "Error getting proxy via PAC script URL", script=f"{base}/error.pac")
    ask("a script that is not there", "direct (no usable setting)", script=f"{base}/none.pac")
    server.shutdown()
    server.server_close()
    ask("a script whose server is gone", "direct (no usable setting)",
        "Error getting proxy via PAC script URL", script=f"{base}/one.pac")


def check(checks, options):
    prefix = Prefix(options.command, options.host)
    try:
        check_settings(checks, prefix)
    finally:
        prefix.configure()


if __name__ == "__main__":
    run_checks(__doc__, check, argument("--host", required=True), COMMAND)
