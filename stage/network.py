"""A network of the tests' own, cut off from every other: its host names, its certificate authority, web servers (nginx) on
port 443 of as many addresses as there are certificate chains, and a proxy (tinyproxy).

A script that uses it calls in_private_network() first. Nothing here needs rights or touches the machine's own settings:
it all happens in a namespace that ends with the script.
"""

import fcntl
import os
import pathlib
import shutil
import socket
import struct
import subprocess
import sys

from suite import Agent, wait_for

DOWNLOADS = "download.tavrin.example"
LISTS = "production/zd/data"
PROXY_PORT = 8888


def in_private_network():
    """Starts this very script anew inside of a network namespace, unless it is in one."""
    if "ZD_TEST_NETWORK" not in os.environ:
        os.environ["ZD_TEST_NETWORK"] = "private"
        os.execvp("unshare", ["unshare", "-c", "--keep-caps", "-n", "-m", sys.executable, *sys.argv])
    with socket.socket() as any_socket:
        up_and_running = struct.pack("16sh22x", b"lo", 0x1 | 0x8 | 0x40)
        fcntl.ioctl(any_socket, 0x8914, up_and_running)  # SIOCSIFFLAGS


def run(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, **options).stdout


class Authority:
    """A root, an intermediate below it, and the leaves that this one signs. All files are in `directory`."""

    def __init__(self, directory, name="Test", key="rsa:2048"):
        self.directory = directory / name
        self.directory.mkdir(parents=True)
        self._kind = ["-newkey", key] if key.startswith("rsa") else ["-newkey", "ec", "-pkeyopt", f"ec_paramgen_curve:{key}"]
        self.root = self._make("root", f"/CN={name} Root", "CA:true", None)
        self.intermediate = self._make("intermediate", f"/CN={name} Intermediate", "CA:true", "root")

    def _make(self, name, subject, constraint, issuer, host=None):
        certificate = self.directory / f"{name}.pem"
        signer = ["-CA", self.directory / f"{issuer}.pem", "-CAkey", self.directory / f"{issuer}.key"] if issuer else []
        names = ["-addext", f"subjectAltName=DNS:{host}"] if host else []
        run("openssl", "req", "-x509", *self._kind, "-nodes", "-days", "2", "-subj", subject, *signer, *names, "-addext",
            f"basicConstraints=critical,{constraint}", "-keyout", self.directory / f"{name}.key", "-out", certificate)
        return certificate

    def leaf(self, host):
        """Gives the chain and the key for a server, as nginx takes them."""
        leaf = self._make(host, f"/CN={host}", "CA:false", "intermediate", host)
        chain = leaf.with_suffix(".chain.pem")
        chain.write_text(leaf.read_text() + self.intermediate.read_text())
        return chain, leaf.with_suffix(".key")

    def public_key(self, name):
        """PEM, of "root", "intermediate" or the host of a leaf."""
        return run("openssl", "x509", "-in", self.directory / f"{name}.pem", "-noout", "-pubkey").decode()


