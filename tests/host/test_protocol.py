# SPDX-License-Identifier: GPL-2.0-or-later
"""The basics of the protocol: the full state, what ends a connection, the example of the README."""

import pathlib
import re
import subprocess
import sys
import time
from unittest.mock import ANY

from conftest import SCENES
from obskit.checkedcontroller import CheckedController


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


def test_malformed_input_and_silence_end_a_connection(host, controller):
    with CheckedController(host.port) as malformed, CheckedController(host.port, keep_alive=False) as silent:
        begin = time.monotonic()
        malformed.send_bytes(b"POST / HTTP/1.1\r\n\r\n")
        malformed.wait_until_closed()
        host.wait_for_log(r"\[kestrelbridge] Malformed expectant bytes: POST\n[\s\S]*readData failed[\s\S]*"
                          r"Connection removed[\s\S]*Deleting dead connection")
        silent.wait_until_closed()
        assert time.monotonic() > begin + 4.5
        assert host.log().count("Connection alive expired. Disconnecting!") == 1
    assert controller.sync() == [], "the controller that sends keep-alives stays connected"


def test_the_example_of_the_readme(host, controller):
    readme = (pathlib.Path(__file__).resolve().parents[2] / "README.md").read_text()
    example = re.search(r"```python\n(.*?)```", readme, re.S).group(1).replace("2021", str(host.port))
    shown = subprocess.run([sys.executable, "-c", example], capture_output=True, text=True, timeout=20, check=True)
    assert shown.stdout == "Opening ['sceneList', 'sourceVisibles']\n"
    assert controller.expect("sceneList", "sourceVisibles")[1] == 6
