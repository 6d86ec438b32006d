"""What `vexahost ca issue` and `vexahost p12 create` make of their options, by OpenSSL's judgement."""

import re
from datetime import datetime, timedelta

from pki import AUTHORITY, PASSWORD, openssl

ISSUER = ["--issuer", "ca.p12", "--issuer-password-file", "pw"]
STRICT = ["verify", "-x509_strict", "-CAfile", "ca.pem"]


def issue(host, subject, out, *options, issuer=None):
    return host.run("ca", "issue", *(issuer or ISSUER), "--subject", subject, "--out", out, *options)


def extensions(folder, certificate, names):
    _, text = openssl(folder, "x509", "-in", certificate, "-noout", "-ext", names)
    return re.sub(r"\s+", " ", text)


def check_profiles(checks, host, folder):
    status, _ = issue(host, "CN=www", "server.pem", "--for", "server", "--san", "DNS:www.example.org",
                      "--san", "IP:192.0.2.1", "--san", "IP:2001:db8::1", "--like", "jane.pem")
    checks.expect("ca issue --for server", status == 0, host.error)
    for check in [["-purpose", "sslserver"], ["-verify_hostname", "www.example.org"],
                  ["-verify_ip", "192.0.2.1"], ["-verify_ip", "2001:db8::1"]]:
        status, text = openssl(folder, *STRICT, *check, "server.pem")
        checks.expect(f"... verifies with {' '.join(check)}", status == 0, text)
    status, _ = openssl(folder, *STRICT, "-verify_hostname", "other.example.org", "server.pem")
    checks.expect("... and not under another name", status != 0)
    text = extensions(folder, "server.pem",
                      "keyUsage,subjectKeyIdentifier,authorityKeyIdentifier")
    checks.expect("... with usage and both key identifiers",
                  "critical Digital Signature, Key Encipherment" in text
                  and "Subject Key Identifier" in text and "Authority Key Identifier" in text, text)

    status, _ = issue(host, "CN=Jane", "client.pem", "--for", "client", "--san",
                      "email:jane@example.org", "--curve", "P-256", "--p12-out", "client.p12",
                      "--p12-password-file", "pw")
    checks.expect("ca issue --for client, with a new key on a curve", status == 0, host.error)
    status, text = openssl(folder, *STRICT, "-purpose", "sslclient", "-verify_email",
                           "jane@example.org", "client.pem")
    checks.expect("... verifies", status == 0, text)
    status, text = openssl(folder, "pkcs12", "-legacy", "-in", "client.p12", "-passin",
                           f"pass:{PASSWORD}", "-nodes", "-nocerts", "-out", "client.key")
    _, public = openssl(folder, "pkey", "-in", "client.key", "-pubout")
    _, certified = openssl(folder, "x509", "-in", "client.pem", "-noout", "-pubkey")
    checks.expect("... its file holds its key", public == certified != "", (public, certified))

    status, _ = issue(host, "CN=Jane", "person.pem", "--for", "person", "--like", "jane.pem")
    status, text = openssl(folder, *STRICT, "-purpose", "smimesign", "person.pem")
    checks.expect("ca issue --for person", status == 0, (host.error, text))
    status, _ = issue(host, "CN=Sub", "sub.pem", "--for", "ca", "--p12-out", "sub.p12",
                      "--p12-password-file", "pw")
    checks.expect("ca issue --for ca, which tells its progress to nobody but a terminal",
                  status == 0 and host.error == "", host.error)
    status, _ = issue(host, "CN=Deep", "deep.pem", "--like", "jane.pem", "--eku", "1.2.3.4", "--eku",
                      "codeSigning", "--not-before", "2025-01-31", "--not-after",
                      "2049-12-31T23:59:59Z", issuer=["--issuer", "sub.p12",
                                                      "--issuer-password-file", "pw"])
    status, text = openssl(folder, *STRICT, "-untrusted", "sub.pem", "deep.pem")
    checks.expect("... may itself sign", status == 0, (host.error, text))
    _, text = openssl(folder, "x509", "-in", "deep.pem", "-noout", "-dates")
    checks.expect("... from and until the times given", text ==
                  "notBefore=Jan 31 00:00:00 2025 GMT\nnotAfter=Dec 31 23:59:59 2049 GMT\n", text)
    text = extensions(folder, "deep.pem", "extendedKeyUsage")
    checks.expect("... for the purposes given", "1.2.3.4, Code Signing" in text, text)


