# SPDX-License-Identifier: GPL-2.0-or-later
"""The full state, then every change once, in order, for all controllers, whether a controller made it or not."""

import json
import pathlib
import re
import subprocess
import sys
from unittest.mock import ANY

from conftest import SCENES
from obskit.checkedcontroller import CheckedController
from obskit.obsprocess import wait_for


def test_the_full_state_comes_first_and_is_true(controller):
    assert [(entry["name"], entry["value"]) for entry in controller.full_state] == [
        ("cpuUsage", ANY), ("memoryUsage", ANY), ("freeDisk", ANY),
        ("recordingTime", "00:00:00"), ("streamingTime", "00:00:00"),
        ("totalFrames", 0), ("droppedFrames", 0), ("congestion", "0.00%"),
        ("studioMode", False), ("triggerTransition", False), ("streaming", False), ("recording", False),
        ("sceneList", [{"name": scene, "sortIndex": index, "isCurrent": index == 0, "sourceList": [
            {"name": item, "isVisible": True, "isLocked": False, "sortIndex": position}
            for position, item in enumerate(items)]} for index, (scene, items) in enumerate(SCENES.items())]),
        ("currentScene", "Opening"), ("previewScene", ""), ("sourceLocks", 0), ("sourceVisibles", 7),
        ("transitionsList", ANY), ("currentTransition", "Fade"), ("transitionDuration", 300)]
    transitions = controller.state["transitionsList"]  # in an order that differs between versions of OBS
    assert {entry["name"]: entry.get("duration") for entry in transitions} == {"Cut": None, "Fade": 300}


def as_in_the_table(name, value):
    """The two forms in which a push can be expected."""
    if isinstance(value, list):
        value = ", ".join(entry["name"] for entry in value if entry["isCurrent"])
    return name, f"{name}={value if isinstance(value, str) else json.dumps(value)}"


def scenes_of_obs(obs_websocket):
    """As in "sceneList", without its order of scenes."""
    names = [scene["sceneName"] for scene in obs_websocket("GetSceneList")["scenes"]]
    return {name: [(item["sourceName"], item["sceneItemEnabled"], item["sceneItemLocked"])
                   for item in reversed(obs_websocket.items(name).values())] for name in names}


def test_every_change(host, controller, obs_websocket):
    table = pathlib.Path(__file__).with_name("changes.txt").read_text()
    with CheckedController(host.port) as other:
        for line in re.findall("^[^#\n].*", table, re.M):
            change, expected = line.split("|")
            name, argument = change.split(" ", 1)
            if name[0].islower():
                controller.set(name, json.loads(argument))
            else:
                obs_websocket(name, **json.loads(argument))
            for receiver in controller, other:
                pushed = [as_in_the_table(*push) for _ in expected.split() for push in receiver.next()]
                assert all(push in forms for push, forms in zip(expected.split(), pushed, strict=True)), (line, pushed)
            scenes = {scene["name"]: [(item["name"], item["isVisible"], item["isLocked"])
                                      for item in scene["sourceList"]] for scene in controller.state["sceneList"]}
            assert scenes == scenes_of_obs(obs_websocket), line
        assert other.sync() == [], "one push for each change"


def test_the_program_scene_is_removed(controller, obs_websocket):
    """OBS switches to another scene, with pushes that differ between its versions."""
    controller.set("currentScene", "Extra")
    controller.wait_for(lambda state: state["currentScene"] == "Extra")
    obs_websocket("RemoveScene", sceneName="Extra")
    controller.wait_for(lambda state: state["currentScene"] != "Extra")
    assert "Extra" not in [scene["name"] for scene in controller.get("sceneList")]
    controller.set("currentScene", "Opening")
    controller.wait_for(lambda state: state["currentScene"] == "Opening")


def test_a_recording(host, controller):
    controller.set("recording", 1)
    assert controller.expect("recording") == [True]
    wait_for(lambda: controller.get("recordingTime") >= "00:00:02", 20, "a recording time that advances")
    controller.set("recording", -1)
    assert controller.expect("recording") == [False]
    wait_for(lambda: controller.get("recordingTime") == "00:00:00", 20, "the end of the output, which follows its push")
    assert next(host.recordings.iterdir()).stat().st_size > 0


def test_a_dialog_left_open(host, controller, obs_websocket):
    """Starting a stream without a server opens a modal dialog inside the request that asked for it."""
    with CheckedController(host.port, keep_alive=False) as asking:
        asking.set("streaming", 1)
        asking.send([{"name": "fps"}])
        [dialog] = wait_for(lambda: host.windows("Failed to start streaming"), 20, "the dialog")
        with CheckedController(host.port) as late, CheckedController(host.port, keep_alive=False) as silent:
            assert late.get("fps") == "10.00 fps"
            for visibles in 6, 7:
                obs_websocket("SetSceneItemEnabled", sceneName="Opening", sceneItemId=3, sceneItemEnabled=visibles == 7)
                controller.wait_for(lambda state: state["sourceVisibles"] == visibles)
            silent.wait_until_closed()  # after 5 s; the one that waits for its answer stays
        host.press(dialog, "Escape")
        while asking.next() != [("fps", "10.00 fps")]:
            pass
        assert asking.get("streaming") is False


def test_the_example_of_the_readme(host, controller):
    readme = (pathlib.Path(__file__).resolve().parents[2] / "README.md").read_text()
    example = re.search(r"```python\n(.*?)```", readme, re.S).group(1).replace("2021", str(host.port))
    shown = subprocess.run([sys.executable, "-c", example], capture_output=True, text=True, timeout=20, check=True)
    assert shown.stdout == "Opening ['sceneList', 'sourceVisibles']\n"
    assert controller.expect("sceneList", "sourceVisibles")[1] == 6
