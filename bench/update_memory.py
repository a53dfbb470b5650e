"""Prints by how many MB the agent grows at the most when it fetches an installer, and the installer's size in MB.

The figure is the larger one of a server that announces the length and one that does not.
"""

import pathlib
import re
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "stage"))

from network import in_private_network  # noqa: E402
from suite import Home  # noqa: E402
from updates import UpdateServer, check_for_updates  # noqa: E402

MEGABYTES = 500


def memory(agent, field):
    status = pathlib.Path(f"/proc/{agent.process.pid}/status").read_text()
    return int(re.search(rf"\n{field}:\s+(\d+) kB", status).group(1)) * 1024 / 1e6


def growth(options):
    with tempfile.TemporaryDirectory(prefix="zd-updates-") as directory, Home(accept_unrecognized=None) as home:
        server = UpdateServer(directory, options)
        try:
            server.install_keys(home)
            server.publish("2.19.0.0", size=MEGABYTES * 1_000_000)
            agent = server.start_agent(home)
            idle = memory(agent, "VmRSS")
            check_for_updates(home)
            agent.wait_for_line("autoupdate Saving downloaded version", seconds=120)
            highest = memory(agent, "VmHWM")
            agent.stop()
            return highest - idle
        finally:
            server.close()


if __name__ == "__main__":
    in_private_network()
    # Pages that the server looks through for instructions have no announced length.
    print(max(growth(""), growth("ssi on; ssi_types *;")), MEGABYTES)
