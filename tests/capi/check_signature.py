#!/usr/bin/env python3
"""Keys imported into a Windows key container sign for their certificate: OpenSSL says so.

check_signature.py [--report FILE] --host VEXAHOST --signer SIGN_WITH_CONTAINER -- COMMAND...

COMMAND starts a Windows program. FILE receives the counts. The containers are deleted at the end.
"""

import pathlib
import subprocess
import tempfile

from counts import COMMAND, argument, run_checks

PASSWORD = "import"
ISSUER = "CN=vexabase signature check"
STORE = r"HKCU\Software\Microsoft\SystemCertificates\CA\Certificates" + "\\"
NO_CONTAINER = 3  # the signer's exit status
MESSAGE = b"signed through the container"


def openssl(folder, *arguments):
    result = subprocess.run(["openssl", *arguments], cwd=folder, capture_output=True, check=False)
    return result.returncode, (result.stdout + result.stderr).decode(errors="replace")


def make_chain(folder, bits):
    """leaf.p12 with its issuer, and leaf.pub, the public key as the certificate has it."""
    for name, subject, issuer in (("root", f"/{ISSUER}", ()),
                                  ("leaf", "/CN=Signer", ("-CA", "root.pem", "-CAkey", "root.key"))):
        openssl(folder, "req", "-x509", "-newkey", f"rsa:{bits}", "-nodes", "-days", "30", "-subj",
                subject, "-keyout", f"{name}.key", "-out", f"{name}.pem", *issuer)
    openssl(folder, "pkcs12", "-export", "-legacy", "-inkey", "leaf.key", "-in", "leaf.pem",
            "-certfile", "root.pem", "-name", "Signer", "-passout", f"pass:{PASSWORD}", "-out",
            "leaf.p12")
    _, public = openssl(folder, "x509", "-in", "leaf.pem", "-noout", "-pubkey")
    (folder / "leaf.pub").write_text(public)
    (folder / "password").write_text(PASSWORD)
    (folder / "message").write_bytes(MESSAGE)
    (folder / "tampered").write_bytes(MESSAGE + b".")


class Windows:
    """The host and the signer, both separate processes, as a client's programs are."""

    def __init__(self, arguments, folder):
        self.arguments = arguments
        self.folder = folder

    def run(self, *command):
        result = subprocess.run([*self.arguments.command, *command], cwd=self.folder,
                                stdin=subprocess.DEVNULL, capture_output=True, timeout=120,
                                check=False)
        return result.returncode, (result.stdout + result.stderr).decode(errors="replace")

    def host(self, *command):
        return self.run(self.arguments.host, *command)

    def forget_authority(self):
        """Wine keeps a deleted certificate until somebody commits the store."""
        _, text = openssl(self.folder, "x509", "-in", "root.pem", "-noout", "-fingerprint", "-sha1")
        self.run("reg", "delete", STORE + text.strip().split("=")[1].replace(":", ""), "/f")

    def sign(self, container):
        return self.run(self.arguments.signer, container, "message", "signature")


def verifies(folder, file):
    status, _ = openssl(folder, "dgst", "-sha1", "-verify", "leaf.pub", "-signature", "signature",
                        file)
    return status == 0


def check_size(checks, windows, bits):
    folder, container = windows.folder, f"vexabase signature check {bits}"
    make_chain(folder, bits)
    try:
        said = windows.host("capi", "import", "leaf.p12", "--container", container,
                            "--password-file", "password")
        checks.expect(f"{bits} bits: the import", said[0] == 0, said)
        said = windows.sign(container)
        checks.expect(f"{bits} bits: another program signs through the container", said[0] == 0,
                      said)
        checks.expect(f"{bits} bits: OpenSSL verifies with the certificate",
                      verifies(folder, "message"))
        checks.expect(f"{bits} bits: and refuses another message",
                      not verifies(folder, "tampered"))
    finally:
        said = windows.host("capi", "delete", "--container", container, "--issuer", ISSUER)
    checks.expect(f"{bits} bits: the container is deleted",
                  said[0] == 0 and windows.sign(container)[0] == NO_CONTAINER, said)
    windows.forget_authority()


def check(checks, options):
    for bits in (512, 1024, 2048, 3072, 4096):
        with tempfile.TemporaryDirectory() as folder:
            check_size(checks, Windows(options, pathlib.Path(folder)), bits)


if __name__ == "__main__":
    run_checks(__doc__, check, argument("--host", required=True),
               argument("--signer", required=True), COMMAND)
