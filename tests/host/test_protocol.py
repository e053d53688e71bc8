# SPDX-License-Identifier: GPL-2.0-or-later
"""The basics of the protocol: the full state, what ends a connection, the example of the README."""

import pathlib
import re
import subprocess
import sys
import time

from conftest import SCENES
from obskit.checkedcontroller import CheckedController

STATE = ["cpuUsage", "memoryUsage", "freeDisk", "recordingTime", "streamingTime", "totalFrames", "droppedFrames",
         "congestion", "studioMode", "triggerTransition", "streaming", "recording", "sceneList", "currentScene",
         "previewScene", "sourceLocks", "sourceVisibles", "transitionsList", "currentTransition", "transitionDuration"]


def test_the_full_state_comes_first_and_is_true(controller):
    state = {entry["name"]: entry["value"] for entry in controller.full_state}
    assert list(state) == STATE and len(controller.full_state) == len(STATE)
    assert state["recordingTime"] == state["streamingTime"] == "00:00:00"
    assert (state["totalFrames"], state["droppedFrames"], state["congestion"]) == (0, 0, "0.00%")
    assert [state[switch] for switch in ("studioMode", "triggerTransition", "streaming", "recording")] == [False] * 4
    assert state["sceneList"] == [
        {"name": scene, "sortIndex": index, "isCurrent": index == 0, "sourceList": [
            {"name": item, "isVisible": True, "isLocked": False, "sortIndex": position}
            for position, item in enumerate(items)]}
        for index, (scene, items) in enumerate(SCENES.items())]
    assert (state["currentScene"], state["previewScene"]) == ("Opening", "")
    assert (state["sourceVisibles"], state["sourceLocks"]) == (7, 0)
    assert {entry["name"]: entry.get("duration") for entry in state["transitionsList"]} == {"Cut": None, "Fade": 300}
    assert (state["currentTransition"], state["transitionDuration"]) == ("Fade", 300)


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
