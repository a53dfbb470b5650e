"""An update server of the tests' own: a key, signed manifests, and installers that note how they were called."""

import suite
from network import Authority, Network, NetworkAgent, lay_pins, run

HOST = "update.tavrin.example"
WM_TIMER = 275
CHECK_TIMER = 11


class UpdateServer:
    def __init__(self, directory, options=""):
        self.network = Network(directory)
        authority = Authority(self.network.directory, "Updates")
        address = self.network.add_server(authority.leaf(HOST), options)
        self._pin = authority.public_key(HOST)
        self.view = self.network.enter(address, [authority.root], [HOST])
        self._key = self.network.directory / "private-key.pem"
        run("openssl", "genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", self._key)
        self.public_key = run("openssl", "pkey", "-in", self._key, "-pubout").decode()
        self._files = self.network.files / "zd"
        self._files.mkdir()
        self.network.start_servers()

    @property
    def manifest(self):
        return self._files / "manifest.xml"

    def installer(self, version):
        return self._files / f"zdsetup-{version}.exe"

    def install_keys(self, home):
        lay_pins(home, self._pin)
        (home.suite / "resources/certificates/zd/public-key.pem").write_text(self.public_key)

    def publish(self, version, eula="2.0.0.0", size=0, more=""):
        """An installer of at least that many bytes, and the manifest that names it, with further elements."""
        script = f'#!/bin/sh\nprintf "%s\\n" "{version}:$*" >> "$HOME/installed"\nexit\n'
        self.installer(version).write_bytes(script.encode() + b"#" * size)
        signature = self._sign("--installer", self.installer(version)).strip()
        self.manifest.write_text(f"""<?xml version="1.0" encoding="UTF-8"?>
<manifest>
  <application>
    <id>Zelmo Dockset</id>
    <version>{version}</version>
    <eula-version>{eula}</eula-version>
    <url>https://{HOST}/zd/zdsetup-{version}.exe</url>
    <signature>{signature}</signature>{more}
  </application>
</manifest>
""")
        self._sign(self.manifest)

    def _sign(self, *words):
        words = [*words[:-1], self._key, words[-1]]
        return run(suite.SUITE / "zdmanifest", "sign", *words).decode()

    def start_agent(self, home, **environment):
        agent = home.adopt(NetworkAgent(home, self.view, **environment))
        agent.wait_until_listening()
        return agent

    def fetched(self, version):
        """How often that version's installer was asked for."""
        return sum(f"zdsetup-{version}.exe" in line for line in self.network.requests())

    def close(self):
        self.network.close()


def check_for_updates(home):
    """As the timer does, but now."""
    home.post("ZelmoDocksetAgent", WM_TIMER, CHECK_TIMER)


def installed(home):
    """The calls of installers so far, as "version:arguments"."""
    path = home.path / "installed"
    return path.read_text().splitlines() if path.exists() else []
