# SPDX-License-Identifier: MIT
"""A certification authority of the tests' own, and servers' certificates of every kind, by the program openssl."""

import hashlib
import os
import shutil
import ssl
import subprocess
import tempfile

SETTINGS = """
[ca]
default_ca = authority
[authority]
new_certs_dir = .
database = index
serial = serial
default_md = sha256
policy = any
unique_subject = no
[any]
commonName = supplied
[req]
distinguished_name = name
[name]
"""
VALID = ("20250101000000Z", "20450101000000Z")
EXPIRED = ("20200101000000Z", "20210101000000Z")
NOT_YET = ("20440101000000Z", "20450101000000Z")


class Certificate:
    """File names of a certificate and its key, in PEM."""

    def __init__(self, certificate, key):
        self.certificate = certificate
        self.key = key

    def fingerprint(self):
        with open(self.certificate, encoding="ascii") as file:
            text = file.read()
        text = text[text.index("-----BEGIN"):]
        return hashlib.sha256(ssl.PEM_cert_to_DER_cert(text)).hexdigest()

    def server_context(self, **versions):
        """For Python's own TLS on the server's side."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.certificate, self.key)
        for name, value in versions.items():
            setattr(context, name, value)
        return context


class Authority:
    """`certificate` is the file to trust. Everything lies in one folder, which `close` removes."""

    def __init__(self, name="Quillbeaker test authority"):
        self.directory = tempfile.mkdtemp(prefix="ca-", dir="/tmp")
        os.chmod(self.directory, 0o755)  # Dovecot reads as another user
        self.made = 0
        self._write("settings", SETTINGS)
        self._write("index", "")
        self._write("serial", "1000\n")
        self._run("req", "-x509", *self._new_key("authority"), "-subj", f"/CN={name}", "-days", "3650", "-out",
                  "authority.pem", "-addext", "basicConstraints=critical,CA:TRUE",
                  "-addext", "keyUsage=critical,keyCertSign,cRLSign")
        self.certificate = self._path("authority.pem")

    def close(self):
        shutil.rmtree(self.directory, ignore_errors=True)

    def _path(self, name):
        return os.path.join(self.directory, name)

    def _write(self, name, text):
        with open(self._path(name), "w", encoding="ascii") as file:
            file.write(text)

    def _run(self, *arguments):
        done = subprocess.run(["openssl", *arguments], cwd=self.directory, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60, check=False)
        assert done.returncode == 0, done.stdout.decode("utf-8", "replace")

    @staticmethod
    def _new_key(name):
        return ("-config", "settings", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
                f"{name}.key")

    def issue(self, *names, common_name="test server", dates=VALID, usage="serverAuth"):
        """A certificate with these subjectAltName entries, such as "DNS:localhost"."""
        self.made += 1
        name = f"server{self.made}"
        self._write(f"{name}.ext", f"subjectAltName={','.join(names)}\nbasicConstraints=CA:FALSE\n"
                                   f"extendedKeyUsage={usage}\n")
        self._run("req", "-new", *self._new_key(name), "-subj", f"/CN={common_name}", "-out", f"{name}.csr")
        self._run("ca", "-batch", "-notext", "-config", "settings", "-cert", "authority.pem", "-keyfile",
                  "authority.key", "-startdate", dates[0], "-enddate", dates[1], "-extfile", f"{name}.ext", "-in",
                  f"{name}.csr", "-out", f"{name}.pem")
        return self._finished(name)

    def self_signed(self, *names, common_name="test server"):
        self.made += 1
        name = f"server{self.made}"
        self._run("req", "-x509", *self._new_key(name), "-subj", f"/CN={common_name}", "-days", "30", "-addext",
                  f"subjectAltName={','.join(names)}", "-out", f"{name}.pem")
        return self._finished(name)

    def _finished(self, name):
        os.chmod(self._path(f"{name}.key"), 0o644)
        return Certificate(self._path(f"{name}.pem"), self._path(f"{name}.key"))
