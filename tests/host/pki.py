"""Certificates and keys that OpenSSL makes for the checks of the host."""

import subprocess

PASSWORD = "geheim-äöü"


def openssl(folder, *arguments):
    result = subprocess.run(
        ["openssl", *arguments], cwd=folder, capture_output=True, timeout=60, check=False
    )
    return result.returncode, result.stdout.decode(errors="replace")


# What a strict verifier wants of an authority beside OpenSSL's usual extensions.
AUTHORITY = ["-addext", "keyUsage=critical,keyCertSign,cRLSign"]


def make_chain(folder):
    """A root, Jane's certificate under it, and Jane's key."""
    openssl(folder, "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key",
            "-out", "ca.pem", "-subj", "/C=DE/O=Orlind/CN=Test Root", "-days", "30",
            *AUTHORITY)
    openssl(folder, "req", "-newkey", "rsa:2048", "-nodes", "-keyout", "jane.key", "-out",
            "jane.csr", "-subj", "/C=DE/O=Orlind/CN=Jane")
    openssl(folder, "x509", "-req", "-in", "jane.csr", "-CA", "ca.pem", "-CAkey", "ca.key",
            "-CAcreateserial", "-out", "jane.pem", "-days", "20")
    (folder / "pw").write_text(PASSWORD + "\n")
    (folder / "empty").write_text("\n")
    (folder / "wrong").write_text("wrong\n")
