# SPDX-License-Identifier: GPL-2.0-or-later
"""Every change in OBS is pushed once, in order, to all controllers, whether a controller made it or not."""

import time

from obskit.checkedcontroller import CheckedController
from obskit.obsprocess import wait_for


def scenes(scene_list):
    return {scene["name"]: [item["name"] for item in scene["sourceList"]] for scene in scene_list}


def test_items_of_the_program_scene(host, controller, obs_websocket):
    with CheckedController(host.port) as other:
        obs_websocket.show("Opening", "Clock", False)
        for receiver in controller, other:
            assert receiver.expect("sceneList", "sourceVisibles")[1] == 5

        # One pair an item, before the answer to the request that made the changes.
        controller.send([{"type": "set", "name": "sourceVisibles", "value": 2}, {"name": "sourceVisibles"}])
        assert [controller.expect("sceneList", "sourceVisibles")[1] for _ in range(3)] == [4, 6, 2]
        assert controller.next() == [("sourceVisibles", 2)]
        enabled = [item["sceneItemEnabled"] for item in obs_websocket.items("Opening").values()]
        assert enabled == [False, True, False]
        controller.set("sourceVisibles", 2)
        controller.set("sourceVisibles", 7)
        controller.expect(*["sceneList", "sourceVisibles"] * 2)

        controller.set("sourceLocks", 1)
        assert controller.expect("sceneList", "sourceLocks")[1] == 1
        controller.set("sourceLocks", 4294967295)
        assert [name for name, _ in controller.sync()] == ["sceneList", "sourceLocks"] * 2
        assert controller.get("sourceLocks") == 7
        controller.set("sourceLocks", 0)
        assert len(other.sync()) == 22


def test_items_come_and_go(controller, obs_websocket):
    made = obs_websocket("CreateInput", sceneName="Opening", inputName="Crawl", inputKind="color_source_v3",
                         sceneItemEnabled=True)["sceneItemId"]
    [scene_list] = controller.expect("sceneList")
    assert scenes(scene_list)["Opening"] == ["Crawl", "Title", "Clock", "Wall"]
    obs_websocket("SetSceneItemIndex", sceneName="Opening", sceneItemId=made, sceneItemIndex=0)
    assert scenes(controller.expect("sceneList")[0])["Opening"] == ["Title", "Clock", "Wall", "Crawl"]
    obs_websocket("RemoveInput", inputName="Crawl")  # OBS emits the signal on its graphics thread
    assert scenes(controller.expect("sceneList")[0])["Opening"] == ["Title", "Clock", "Wall"]
    assert controller.sync() == []


def test_scenes_change_are_made_renamed_and_removed(controller, obs_websocket):
    controller.set("sceneList", "Interview")
    pushes = controller.expect("triggerTransition", "sceneList", "currentScene")
    assert [scene["name"] for scene in pushes[1] if scene["isCurrent"]] == [pushes[2]] == ["Interview"]
    assert controller.get("sourceVisibles") == 15

    obs_websocket("SetCurrentProgramScene", sceneName="Überblick")
    assert controller.expect("triggerTransition", "sceneList", "currentScene")[2] == "Überblick"
    assert controller.get("sourceVisibles") == 0
    obs_websocket("CreateScene", sceneName="Extra")
    assert "Extra" in scenes(controller.expect("sceneList")[0])
    obs_websocket("SetSceneName", sceneName="Überblick", newSceneName="Übersicht")
    assert "Übersicht" in scenes(controller.expect("sceneList")[0])
    obs_websocket("SetSceneName", sceneName="Übersicht", newSceneName="Überblick")
    controller.set("currentScene", "Extra")
    controller.expect("sceneList", "triggerTransition", "sceneList", "currentScene")

    # The program scene is removed: OBS switches to another one.
    obs_websocket("RemoveScene", sceneName="Extra")
    controller.wait_for(lambda state: state["currentScene"] != "Extra")
    assert "Extra" not in scenes(controller.get("sceneList"))
    controller.set("currentScene", "Opening")
    controller.wait_for(lambda state: state["currentScene"] == "Opening")


def test_studio_mode_and_its_transition(controller, obs_websocket):
    controller.set("studioMode", 1)
    assert controller.expect("studioMode", "sceneList", "currentScene", "previewScene")[2:] == ["Opening", "Opening"]
    controller.set("sceneList", "Interview")
    values = controller.expect("sceneList", "currentScene", "previewScene")
    assert values[1:] == ["Opening", "Interview"]
    assert [scene["name"] for scene in values[0] if scene["isCurrent"]] == ["Interview"]

    # Masks are of the program scene, whatever changes in the preview.
    obs_websocket.show("Interview", "Guest", False)
    assert controller.expect("sceneList", "sourceVisibles")[1] == 7
    obs_websocket.show("Interview", "Guest", True)
    controller.expect("sceneList", "sourceVisibles")

    controller.set("triggerTransition", False)
    pushes = controller.expect("sceneList", "currentScene", "previewScene", "triggerTransition", "sceneList",
                               "currentScene")
    assert pushes[3] is False and pushes[5] == "Interview"
    controller.set("studioMode", 0)
    pushes = controller.expect("sceneList", "currentScene", "sceneList", "currentScene", "studioMode", "sceneList",
                               "currentScene", "previewScene")
    assert pushes[4] is False and pushes[6] == "Interview"
    obs_websocket("SetCurrentProgramScene", sceneName="Opening")
    assert controller.expect("triggerTransition", "sceneList", "currentScene")[2] == "Opening"


def test_transitions(controller, obs_websocket):
    # Set again and again: newer versions of OBS ignore it during a transition.
    wait_for(lambda: controller.set("currentTransition", "Cut") or controller.get("currentTransition") == "Cut", 20,
             "the other transition")
    controller.set("transitionsList", "Fade")
    [listed] = controller.expect("transitionsList")
    assert [entry["name"] for entry in listed if entry["isCurrent"]] == ["Fade"]
    controller.set("transitionDuration", 700)
    assert controller.expect("transitionDuration", "transitionsList")[0] == 700
    obs_websocket("SetCurrentSceneTransitionDuration", transitionDuration=300)
    duration, listed = controller.expect("transitionDuration", "transitionsList")
    assert [duration] == [entry["duration"] for entry in listed if entry["isCurrent"]] == [300]
    assert controller.sync() == [], "one push for each change"


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
        begin = time.monotonic()
        while time.monotonic() < begin + 7:  # longer than the keep-alive timeout of 5 s
            for visibles in (6, 7):
                obs_websocket.show("Opening", "Title", visibles == 7)
                controller.wait_for(lambda state: state["sourceVisibles"] == visibles)
        with CheckedController(host.port) as late:
            assert late.get("fps") == "10.00 fps"
        host.press(dialog, "Escape")
        while asking.next() != [("fps", "10.00 fps")]:
            pass
        assert asking.get("streaming") is False
