# SPDX-License-Identifier: GPL-2.0-or-later
"""The plug-in from the start of OBS to its end, through changes of the scene collection."""

import json
import re

import pytest
import websocket

from obskit.checkedcontroller import CheckedController
from obskit.obsprocess import wait_for
from obskit.obswebsocket import connect_to_obs

SWITCHES = 20


def visit_collections(obs_websocket):
    """Switches between existing collections and creates new ones; yields what shown() should then return."""
    show = ("Opening", ["Opening", "Interview", "Überblick"], ["Opening"], 7)
    other = {"Rehearsal": ("Stage", ["Stage", "Off"], ["Stage"], 3)}
    new = ("Scene", ["Scene"], ["Scene"], 0)
    for name in ["Rehearsal"] * SWITCHES + ["Fresh", "Fresh again"]:
        request = "SetCurrentSceneCollection" if name in other else "CreateSceneCollection"
        obs_websocket(request, sceneCollectionName=name)
        yield other.get(name, new)
        obs_websocket("SetCurrentSceneCollection", sceneCollectionName="Show")
        yield show


def shown(controller):
    scene, listed, visibles = controller.get("currentScene", "sceneList", "sourceVisibles")
    current = [entry["name"] for entry in listed if entry["isCurrent"]]
    return scene, [entry["name"] for entry in listed], current, visibles


def test_scene_collections_come_and_go(new_host):
    alone = new_host(module=None)
    with connect_to_obs(alone) as obs_websocket:
        if "OBS 32." in alone.log():
            try:
                list(visit_collections(obs_websocket))
            except websocket.WebSocketException:
                pytest.skip("this OBS crashes without the plug-in, too")
    alone.assert_proper_end()

    host = new_host()
    loaded = 1
    with CheckedController(host.port) as controller, connect_to_obs(host) as obs_websocket:
        for expected in visit_collections(obs_websocket):
            loaded += 1
            wait_for(lambda: shown(controller) == expected, 20, expected)
            if expected[0] == "Scene":
                # OBS emits no event for the scene of a new collection; its signals must be connected all the same.
                item = {"sceneName": "Scene", "inputName": "New", "inputKind": "color_source_v3"}
                obs_websocket("CreateInput", **item, sceneItemEnabled=True)
                controller.wait_for(lambda state: "New" in str(state["sceneList"]))
    host.assert_proper_end()
    if None not in (host.leaks(), alone.leaks()):
        assert host.leaks() <= loaded * alone.leaks()  # OBS leaks the same for each collection it loads
    assert "Not all sources were cleared" not in host.log()


def test_the_configuration_file_is_repaired(new_host):
    host = new_host(collections=(), start=False)
    host.plugin_config.write_text('{"port": 70000, "other": [1]}')
    with host:
        path = host.wait_for_log(r"read port config from: (.*) and is starting on port 2021\n")[1]
        host.wait_for_log(r"Server (listening|failed to listen) on localhost, port 2021\n")
    assert path == str(host.plugin_config)
    assert json.loads(host.plugin_config.read_text()) == {"port": 2021, "other": [1]}
    assert host.plugin_config.read_text().endswith("}\n")


def test_closing_obs_ends_every_connection(new_host):
    host = new_host()
    with CheckedController(host.port) as one, CheckedController(host.port) as other:
        host.assert_proper_end()
        one.wait_until_closed()
        other.wait_until_closed()
    assert host.log().count("[kestrelbridge] Connection removed") == 2
    welcome = r"Welcome to KestrelBridge version 1.1.1! You're using OBS (\d+) \((.*)\)"
    [(number, text)] = re.findall(welcome, host.log())
    assert text.startswith(f"{int(number) >> 24}.{(int(number) >> 16) & 255}.{int(number) & 65535}")
