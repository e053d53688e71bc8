# SPDX-License-Identifier: GPL-2.0-or-later
"""Starts OBS with the installed package: smoke_test.py [PORT]

For the first time, and a controller connects to the default port; or with a port that the configuration file holds.
"""

import json
import pathlib
import subprocess
import sys

import kestrelbridge
from obskit.obsprocess import ObsProcess

MANIFEST = pathlib.Path("/usr/share/obs/obs-plugins/kestrelbridge/manifest.json")

assert kestrelbridge.__file__.startswith("/usr/"), "the module of the package"
port = int(sys.argv[1]) if len(sys.argv) > 1 else kestrelbridge.DEFAULT_PORT
obs = ObsProcess("/home", port=port)
if port == kestrelbridge.DEFAULT_PORT:
    obs.plugin_config.unlink()  # the plug-in writes it
with obs:
    obs.wait_until_listening()
    with kestrelbridge.Controller(port) as controller:
        state = controller.state
    subprocess.run(["kestrelctl", "wait"], check=True, timeout=10)

assert state["currentScene"] and len(controller.full_state) == 20, state
assert f"Welcome to KestrelBridge version {json.loads(MANIFEST.read_text())['version']}!" in obs.log()
assert json.loads(obs.plugin_config.read_text()) == {"port": port}
obs.assert_proper_end(loaded_collections=0)
print(f"-- a controller received the full state with the scene \"{state['currentScene']}\"; OBS ended without leaks")
