#!/usr/bin/env python3
"""Takes Google's public keys from the certificates that this system trusts into resources/certificates/zd.

Run by hand when the system's certificates have changed. A certificate that the system doesn't have leaves no file;
intermediate ones never are among them.
"""

import pathlib
import re
import subprocess

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


def openssl(certificate, *options):
    return subprocess.run(["openssl", "x509", "-noout", *options], input=certificate, check=True, capture_output=True,
                          text=True).stdout


def main():
    TARGET.mkdir(parents=True, exist_ok=True)
    for certificate in re.findall("-----BEGIN CERTIFICATE-----.*?-----END CERTIFICATE-----", BUNDLE.read_text(), re.S):
        subject = openssl(certificate, "-subject", "-nameopt", "RFC2253").strip().removeprefix("subject=")
        if name := FILES.get(subject):
            (TARGET / name).write_text(openssl(certificate, "-pubkey"))
            print(name)


if __name__ == "__main__":
    main()