def check_contents(checks, host, folder):
    """What a certificate is good for, and how long, by the words that were given."""
    new_curve = ["--curve", "P-256", "--p12-out", "new.p12", "--p12-password-file", "pw"]
    jane = ["--like", "jane.pem"]
    for options, constraints, usage, purposes in [
        (jane, "CA:FALSE", "Digital Signature, Non Repudiation", None),
        (["--for", "client", *jane], "CA:FALSE", "Digital Signature",
         "TLS Web Client Authentication"),
        (["--for", "client", "--eku", "codeSigning", *jane], "CA:FALSE", "Digital Signature",
         "Code Signing"),
        (["--for", "client", "--usage", "2", *jane], "CA:FALSE", "Key Encipherment",
         "TLS Web Client Authentication"),
        (["--for", "person", *jane], "CA:FALSE",
         "Digital Signature, Non Repudiation, Key Encipherment",
         "E-mail Protection, TLS Web Client Authentication"),
        (["--for", "server", "--san", "DNS:a.example", *new_curve], "CA:FALSE",
         "Digital Signature", "TLS Web Server Authentication"),
        (["--for", "ca", *jane], "CA:TRUE", "Certificate Sign, CRL Sign", None),
        (["--ca", *jane], "CA:TRUE", "Certificate Sign, CRL Sign", None),
        (["--ca", "--for", "ca", *jane], "CA:TRUE", "Certificate Sign, CRL Sign", None),
        (["--ca", "--usage", "5", *jane], "CA:TRUE", "Certificate Sign", None),
    ]:
        issue(host, "CN=Use", "use.pem", *options)
        words = ["X509v3 Basic Constraints: critical", constraints, "X509v3 Key Usage: critical",
                 usage, *(["X509v3 Extended Key Usage: ", purposes] if purposes else [])]
        _, text = openssl(folder, "x509", "-in", "use.pem", "-noout", "-ext",
                          "basicConstraints,keyUsage,extendedKeyUsage")
        checks.expect(f"ca issue {' '.join(options)} is for {usage}",
                      [line.strip() for line in text.splitlines()] ==
                      [word.strip() for word in words], (text, host.error))
    status, _ = issue(host, "", "unnamed.pem", *jane, "--san", "DNS:a.example")
    text = extensions(folder, "unnamed.pem", "subjectAltName")
    checks.expect("without a subject the alternative name is critical", status == 0 and
                  "Alternative Name: critical" in text, (host.error, text))
    status, text = openssl(folder, *STRICT, "-verify_hostname", "a.example", "unnamed.pem")
    checks.expect("... and a host goes by it", status == 0, text)
    _, text = host.run("p12", "open", "new.p12", "--password-file", "pw")
    checks.expect("the new key comes with the chain of its certificate", text ==
                  "certificate  CN=Use\ncertificate  CN=Test Root,O=Orlind,C=DE\n"
                  "private key  yes, of the first certificate\n", text)
    for options, days in [([], 365), (["--days", "10"], 10)]:
        issue(host, "CN=Days", "days.pem", *jane, *options)
        _, text = openssl(folder, "x509", "-in", "days.pem", "-noout", "-dates")
        begin, end = (datetime.strptime(line.partition("=")[2], "%b %d %H:%M:%S %Y %Z")
                      for line in text.splitlines())
        checks.expect(f"it begins a minute ago and ends in {days} days",
                      end - begin == timedelta(days=days, minutes=1), text)
        status, text = openssl(folder, "verify", "-CAfile", "ca.pem", "days.pem")
        checks.expect("... and is valid now", status == 0, text)
    for begin, days, dates in [
        ("2030-01-31T12:34:56Z", "29", "Jan 31 12:34:56 2030 GMT, Mar  1 12:34:56 2030 GMT"),
        ("9999-12-30", "1", "Dec 30 00:00:00 9999 GMT, Dec 31 00:00:00 9999 GMT"),
    ]:
        issue(host, "CN=Days", "days.pem", *jane, "--not-before", begin, "--days", days)
        _, text = openssl(folder, "x509", "-in", "days.pem", "-noout", "-dates")
        told = ", ".join(line.partition("=")[2] for line in text.splitlines())
        checks.expect(f"{days} days from {begin} on", told == dates, (text, host.error))
    status, _ = issue(host, "CN=Chain", "chain.pem", *new_curve, issuer=[
        "--issuer-key", "jane.key", "--issuer-cert", "jane.pem", "--issuer-cert", "ca.pem"])
    checks.expect("--issuer-cert takes the signer's first", status == 3 and
                  "authority" in host.error, (status, host.error))
    status, _ = issue(host, "CN=Chain", "chain.pem", *new_curve, issuer=[
        "--issuer-key", "ca.key", "--issuer-cert", "ca.pem", "--issuer-cert", "self.pem"])
    _, text = host.run("p12", "open", "new.p12", "--password-file", "pw")
    checks.expect("... and more of them, for the file of the new key", status == 0 and
                  [line.split("=")[-1] for line in text.splitlines()[:3]] ==
                  ["Chain", "DE", "Self"], text)


