# SPDX-License-Identifier: GPL-2.0-or-later
"""The first start of a host that has the plug-in installed, and a controller that comes to the usual port."""

import json
import pathlib
import socket
import subprocess
import sys

from privatehost import PrivateHost

USUAL_PORT = 2021
MANIFEST = pathlib.Path("/usr/share/obs/obs-plugins/kestrelbridge/manifest.json")

port = int(sys.argv[1]) if len(sys.argv) > 1 else USUAL_PORT  # another one is in the configuration file already
host = PrivateHost("/home", port=port)
if port == USUAL_PORT:
    host.plugin_config.unlink()  # the plug-in writes it
with host:
    host.wait_until_listening()
    with socket.create_connection(("127.0.0.1", port), timeout=10) as controller:
        stream = controller.makefile("rb")
        state = {entry["name"]: entry["value"] for entry in json.loads(stream.read(int(stream.read(4))))["values"]}
    subprocess.run(["kestrelctl", "wait"], check=True, timeout=10)

assert state["currentScene"] and len(state) == 20, state
assert f"Welcome to KestrelBridge version {json.loads(MANIFEST.read_text())['version']}!" in host.log()
assert json.loads(host.plugin_config.read_text()) == {"port": port}
assert host.exit_status == 0 and host.leaks() == 0, host.log()[-3000:]
print(f"-- the host told a controller of its scene \"{state['currentScene']}\" and ended cleanly")
