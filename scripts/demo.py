# SPDX-License-Identifier: GPL-2.0-or-later
"""The demo of ./run: a controller that requests one change after the other and waits until OBS confirms it."""

import re
import time

from kestrelbridge import Controller, KestrelBridgeError, WaitTimeout, item_bit

SCENES = {
    "Opening": ["Title", "Clock", "Wall"],
    "Interview": ["Lower third", "Guest", "Host", "Backdrop"],
    "Closing": ["Credits", "Logo", "Curtain"],
}
STEP_TIMEOUT_S = 10
POLL_INTERVAL_S = 0.1
FULL_STATE_ENTRIES = 20
RECORDING_GOAL = "00:00:03"
STATISTICS = {
    "cpuUsage": r"[0-9.e+]+%",
    "memoryUsage": r"[0-9]+\.[0-9] MB",
    "freeDisk": r"[0-9]+\.[0-9] [MGT]B",
    "fps": r"[0-9]+\.[0-9]{2} fps",
    "totalFrames": r"[0-9]+",
    "droppedFrames": r"[0-9]+",
    "congestion": r"[0-9]+\.[0-9]{2}%",
}

ANY = object()  # any value of a push will do


class StepFailed(Exception):
    """The text is what was not seen."""


def require(holds, what):
    if not holds:
        raise StepFailed(what)


class Demo(Controller):
    """The steps, in order; each returns the text that is printed behind its name."""

    def __init__(self, port, take_screenshot):
        self.received = []  # of the current step
        self._take_screenshot = take_screenshot
        super().__init__(port, timeout=STEP_TIMEOUT_S)

    def receive(self, timeout=None):
        entries = super().receive(timeout)
        self.received += [(entry["name"], entry["value"]) for entry in entries if entry]
        return entries

    def expect(self, *pushes):
        """Waits until these have arrived directly one after the other, each a name or a name and value."""
        pushes = [push if isinstance(push, tuple) else (push, ANY) for push in pushes]

        def has_arrived(_):
            return any(all(name == received and value in (ANY, seen)
                           for (name, value), (received, seen) in zip(pushes, self.received[begin:]))
                       for begin in range(len(self.received) - len(pushes) + 1))

        try:
            self.wait_for(has_arrived)
        except WaitTimeout:
            expected = ", ".join(name if value is ANY else f"{name} = {value!r}" for name, value in pushes)
            arrived = ", ".join(name for name, _ in self.received) or "nothing"
            raise StepFailed(f"pushed in this order: {expected}; what arrived: {arrived}") from None

    def scene(self, name):
        return next((scene for scene in self.state["sceneList"] if scene["name"] == name),
                    {"sourceList": [], "isCurrent": False})

    def items(self, scene):
        return [item["name"] for item in self.scene(scene)["sourceList"]]

    def full_state_received(self):
        require(len(self.full_state) == FULL_STATE_ENTRIES, f"{FULL_STATE_ENTRIES} values")
        require((self.state["currentScene"], self.state["studioMode"], self.state["recording"])
                == ("Opening", False, False), "OBS without studio mode and recording, on scene Opening")
        return f"{FULL_STATE_ENTRIES} values"

    def scene_list(self):
        for name, items in SCENES.items():
            require(self.items(name) == items, f"scene {name} with {', '.join(items)}")
        return ", ".join(f"{name} ({len(items)} items)" for name, items in SCENES.items())

    def program_scene_switched(self):
        self.set("currentScene", "Interview")
        self.expect("sceneList", ("currentScene", "Interview"))
        require(self.scene("Interview")["isCurrent"], "the scene list marks Interview")
        return "Interview"

    def item_hidden(self):
        return self._set_item_visible(False)

    def item_shown(self):
        return self._set_item_visible(True)

    def _set_item_visible(self, is_visible):
        [guest] = [item for item in self.scene("Interview")["sourceList"] if item["name"] == "Guest"]
        before = self.get("sourceVisibles")
        mask = before | item_bit(guest) if is_visible else before & ~item_bit(guest)
        self.set("sourceVisibles", mask)
        self.expect("sceneList", ("sourceVisibles", mask))
        visible = [item["name"] for item in self.scene("Interview")["sourceList"] if item["isVisible"]]
        require(before != mask and visible == [name for name in SCENES["Interview"] if is_visible or name != "Guest"],
                f"the change of exactly that item; visible now: {', '.join(visible)}")
        return f"Guest (mask {before} to {mask})"

    def studio_mode_entered(self):
        self.set("studioMode", 1)
        self.expect(("studioMode", True), "sceneList", ("currentScene", "Interview"), ("previewScene", "Interview"))

    def preview_scene_chosen(self):
        self.set("previewScene", "Closing")
        self.expect("sceneList", ("currentScene", "Interview"), ("previewScene", "Closing"))
        require(self.scene("Closing")["isCurrent"], "the scene list marks Closing")
        return "Closing"

    def recorded(self):
        self.set("recording", 1)
        self.expect(("recording", True))
        first = last = self.get("recordingTime")
        while last < RECORDING_GOAL:
            # OBS counts encoded frames, which may be some seconds late.
            deadline = time.monotonic() + STEP_TIMEOUT_S
            while (now := self.get("recordingTime")) <= last:
                require(time.monotonic() < deadline, f"a recording time after {last}")
                time.sleep(POLL_INTERVAL_S)
            if last == "00:00:00":
                print("  recording; studio mode: preview Closing, program Interview", flush=True)
                self._take_screenshot()
            last = now
        self.set("recording", 0)
        self.expect(("recording", False))
        return f"{last}, counted from {first}"

    def transition_triggered(self):
        self.set("triggerTransition", True)
        self.expect(("triggerTransition", False))
        self.expect("sceneList", ("currentScene", "Closing"))
        return "program scene Closing"

    def studio_mode_left(self):
        self.set("studioMode", 0)
        self.expect(("studioMode", False), "sceneList", ("currentScene", "Closing"), "previewScene")

    def statistics(self):
        values = dict(zip(STATISTICS, self.get(*STATISTICS)))
        for name, form in STATISTICS.items():
            require(re.fullmatch(form, str(values[name])), f"a proper {name}; it is {values[name]!r}")
        return ", ".join(f"{name} {value}" for name, value in values.items())


STEPS = {
    "full state": Demo.full_state_received,
    "scene list": Demo.scene_list,
    "program scene": Demo.program_scene_switched,
    "item hidden by mask": Demo.item_hidden,
    "item shown by mask": Demo.item_shown,
    "studio mode on": Demo.studio_mode_entered,
    "preview scene": Demo.preview_scene_chosen,
    "recording": Demo.recorded,
    "transition triggered": Demo.transition_triggered,
    "studio mode off": Demo.studio_mode_left,
    "statistics": Demo.statistics,
}


def run(port, take_screenshot):
    """Prints a line for each step; true when OBS has confirmed all of them. Ends at the first that fails."""
    title = next(iter(STEPS))
    try:
        with Demo(port, take_screenshot) as controller:
            try:
                for title, step in STEPS.items():
                    result = step(controller)
                    print(f"✓ {title}: {result}" if result else f"✓ {title}", flush=True)
                    controller.received.clear()
            except StepFailed:
                controller.set("recording", 0)  # OBS does not close without a question while it records
                raise
    except (StepFailed, KestrelBridgeError) as error:
        print(f"✗ {title}: not seen: {error}", flush=True)
        return False
    return True