class Network:
    """One server address for each chain. A program sees the host names and the roots that `enter` gives it."""

    def __init__(self, directory):
        self.directory = pathlib.Path(directory)
        self.files = self.directory / "files"
        self.files.mkdir(parents=True)
        self.access_log = self.directory / "access.log"
        self.proxy_log = self.directory / "proxy.log"
        self._servers = []
        self._running = {}

    def add_server(self, chain_and_key, options=""):
        """Gives the address on which a server with that chain will answer for any host, once started."""
        address = f"127.0.1.{len(self._servers) + 1}"
        chain, key = chain_and_key
        self._servers.append(f"""server {{
            listen {address}:443 ssl http2; ssl_certificate {chain}; ssl_certificate_key {key};
            root {self.files}; {options} }}""")
        return address

    def start_servers(self):
        configuration = self.directory / "nginx.conf"
        scratch = "".join(f"{name}_temp_path {self.directory}/{name};"
                          for name in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        configuration.write_text(f"""user root root; daemon off; worker_processes 1; pid {self.directory}/nginx.pid;
            error_log {self.directory}/error.log; events {{}}
            http {{ {scratch} log_format request '$server_addr $status "$request" "$http_if_modified_since"';
                    access_log {self.access_log} request; {''.join(self._servers)} }}""")
        self._start("nginx", "nginx", "-c", configuration, "-e", self.directory / "error.log")
        wait_for("the web server", lambda: self._answers("127.0.1.1", 443))

    def start_proxy(self):
        configuration = self.directory / "tinyproxy.conf"
        configuration.write_text(f'Port {PROXY_PORT}\nListen 127.0.0.1\nLogFile "{self.proxy_log}"\nLogLevel Connect\n')
        # It looks host names up itself, so it sees those of the one server that it leads to.
        self._start("tinyproxy", *self.enter("127.0.1.1"), "tinyproxy", "-d", "-c", configuration)
        wait_for("the proxy", lambda: self._answers("127.0.0.1", PROXY_PORT))

    def _start(self, name, *command):
        self._running[name] = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    @staticmethod
    def _answers(address, port):
        try:
            socket.create_connection((address, port), 1).close()
            return True
        except OSError:
            return False

    def stop(self, name):
        process = self._running.pop(name)
        process.terminate()
        process.wait()

    def close(self):
        for name in list(self._running):
            self.stop(name)

    def enter(self, address, roots=(), hosts=(DOWNLOADS,), more_roots=""):
        """The words in front of a command that has it see the hosts at the address (None: nowhere), and trust the
        roots, which are files, and those of a bundle's text alone."""
        place = self.directory / f"view-{len(list(self.directory.glob('view-*')))}"
        trusted = place / "certs"
        trusted.mkdir(parents=True)
        names = f"{address} {' '.join(hosts)}\n" if address else ""
        (place / "hosts").write_text(f"127.0.0.1 localhost\n{names}")
        (trusted / "ca-certificates.crt").write_text(more_roots + "".join(root.read_text() for root in roots))
        for root in roots:
            shutil.copy(root, trusted / f"{run('openssl', 'x509', '-in', root, '-noout', '-hash').decode().strip()}.0")
        script = 'mount --bind "$1/hosts" /etc/hosts && mount --bind "$1/certs" /etc/ssl/certs && shift && exec "$@"'
        return ["unshare", "-m", "sh", "-c", script, "sh", place]

    def requests(self, address=""):
        lines = self.access_log.read_text().splitlines() if self.access_log.exists() else []
        return [line for line in lines if line.startswith(address)]

    def proxied(self):
        return self.proxy_log.read_text().count("): CONNECT ") if self.proxy_log.exists() else 0


def lay_pins(home, *public_keys):
    """Replaces the maker's keys of an installed suite."""
    directory = home.suite / "resources/certificates/zd"
    shutil.rmtree(directory, ignore_errors=True)
    directory.mkdir(parents=True)
    for name, key in zip(("tavrin.pem", "tavrin2.pem", "tavrin3.pem"), public_keys):
        (directory / name).write_text(key)


def device_list(revision, phones=()):
    """A supported list with the phones given as (vendor, product)."""
    entries = "".join(f"<device><variants><variant><identification><vendorID>{vendor}</vendorID><productID>{product}"
                      "</productID><typeID>T</typeID></identification></variant></variants></device>"
                      for vendor, product in phones)
    return f"<device-set><Revision-version>{revision}</Revision-version><devices>{entries}</devices></device-set>"


class NetworkAgent(Agent):
    """An agent that sees what `Network.enter` gave."""

    def __init__(self, home, enter, **extra):
        self._enter = enter
        super().__init__(home, extra)

    def command(self, home):
        return [*self._enter, *super().command(home)]
