#!/usr/bin/env python3
"""The console page, used in headless Chromium as a person would: forms, files, keys, two widths.

check_console.py [--report FILE] [--pictures FOLDER] -- COMMAND...

COMMAND starts the host. FOLDER receives a picture for each width and colour scheme. Exit status 0:
every check passed. FILE receives the counts.
"""

import json
import pathlib
import tempfile

from check_endpoint import make_own_certificate
from chromium import Chromium, Page, where_there_is_chromium
from endpoint import COMMAND, Host, argument, run_checks

SCREENS = {"desktop": (1280, 900), "phone": (390, 844)}
CTRL = 2

# What a person reads in an output, once it is there.
READ = """(async () => {
  const output = document.getElementById(%s);
  while (!output.textContent.trim()) await new Promise(go => setTimeout(go, 20));
  return output.innerText;
})()"""


def read(page, name):
    return page.run(READ % json.dumps(name)) or ""


def submit(page, form, **fields):
    """Fills the form and sends it; what it answers."""
    page.run(f"document.getElementById('{form}-out').replaceChildren()")
    for name, value in fields.items():
        page.run(f"document.getElementById('{form}-{name}').value = {json.dumps(value)}")
    page.run(f"document.getElementById('{form}-form').requestSubmit()")
    return read(page, f"{form}-out")


def check_forms(checks, page):
    told = submit(page, "json", **{"in": '{"name": "Jane", "n": 2.9}'})
    checks.expect("JSON is read and written", '"name" : "Jane"' in told and '"n" : 2' in told, told)
    told = submit(page, "json", **{"in": '{"name": '})
    checks.expect("... and what is none is explained", "not a JSON object" in told, told)
    told = submit(page, "url", u="https://api.example.com:444/x", pattern="https://*.example.com:444")
    checks.expect("a URL is taken apart", "444" in told and "https://api.example.com:444" in told and
                  "covered\nyes" in told, told)
    told = submit(page, "url", u="nonsense", pattern="")
    checks.expect("... and what is none is said to be none", "valid\nno" in told, told)
    told = submit(page, "time", value="116444736010000000", **{"from": "filetime", "to": "unix"})
    checks.expect("a time is converted, and told as a date",
                  told.startswith("1\n") and "1970 00:00:01" in told, told)
    told = submit(page, "time", value="soon")
    checks.expect("... and what is none is explained", "value" in told, told)
    told = submit(page, "proxy", url="https://www.example.com/")
    checks.expect("the proxy is found, with reasons", "Why" in told and
                  "https://www.example.com/" in told, told)


def check_certificates(checks, page, folder):
    told = read(page, "own-out")
    checks.expect("the own certificate is shown with its uses", "Jane" in told and
                  "client login" in told, told)
    text = (folder / "jane.pem").read_text()
    page.run("""(() => {
      const data = new DataTransfer();
      data.items.add(new File([%s], "jane <b>.pem"));
      data.items.add(new File(["nothing"], "other.txt"));
      document.getElementById('drop').dispatchEvent(new DragEvent('drop', {dataTransfer: data}));
    })()""" % json.dumps(text))
    told = page.run("""(async () => {
      const output = document.getElementById('files-out');
      while (!(output.querySelector('.cards') && output.querySelector('.trouble')))
        await new Promise(go => setTimeout(go, 20));
      return output.innerText;
    })()""") or ""
    checks.expect("a dropped file is inspected, and named as it is named",
                  "jane <b>.pem" in told and "Jane" in told, told)
    checks.expect("... and one that is no certificate is explained", "other.txt" in told, told)


def check_keys(checks, page):
    page.run("document.activeElement.blur()")
    reached = []
    for _ in range(60):
        page.press("Tab")
        reached.append(page.run("document.activeElement.id || document.activeElement.textContent"))
    wanted = ["Skip to the content", "json-in", "url-u", "time-value", "time-from", "proxy-url",
              "files-input"]
    checks.expect("the Tab key reaches everything", all(name in reached for name in wanted), reached)
    page.run("document.getElementById('json-out').replaceChildren();"
             "document.getElementById('json-in').value = '{\"key\": true}';"
             "document.getElementById('json-in').focus()")
    page.press("Enter", CTRL)
    told = read(page, "json-out")
    checks.expect("Ctrl and Enter send a JSON text", '"key" : true' in told, told)


def check_page(checks, page, host):
    checks.expect("the address no longer shows the token",
                  host.token not in (page.run("location.href") or host.token))
    told = read(page, "timeline")
    checks.expect("the timeline is live", "watching" in told, told)
    checks.expect("... and says so", page.run("document.getElementById('link').textContent") ==
                  "live")
    told = read(page, "offers-out")
    checks.expect("what the module offers is listed", "slots" in told and
                  "vexa.clientmonitor" in told, told)
    foreign = page.run("performance.getEntriesByType('resource').map(r => r.name)"
                       ".filter(name => !name.startsWith(location.origin))")
    checks.expect("nothing comes from elsewhere", foreign == [], foreign)


def check_screens(checks, page, pictures):
    for name, (width, height) in SCREENS.items():
        for scheme in ("light", "dark"):
            page.look(width, height, scheme)
            over = page.run("document.documentElement.scrollWidth - innerWidth")
            checks.expect(f"nothing sticks out: {name}, {scheme}", over <= 0, over)
            page.run("scrollTo(0, 0)")
            if pictures:
                (pictures / f"{name}-{scheme}.png").write_bytes(page.picture())


def check_tabs(checks, browser, host):
    """A browser opens six connections to one host, for all its tabs together."""
    tabs = []
    for _ in range(6):
        tabs.append(tab := Page(browser))
        tab.go(f"http://127.0.0.1:{host.port}/")
        told = read(tab, "timeline")
        checks.expect("the console in one more tab is live", "watching" in told, told)
    told = tabs[-1].run("fetch('/v1/info', {signal: AbortSignal.timeout(10000)})"
                        ".then(answer => answer.status, error => error.name)")
    checks.expect("... and the tabs that are not seen leave it the way", told == 200, told)
    tabs[0].show()
    told = tabs[0].run("""new Promise(go => {
      const look = () => events && events.readyState === 1 ? go(
        document.getElementById('timeline').innerText) : setTimeout(look, 20);
      look();
    })""")
    checks.expect("a tab that is seen again goes on, and tells nothing twice",
                  told.count("watching") == 1, told)
    for tab in tabs:
        tab.close()


def check(checks, options):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        make_own_certificate(folder)
        host = Host(options.command, "--pse", str(folder / "jane.p12"), "--password-file",
                    str(folder / "pw"))
        checks.expect("the host serves", host.wait_until_up(), host.lines)
        browser = Chromium(folder / "profile")
        try:
            page = Page(browser)
            page.go(f"http://127.0.0.1:{host.port}/#token={host.token}")
            check_page(checks, page, host)
            check_certificates(checks, page, folder)
            check_forms(checks, page)
            check_keys(checks, page)
            check_screens(checks, page, options.pictures)
            page.close()
            check_tabs(checks, browser, host)
        finally:
            browser.close()
        checks.expect("the host ends cleanly", host.stop() == 0 and host.left_no_block(),
                      host.lines[-3:])


if __name__ == "__main__":
    run_checks(__doc__, where_there_is_chromium(check),
               argument("--pictures", type=pathlib.Path), COMMAND)