def check_keys(checks, host, folder):
    """Private keys as people have them: on curves, in each encoding, encrypted."""
    openssl(folder, "ecparam", "-name", "secp384r1", "-genkey", "-noout", "-out", "sec1.key")
    openssl(folder, "pkcs8", "-topk8", "-nocrypt", "-in", "sec1.key", "-out", "ec.key")
    openssl(folder, "req", "-x509", "-key", "ec.key", "-out", "ec.pem", "-subj", "/CN=Curve",
            "-days", "30", *AUTHORITY)
    for options, name in [(["-v2", "aes-256-cbc"], "aes.key"),
                          (["-v1", "PBE-SHA1-3DES"], "des.key")]:
        openssl(folder, "pkcs8", "-topk8", "-in", "sec1.key", "-out", name, "-passout",
                f"pass:{PASSWORD}", *options)
    openssl(folder, "rsa", "-in", "jane.key", "-traditional", "-out", "pkcs1.key")
    for key, certificate in [("sec1.key", "ec.pem"), ("ec.key", "ec.pem"), ("aes.key", "ec.pem"),
                             ("des.key", "ec.pem"), ("pkcs1.key", "jane.pem")]:
        status, _ = host.run("p12", "create", "--key", key, "--cert", certificate, "--out",
                             "made.p12", "--password-file", "pw", "--key-password-file", "pw")
        checks.expect(f"p12 create takes {key}", status == 0, host.error)
        _, text = openssl(folder, "pkcs12", "-legacy", "-in", "made.p12", "-passin",
                          f"pass:{PASSWORD}", "-nodes", "-nocerts", "-out", "back.key")
        _, before = openssl(folder, "pkey", "-in", key, "-passin", f"pass:{PASSWORD}", "-outform",
                            "PEM", "-pubout")
        _, after = openssl(folder, "pkey", "-in", "back.key", "-pubout")
        checks.expect("... and OpenSSL finds the same key", before == after != "", text)
        status, text = host.run("p12", "open", "made.p12", "--password-file", "pw")
        checks.expect("... and p12 open finds it", status == 0 and "first certificate" in text, text)
        status, _ = issue(host, "CN=Signed", "signed.pem", "--like", "jane.pem", issuer=[
            "--issuer-key", key, "--issuer-cert", certificate, "--issuer-password-file", "pw"])
        if certificate == "ec.pem":
            status, text = openssl(folder, "verify", "-x509_strict", "-CAfile", "ec.pem",
                                   "signed.pem")
            checks.expect("... and it signs", status == 0, (host.error, text))
        else:
            checks.expect("... and its certificate, of no authority, signs nothing",
                          status == 3 and "authority" in host.error, (status, host.error))


