#!/usr/bin/env python3
"""Takes Google's public keys from the certificates that this system trusts into resources/certificates/zd.

Run by hand when the system's certificates have changed. A certificate that the system doesn't have leaves no file;
intermediate ones never are among them. With --check nothing is written: it fails if a key in that directory isn't that
of such a certificate any more, or if the certificate ends within 120 days.
"""

import pathlib
import re
import subprocess
import sys

TARGET = pathlib.Path(__file__).resolve().parent.parent.parent / "resources/certificates/zd"
BUNDLE = pathlib.Path("/etc/ssl/certs/ca-certificates.crt")
FILES = {
    "CN=GTS Root R1,O=Google Trust Services LLC,C=US": "GTSR1.pem",
    "CN=GTS Root R2,O=Google Trust Services LLC,C=US": "GTSR2.pem",
    "CN=GTS Root R3,O=Google Trust Services LLC,C=US": "GTSR3.pem",
    "CN=GTS Root R4,O=Google Trust Services LLC,C=US": "GTSR4.pem",
    "CN=GlobalSign,O=GlobalSign,OU=GlobalSign Root CA - R2": "GlobalSignR2.pem",
    "CN=GlobalSign,O=GlobalSign,OU=GlobalSign ECC Root CA - R4": "GlobalSignECCR4.pem",
}
SECONDS_LEFT = 120 * 24 * 3600


def openssl(certificate, *options, check=True):
    return subprocess.run(["openssl", "x509", "-noout", *options], input=certificate, check=check, capture_output=True,
                          text=True)


def trusted_certificates():
    """The certificate behind each file's name."""
    for certificate in re.findall("-----BEGIN CERTIFICATE-----.*?-----END CERTIFICATE-----", BUNDLE.read_text(), re.S):
        subject = openssl(certificate, "-subject", "-nameopt", "RFC2253").stdout.strip().removeprefix("subject=")
        if name := FILES.get(subject):
            yield name, certificate


def key_of(certificate):
    return openssl(certificate, "-pubkey").stdout


def faults():
    certificates = dict(trusted_certificates())
    for name in sorted(set(FILES.values())):
        certificate = certificates.get(name)
        if not (TARGET / name).exists():
            continue
        if certificate is None:
            yield f"{name}: the system trusts no certificate of that name any more"
        elif key_of(certificate) != (TARGET / name).read_text():
            yield f"{name}: the certificate has another key by now"
        elif openssl(certificate, "-checkend", str(SECONDS_LEFT), check=False).returncode != 0:
            yield f"{name}: the certificate ends within 120 days"


def main():
    if "--check" in sys.argv:
        sys.exit("\n".join(faults()) or 0)
    TARGET.mkdir(parents=True, exist_ok=True)
    for name, certificate in trusted_certificates():
        (TARGET / name).write_text(key_of(certificate))
        print(name)


if __name__ == "__main__":
    main()
