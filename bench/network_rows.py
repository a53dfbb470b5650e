#!/usr/bin/env python3
"""Runs the benchmarks that need a server beside a real one, in a network of their own. Prints their results as JSON:
for each name the median of five runs, taken in turns, each in a process of its own, and under "agent" the shipped
program's memory before and after its first pass over the device lists."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "stage"))

from network import (DOWNLOADS, LISTS, Authority, Network, NetworkAgent, device_list, in_private_network,  # noqa: E402
                     lay_pins)
from suite import Home, proportional_memory  # noqa: E402

MODIFIED = 1704067200  # what the benchmark asks by: 1 January 2024
VARIANTS = 100_000


def big_list():
    variants = "".join(
        "<device><variants><variant><identification><vendorID>0x3A5F</vendorID>"
        f"<productID>0x{number % 65536:04X}</productID><typeID>ZC-{number}</typeID></identification>"
        "<brztsupport>yes</brztsupport></variant></variants></device>\n" for number in range(VARIANTS))
    return ("<device-set><Revision-version>1000</Revision-version><devices>\n" + variants + "</devices></device-set>\n")


def agent_memory(network, address, authority):
    """In MB."""
    with Home() as home:
        lay_pins(home, authority.public_key("intermediate"))
        agent = home.adopt(NetworkAgent(home, network.enter(address, [authority.root])))
        agent.wait_until_listening()
        agent.wait_for_scan()
        before = proportional_memory(agent.process.pid)
        agent.wait_for_line("DeviceFilterHandler Next update in 24 hours.", seconds=30)
        agent.wait_for_scan()
        after = proportional_memory(agent.process.pid)
        agent.stop()
    return {"before": before, "after": after}


def main():
    bench, pattern = sys.argv[1:]
    in_private_network()
    with tempfile.TemporaryDirectory(prefix="zd-bench-") as directory:
        network = Network(directory)
        authority = Authority(network.directory)
        address = network.add_server(authority.leaf(DOWNLOADS))
        small = f"{LISTS.replace('production', 'sandbox')}/zd-{{}}supported-devices.xml"
        for path, text in (("list-1mb", "x" * 1_000_000), ("nothing", "0"), (f"{LISTS}/zd-supported-devices.xml", big_list()),
                           (f"{LISTS}/zd-unsupported-devices.xml", device_list(1000)),
                           (small.format(""), device_list(1000)), (small.format("un"), device_list(1000))):
            file = network.files / path
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text)
            os.utime(file, (MODIFIED, MODIFIED))
        keys = network.directory / "keys"
        keys.mkdir()
        (keys / "tavrin.pem").write_text(authority.public_key("intermediate"))
        # What a machine trusts, and the tests' own root.
        system = pathlib.Path("/etc/ssl/certs/ca-certificates.crt").read_text()
        view = network.enter(address, [authority.root], more_roots=system)
        # In memory, where it can be had: the rows count work, not the mood of a disk.
        place = {"TMPDIR": "/dev/shm"} if os.access("/dev/shm", os.W_OK) else {}
        environment = {**os.environ, **place, "BENCH_SERVER": f"https://{DOWNLOADS}", "BENCH_KEYS": str(keys)}
        network.start_servers()

        def run(*options):
            return subprocess.run([*view, bench, *options], env=environment, check=True, text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout

        try:
            names = run(f"--benchmark_filter={pattern}", "--benchmark_list_tests").split()
            runs = {name: [] for name in names}
            for name in 5 * names:
                output = run(f"--benchmark_filter=^{name}$", "--benchmark_format=json")
                runs[name] += json.loads(output[output.index("{"):])["benchmarks"]
            (network.files / f"{LISTS}/zd-supported-devices.xml").write_text(device_list(1000))
            memory = agent_memory(network, address, authority)
        finally:
            network.close()
    medians = {name.removesuffix("/real_time").removesuffix("/iterations:1"): sorted(results, key=lambda result: result["real_time"])[2]
               for name, results in runs.items()}
    print(json.dumps({"agent": memory, **medians}))


if __name__ == "__main__":
    main()