def check_refusals(checks, host, folder):
    openssl(folder, "pkcs12", "-export", "-inkey", "jane.key", "-in", "jane.pem", "-out", "jane.p12",
            "-passout", f"pass:{PASSWORD}")
    like = ["--like", "jane.pem"]
    for options, expected, word in [
        ([*like, "--usage", "9"], 2, "--usage"),
        ([*like, "--usage", "15"], 2, "--usage"),
        ([*like, "--for", "nobody"], 2, "--for"),
        ([*like, "--for", "server"], 2, "--san"),
        ([*like, "--for", "client", "--ca"], 2, "--ca"),
        ([*like, "--san", "www.example.org"], 2, "DNS:"),
        ([*like, "--san", "DNS:a..b"], 2, "host name"),
        ([*like, "--eku", "anything"], 2, "purpose"),
        ([*like, "--not-after", "tomorrow"], 2, "no time such as"),
        ([*like, "--not-after", "2020-01-01"], 3, "ends before it begins"),
        ([*like, "--not-after", "2040-01-01", "--days", "3"], 2, "--days"),
        (["--p12-out", "x.p12", "--key-bits", "1024"], 2, "2048"),
        (["--p12-out", "x.p12", "--key-bits", "2050"], 2, "multiple of 8"),
        (["--p12-out", "x.p12", "--key-bits", "1025", "--weak-key"], 2, "even"),
        ([], 2, "--p12-out"),
        ([*like, "--issuer-key", "ca.key"], 2, "--issuer-key"),
    ]:
        (folder / "none.pem").unlink(missing_ok=True)
        status, _ = issue(host, "CN=x", "none.pem", *options)
        checks.expect(f"ca issue {' '.join(options)} is refused",
                      status == expected and word in host.error
                      and not (folder / "none.pem").exists(), (status, host.error))
    for subject in ["CN=\\FF", "C=Ä", "serialNumber=a@b*", "DC=ä", "emailAddress=ä@b", "nonsense"]:
        status, _ = issue(host, subject, "none.pem", *like)
        checks.expect(f"ca issue refuses the subject {subject}",
                      status == 2 and "the subject" in host.error, (status, host.error))
    status, _ = issue(host, "CN=x", "none.pem", *like,
                      issuer=["--issuer", "jane.p12", "--issuer-password-file", "pw"])
    checks.expect("a certificate of no authority signs nothing",
                  status == 3 and "authority" in host.error, (status, host.error))
    status, _ = issue(host, "CN=x", "none.pem", *like,
                      issuer=["--issuer-key", "jane.key", "--issuer-cert", "ca.pem"])
    checks.expect("a key that is not the issuer's is refused",
                  status == 3 and "not the key" in host.error, (status, host.error))
    status, _ = issue(host, "CN=weak", "weak.pem", "--key-bits", "1026", "--weak-key", "--p12-out",
                      "weak.p12", "--p12-password-file", "pw")
    _, text = openssl(folder, "x509", "-in", "weak.pem", "-noout", "-text")
    checks.expect("a weak key is made when asked for, of exactly that size",
                  status == 0 and "(1026 bit)" in text, host.error)

    openssl(folder, "rsa", "-in", "jane.key", "-traditional", "-aes128", "-out", "old.key",
            "-passout", "pass:x")
    openssl(folder, "genpkey", "-algorithm", "ED25519", "-out", "ed.key")
    for key, password, expected, word in [
        ("ca.key", "pw", 3, "not the key of the first certificate"),
        ("aes.key", "wrong", 4, "password"),
        ("old.key", "pw", 6, "pkcs8 -topk8"),
        ("ed.key", "pw", 6, "neither"),
        ("jane.pem", "pw", 3, "no private key"),
    ]:
        status, _ = host.run("p12", "create", "--key", key, "--cert", "jane.pem", "--out", "x.p12",
                             "--password-file", "pw", "--key-password-file", password)
        checks.expect(f"p12 create refuses {key}", status == expected and word in host.error,
                      (status, host.error))
