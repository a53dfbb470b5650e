#!/usr/bin/python3
"""Shows an update from the server's manifest to the installer's start, and an attack that is refused.

Everything happens on a network and a desktop of its own; the installers are stand-ins that note how they were called.
Pictures go to out/demo.
"""

import sys

from demo import picture, run  # first: it finds the rig
from desktop import Desktop
from network import in_private_network
from suite import wait_for
from updates import UpdateServer, check_for_updates, installed


def offered(item):
    return [label for _, label in item.open_menu()][1:-2]


def click_balloon(desktop, name):
    wait_for("the balloon", lambda: desktop.notifications() > 0)
    picture(desktop, name)
    desktop.output(["dunstctl", "action", "0"])
    desktop.output(["dunstctl", "close-all"])


def demonstrate(home, tell, directory, closing):
    tell.step("an update server and a desktop to show it on")
    server = UpdateServer(directory)
    closing.callback(server.close)
    server.install_keys(home)
    desktop = Desktop(home)
    closing.callback(desktop.close)
    desktop.start()

    tell.step("the agent asks the update server: the newest version is its own")
    server.publish("2.18.6.0")
    agent = server.start_agent(home, **desktop.for_agent)
    tell.follow(agent)
    item = desktop.item()
    check_for_updates(home)
    agent.wait_for_line("autoupdate Up to date.")

    tell.step("a newer version appears: a balloon; the installer is fetched and verified: a second one")
    server.publish("2.19.0.0")
    check_for_updates(home)
    wait_for("the offer to install", lambda: offered(item) == ["Install update"])

    tell.step("a click on it starts the installer, quietly")
    click_balloon(desktop, "update-quiet")
    wait_for("the installer", lambda: installed(home) == ["2.19.0.0:/passive ZdAutoUpdate=1"])

    tell.step("the next version has a newer license: its installer is shown")
    server.publish("2.20.0.0", eula="2.1")
    check_for_updates(home)
    wait_for("the offer to install", lambda: offered(item) == ["Install update"])
    click_balloon(desktop, "update-license")
    wait_for("the installer", lambda: installed(home)[1:] == ["2.20.0.0:"])

    tell.step("somebody alters the manifest on the server: it is refused, and nobody is asked anything")
    text = server.manifest.read_text()
    server.manifest.write_text(text.replace("2.20.0.0</version>", "2.66.0.0</version>"))
    check_for_updates(home)
    agent.wait_for_line("autoupdate Failed to verify Zelmo Dockset manifest")
    if offered(item) or desktop.notifications():
        raise AssertionError("an altered manifest led to an offer")

    tell.step("the agent stops")
    if (code := agent.stop()) != 0:
        raise AssertionError(f"the agent ended with {code}")
    tell.end()
    return "an update was fetched, verified and installed."


if __name__ == "__main__":
    in_private_network()
    sys.exit(run(demonstrate))
