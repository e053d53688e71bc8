# SPDX-License-Identifier: GPL-2.0-or-later
"""The plug-in from the start of OBS to its end, through changes of the scene collection."""

import pytest
import websocket

from obskit.checkedcontroller import CheckedController
from obskit.obsprocess import wait_for
from obskit.obswebsocket import connect_to_obs

# What OBS shows with each scene collection: the program scene, the scenes, the mask of visible items.
SHOW = "Opening", ["Opening", "Interview", "Überblick"], 7
REHEARSAL = "Stage", ["Stage", "Off"], 3
NEW = "Scene", ["Scene"], 0
VISITS = [("SetCurrentSceneCollection", "Rehearsal", REHEARSAL)] * 20 + [
    ("CreateSceneCollection", name, NEW) for name in ("Fresh", "Fresh again")]


def shown(controller):
    scene, listed, visibles = controller.get("currentScene", "sceneList", "sourceVisibles")
    marked = [entry["name"] for entry in listed if entry["isCurrent"]]
    return marked == [scene] and (scene, [entry["name"] for entry in listed], visibles)


def visit_collections(controller, obs_websocket):
    for request, name, expected in VISITS:
        obs_websocket(request, sceneCollectionName=name)
        wait_for(lambda: shown(controller) == expected, 20, expected)
        if expected == NEW:
            # OBS emits no event for the scene of a new collection; its signals must be connected all the same.
            item = {"sceneName": "Scene", "inputName": "New", "inputKind": "color_source_v3"}
            obs_websocket("CreateInput", **item, sceneItemEnabled=True)
            controller.wait_for(lambda state: "New" in str(state["sceneList"]))
        obs_websocket("SetCurrentSceneCollection", sceneCollectionName="Show")
        wait_for(lambda: shown(controller) == SHOW, 20, SHOW)


def test_scene_collections_come_and_go(new_host):
    host = new_host()
    with CheckedController(host.port) as controller, connect_to_obs(host) as obs_websocket:
        try:
            visit_collections(controller, obs_websocket)
        except (websocket.WebSocketException, TimeoutError):
            if "OBS 32." in host.log() and "Not all sources were cleared" in host.log():
                pytest.skip("this OBS also stops at a change of the scene collection without the plug-in")
            raise
    host.assert_proper_end(loaded_collections=1 + 2 * len(VISITS))
    assert "Not all sources were cleared" not in host.log()


def test_closing_obs_ends_every_connection(new_host):
    host = new_host()
    with CheckedController(host.port) as one, CheckedController(host.port) as other:
        host.assert_proper_end()
        one.wait_until_closed()
        other.wait_until_closed()
    assert host.log().count("[kestrelbridge] Connection removed") == 2
