# SPDX-License-Identifier: GPL-2.0-or-later
"""The module in the host's life: its start, scene collections that come and go, the end."""

import json
import re
import socket

import pytest
import websocket
from conftest import assert_proper_end
from controller import Controller, connect_witness
from privatehost import wait_for

SWITCHES = 20


def visit_collections(witness):
    """Switches between existing collections and makes new ones; tells what should then be shown."""
    show = ("Opening", ["Opening", "Interview", "Überblick"], ["Opening"], 7)
    for _ in range(SWITCHES):
        witness("SetCurrentSceneCollection", sceneCollectionName="Rehearsal")
        yield "Stage", ["Stage", "Off"], ["Stage"], 3
        witness("SetCurrentSceneCollection", sceneCollectionName="Show")
        yield show
    for name in ("Fresh", "Fresh again"):
        witness("CreateSceneCollection", sceneCollectionName=name)
        yield "Scene", ["Scene"], ["Scene"], 0
        witness("SetCurrentSceneCollection", sceneCollectionName="Show")
        yield show


def shown(controller):
    scene, listed, visibles = controller.get("currentScene", "sceneList", "sourceVisibles")
    return scene, [entry["name"] for entry in listed], [entry["name"] for entry in listed if entry["isCurrent"]], visibles


def test_scene_collections_come_and_go(new_host):
    alone = new_host(module=None)
    witness = connect_witness(alone)
    if "OBS 32." in alone.log():
        try:
            for _ in visit_collections(witness):
                pass
        except websocket.WebSocketException:
            pytest.skip("this host does not get through it without the module either")
    witness.close()
    assert_proper_end(alone)

    host = new_host()
    witness = connect_witness(host)
    loaded = 1
    with Controller(host.port) as controller:
        for expected in visit_collections(witness):
            loaded += 1
            wait_for(lambda: shown(controller) == expected, 20, expected)
            if expected[0] == "Scene":
                # The host tells nobody of the scene of a new collection; its wrapper must be listened to all the same.
                item = {"sceneName": "Scene", "inputName": "New", "inputKind": "color_source_v3"}
                witness("CreateInput", **item, sceneItemEnabled=True)
                controller.wait_for("sceneList", lambda scenes: scenes[0]["sourceList"][0]["name"] == "New")
    assert_proper_end(host)
    if None not in (host.leaks(), alone.leaks()):
        assert host.leaks() <= loaded * alone.leaks()  # each collection that is loaded costs the host the same
    assert "Not all sources were cleared" not in host.log()


def test_the_configuration_file_is_repaired(new_host):
    host = new_host(collections=(), start=False)
    host.configure_plugin('{"port": 70000, "other": [1]}')
    with host:
        path = host.wait_for_log(r"read port config from: (.*) and is starting on port 2021\n").group(1)
        host.wait_for_log(r"Server (listening|failed to listen) on localhost, port 2021\n")
    assert path == str(host.plugin_config)
    assert json.loads(host.plugin_config.read_text()) == {"port": 2021, "other": [1]}
    assert host.plugin_config.read_text().endswith("}\n")


def test_a_port_in_use_is_told_and_harms_nobody(new_host):
    host = new_host(start=False)
    with socket.create_server(("127.0.0.1", host.port)):
        with host:
            host.wait_for_log(rf"Server failed to listen on localhost, port {host.port}\n")
            connect_witness(host).close()
    assert_proper_end(host)
    welcome = re.findall(r"Welcome to KestrelBridge version 1.1.1! You're using OBS (\d+) \((.*)\)", host.log())
    assert len(welcome) == 1
    number, text = welcome[0]
    assert text.startswith(f"{int(number) >> 24}.{(int(number) >> 16) & 255}.{int(number) & 65535}")


def test_closing_the_host_ends_every_connection(new_host):
    host = new_host()
    with Controller(host.port) as one, Controller(host.port) as other:
        assert_proper_end(host)
        one.wait_until_closed()
        other.wait_until_closed()
    assert host.log().count("[kestrelbridge] Connection removed") == 2
