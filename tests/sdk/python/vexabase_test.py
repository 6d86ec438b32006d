#!/usr/bin/env python3
"""vexabase.py against the built module.

vexabase_test.py --report FILE BINDING FOLDER SAMPLE.p12
"""

import argparse
import datetime
import gc
import pathlib
import subprocess
import sys
import unittest

from counts import write_counts

OPTIONS = argparse.Namespace()


class Case(unittest.TestCase):
    """A started module each; nothing may be left behind."""

    def setUp(self):
        import vexabase  # its folder is an argument
        self.vexabase = vexabase
        self.module = vexabase.Module(OPTIONS.folder)

    def tearDown(self):
        self.module.close()
        self.assertEqual(self.module.live_blocks(), 0)


class Json(Case):
    TEXT = '{"a": [1, true, null, "x", {"b": -2}], "o": {"k": "\u00e9"}}'

    def test_a_parsed_text_is_read_like_a_dict(self):
        value = self.module.parse_json(self.TEXT)
        self.assertEqual(list(value), ["a", "o"])
        self.assertEqual(value["o"]["k"], "\u00e9")
        self.assertEqual(value["a"][-1]["b"], -2)
        self.assertIs(value["a"][1], True)
        self.assertIn("a", value)
        self.assertEqual(value.get("z", 5), 5)

    def test_everything_is_copied_out_and_in(self):
        plain = self.module.parse_json(self.TEXT).to_python()
        self.assertEqual(plain, {"a": [1, True, None, "x", {"b": -2}], "o": {"k": "\u00e9"}})
        built = self.module.new_json(plain)
        self.assertEqual(self.module.parse_json(built.to_text()).to_python(), plain)

    def test_what_is_absent_or_too_big_is_an_error(self):
        value = self.module.new_json()
        with self.assertRaises(KeyError):
            _ = value["z"]
        value["a"] = []
        with self.assertRaises(IndexError):
            _ = value["a"][0]
        with self.assertRaises(OverflowError):
            value["n"] = 2**31
        with self.assertRaises(TypeError):
            value["n"] = 1.5

    def test_a_text_that_is_none_carries_the_result(self):
        with self.assertRaises(self.vexabase.VexaError) as caught:
            self.module.parse_json("[1]")
        self.assertEqual(caught.exception.code & 0xFFFFFFFF, 0x80004005)


class Web(Case):
    def test_a_url_is_split(self):
        url = self.module.parse_url("https://api.example.com:8443/x")
        self.assertTrue(url.is_valid and url.is_https)
        self.assertEqual((url.port, url.origin), (8443, "https://api.example.com:8443"))
        self.assertTrue(url.matches("https://*.example.com:8443"))
        self.assertFalse(url.matches("https://*.example.org:8443"))
        self.assertTrue(url.same_origin("https://api.example.com:8443/y"))
        self.assertTrue(url.same_origin(self.module.parse_url("https://api.example.com:8443")))
        self.assertFalse(self.module.parse_url("nonsense").is_valid)

    def test_a_request_comes_in_pieces(self):
        text = b"POST /a%20b?c=d HTTP/1.1\r\nOrigin: o\r\nContent-Length: 2\r\n\r\nhi"
        for split in range(1, len(text)):
            request = self.module.http_request()
            self.assertFalse(request.feed(text[:split]))
            self.assertTrue(request.feed(text[split:]))
            self.assertEqual((request.method, request.path, request.version),
                             ("POST", "/a b", "HTTP/1.1"))
            self.assertEqual((request.header("origin"), request.parameter("c")), ("o", "d"))
            self.assertEqual(request.body, b"hi")
            self.assertIsNone(request.header("referer"))

    def test_a_response_is_written(self):
        data = self.module.http_response(404, "{}", [("Content-Type", "application/json")])
        head, _, body = data.partition(b"\r\n\r\n")
        self.assertEqual(body, b"{}")
        self.assertEqual(head.split(b"\r\n")[0], b"HTTP/1.1 404 Not Found")
        self.assertIn(b"Content-Length: 2", head)
        with self.assertRaises(self.vexabase.VexaError):
            self.module.http_response(1001)


class Times(Case):
    def test_times_are_converted(self):
        self.assertEqual(self.module.convert_time(0, 0x21, 0x18), 116444736000000000)
        moment = datetime.datetime(1970, 1, 1, 0, 0, 1, tzinfo=datetime.timezone.utc)
        self.assertEqual(self.module.file_time(moment), 116444736010000000)
        self.assertGreater(self.module.now().year, 2000)


class Files(Case):
    def test_a_file_is_opened_and_written_again(self):
        content = self.module.open_pkcs12(OPTIONS.sample.read_bytes(), "secret")
        certificates = content.certificates
        self.assertEqual(len(certificates), 2)
        self.assertEqual(certificates[0][0], 0x30)
        again = self.module.open_pkcs12(content.save("J\u00e4ne", "other"), "other")
        self.assertEqual(again.certificates, certificates)

    def test_a_wrong_password_is_an_error(self):
        with self.assertRaises(self.vexabase.VexaError):
            self.module.open_pkcs12(OPTIONS.sample.read_bytes(), "wrong")


class Lifetime(Case):
    def test_the_end_releases_what_is_left(self):
        value = self.module.parse_json('{"a": {"b": 1}}')
        inner = value["a"]
        self.module.close()
        with self.assertRaises(ValueError):
            _ = inner["b"]

    def test_what_nobody_holds_is_released_at_once(self):
        before = self.module.live_blocks()
        self.module.parse_json('{"a": [1, 2, 3]}')
        gc.collect()
        self.assertEqual(self.module.live_blocks(), before)

    def test_a_module_can_be_started_again(self):
        for _ in range(3):
            with self.vexabase.Module(OPTIONS.folder) as module:
                self.assertEqual(len(module.new_json({"a": 1})), 1)

    def test_a_folder_without_a_module_is_an_error(self):
        with self.assertRaises(OSError):
            self.vexabase.Module(OPTIONS.sample.parent)


def make_sample(folder):
    """A key with its certificate and another one, by OpenSSL."""
    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], cwd=folder, check=True, capture_output=True)

    for name in ("own", "ca"):
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key", "-out",
                f"{name}.pem", "-subj", f"/CN={name}", "-days", "3650")
    openssl("pkcs12", "-export", "-inkey", "own.key", "-in", "own.pem", "-certfile", "ca.pem",
            "-out", "sample.p12", "-passout", "pass:secret")
    return folder / "sample.p12"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--report", type=pathlib.Path, required=True)
    parser.add_argument("binding", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("scratch", type=pathlib.Path)
    parser.parse_args(namespace=OPTIONS)
    OPTIONS.scratch.mkdir(parents=True, exist_ok=True)
    OPTIONS.sample = make_sample(OPTIONS.scratch)
    sys.path.insert(0, str(OPTIONS.binding))
    suite = unittest.defaultTestLoader.loadTestsFromModule(sys.modules["__main__"])
    result = unittest.TextTestRunner().run(suite)
    failed = len(result.failures) + len(result.errors)
    write_counts(OPTIONS.report, result.testsRun - failed, failed)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
