# SPDX-License-Identifier: GPL-2.0-or-later
"""An OBS Studio process with the plug-in, with settings, a port and, unless a display is given, a screen of its own.

    with ObsProcess(folder, collections=[collection("Show", {"Opening": ["Title", "Backdrop"]})]) as obs:
        obs.wait_until_listening()
        ...
    assert obs.exit_status == 0
"""

import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import time
import warnings

SCREEN = "1280x1024x24"
HIGHEST_PORT = 65353


def free_port():
    """An unused port of the loopback interface, within the plug-in's range."""
    while True:
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        if port <= HIGHEST_PORT:
            return port


def wait_for(condition, timeout, what):
    """Polls until the condition holds and returns its result; the TimeoutError names what is missing."""
    deadline = time.monotonic() + timeout
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise TimeoutError(f"not within {timeout} s: {what}")
        time.sleep(0.02)


def collection(name, scenes, transition="Fade"):
    """A scene collection in the format of OBS: scenes with their items, top-most first, each with its own colour."""
    colours = [0xFF4C566A, 0xFFD08770, 0xFFA3BE8C, 0xFF5E81AC, 0xFFB48EAD, 0xFFEBCB8B]
    sources, items_seen = [], set()
    for scene, items in scenes.items():
        entries = []
        for position, item in enumerate(reversed(items)):
            if item not in items_seen:
                items_seen.add(item)
                settings = {"width": 1280, "height": 720, "color": colours[len(items_seen) % len(colours)]}
                sources.append({"id": "color_source", "versioned_id": "color_source_v3", "name": item,
                                "settings": settings})
            scale = 1 if position == 0 else 0.3
            place = {"x": 0 if position == 0 else 60.0 + 400 * ((position - 1) % 3),
                     "y": 0 if position == 0 else 60.0 + 260 * ((position - 1) // 3 % 2)}
            entries.append({"name": item, "id": position + 1, "visible": True, "locked": False, "pos": place,
                            "scale": {"x": scale, "y": scale}, "align": 5, "bounds_type": 0})
        sources.append({"id": "scene", "versioned_id": "scene", "name": scene,
                        "settings": {"id_counter": len(items), "custom_size": False, "items": entries}})
    first = next(iter(scenes))
    return {"name": name, "sources": sources, "scene_order": [{"name": scene} for scene in scenes],
            "current_scene": first, "current_program_scene": first, "current_transition": transition,
            "transition_duration": 300, "transitions": [], "groups": [], "quick_transitions": [],
            "saved_projectors": [], "modules": {}}


class ObsProcess:
    def __init__(self, folder, module=None, port=None, collections=(), display=None, obs_websocket_port=None,
                 preview=False):
        """Writes the settings. Without a module OBS starts with the plug-ins that are installed."""
        self.folder = pathlib.Path(folder).resolve()
        self.settings = self.folder / ".config/obs-studio"
        self.recordings = self.folder / "recordings"
        self.port = port or free_port()
        self.obs_websocket_port = obs_websocket_port
        self.exit_status = None
        self._module = module
        self._display = display
        self._screen = self._process = None
        self.log_path = self.folder / "obs.log"
        self._write_settings(collections, preview)

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()

    # Settings

    def _write_settings(self, collections, preview):
        shutil.rmtree(self.settings, ignore_errors=True)
        self.recordings.mkdir(parents=True, exist_ok=True)
        profile = {
            "General": {"Name": "Kestrel"},
            "Video": {"BaseCX": 1280, "BaseCY": 720, "OutputCX": 640, "OutputCY": 360, "FPSType": 0, "FPSCommon": 10},
            "Output": {"Mode": "Simple"},
            "SimpleOutput": {"FilePath": self.recordings, "RecFormat2": "mkv", "RecQuality": "Stream"},
        }
        user = {
            # OBS shows no first-run, update or exit dialog with these.
            "General": {"FirstRun": "true", "LastVersion": 536870912, "ConfirmOnExit": "false"},
            "Basic": {"Profile": "Kestrel", "ProfileDir": "Kestrel"},
            "BasicWindow": {"PreviewEnabled": str(preview).lower()},
        }
        if collections:
            user["Basic"] |= {"SceneCollection": collections[0]["name"], "SceneCollectionFile": collections[0]["name"]}
        self._write_ini("global.ini", user)
        self._write_ini("user.ini", user)
        self._write_ini("basic/profiles/Kestrel/basic.ini", profile)
        for content in collections:
            self._write(f"basic/scenes/{content['name']}.json", json.dumps(content))
        if self.obs_websocket_port:
            self._write("plugin_config/obs-websocket/config.json", json.dumps({
                "server_enabled": True, "auth_required": False, "first_load": False, "alerts_enabled": False,
                "server_port": self.obs_websocket_port}))
        if self._module:
            place = self.settings / "plugins/kestrelbridge"
            (place / "bin/64bit").mkdir(parents=True)
            shutil.copy(self._module, place / "bin/64bit/kestrelbridge.so")
            shutil.copytree(pathlib.Path(self._module).parent / "data", place / "data")
        self.configure_plugin(json.dumps({"port": self.port}))

    @property
    def plugin_config(self):
        return self.folder / ".local/share/corvane/Wrenlink/config.json"

    def configure_plugin(self, text):
        self.plugin_config.parent.mkdir(parents=True, exist_ok=True)
        self.plugin_config.write_text(text)

    def _write(self, name, text):
        path = self.settings / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def _write_ini(self, name, sections):
        lines = []
        for section, entries in sections.items():
            lines += [f"[{section}]"] + [f"{key}={value}" for key, value in entries.items()] + [""]
        self._write(name, "\n".join(lines))

    # The process

    def start(self):
        environment = os.environ | {"HOME": str(self.folder), "QT_QPA_PLATFORM": "xcb"}
        if not self._display:
            environment["LIBGL_ALWAYS_SOFTWARE"] = "1"
            self._start_screen()
        environment["DISPLAY"] = self._display
        with open(self.log_path, "wb") as log:
            self._process = subprocess.Popen(
                ["obs", "--multi", "--disable-updater", "--disable-shutdown-check", "--disable-missing-files-check"],
                env=environment, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                start_new_session=True)

    def _start_screen(self):
        read, write = os.pipe()
        self._screen = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-screen", "0", SCREEN, "-nolisten", "tcp"],
                                        pass_fds=[write], stderr=subprocess.DEVNULL, start_new_session=True)
        os.close(write)
        with os.fdopen(read) as answer:
            self._display = f":{answer.readline().strip()}"

    @property
    def display(self):
        """The name of the display in use."""
        return self._display

    @property
    def pid(self):
        return self._process.pid

    def is_running(self):
        return self._process is not None and self._process.poll() is None

    def log(self):
        return self.log_path.read_text(errors="replace") if self.log_path.exists() else ""

    def wait_for_log(self, pattern, timeout=30):
        def found():
            match = re.search(pattern, self.log())
            if not match and not self.is_running():
                raise RuntimeError(f"OBS ended before it logged: {pattern}\n{self.log()[-3000:]}")
            return match
        return wait_for(found, timeout, f"in the log of OBS: {pattern}")

    def wait_until_listening(self, timeout=60):
        self.wait_for_log(r"\[kestrelbridge\] Server listening on localhost", timeout)

    def _on_screen(self, *command):
        return subprocess.run(command, env=os.environ | {"DISPLAY": self._display}, capture_output=True, text=True,
                              check=False).stdout.split()

    def windows(self, name):
        """The visible windows of OBS whose title matches."""
        return self._on_screen("xdotool", "search", "--all", "--onlyvisible", "--pid", str(self.pid), "--name", name)

    def press(self, key, window):
        self._on_screen("xdotool", "key", "--window", window, key)

    def focus(self, window):
        """Gives a window the focus; there is no window manager that does so when another one closes."""
        self._on_screen("xdotool", "windowfocus", "--sync", window)

    def focused_window(self):
        return self._on_screen("xdotool", "getwindowfocus")[0]

    @property
    def main_window(self):
        return self.windows("^OBS ")[0]

    def screenshot(self, path, window=None, area=None):
        """Saves the main window of OBS as an image, or another one, or an area of it such as "100x50+0+200"."""
        options = ["-crop", area, "+repage"] if area else []
        self._on_screen("import", "-window", window or self.main_window, *options, str(path))

    def stop(self, timeout=30):
        """Closes OBS as a user would, then its screen. The exit status stays available."""
        if self._process:
            if self.is_running():
                self._process.send_signal(signal.SIGINT)
            try:
                self.exit_status = self._process.wait(timeout)
            except subprocess.TimeoutExpired:
                self._process.kill()
                self.exit_status = self._process.wait()
            self._process = None
        if self._screen:
            self._screen.terminate()
            self._screen.wait()
            self._screen = self._display = None
        return self.exit_status

    def status(self, key):
        """A number that the kernel reports of OBS, such as "Threads", or "VmRSS" in KiB."""
        text = pathlib.Path(f"/proc/{self.pid}/status").read_text()
        return int(re.search(rf"^{key}:\s+(\d+)", text, re.M)[1])

    def assert_proper_end(self):
        """Closes OBS. A crash that OBS catches also ends with status 0, but without the number of leaks.

        OBS 32.2 crashes in one of ten to twenty ends, with and without a plug-in: its destruction thread releases an
        item whose source no longer exists.
        """
        self.stop()
        if self.exit_status == -signal.SIGSEGV and "OBS 32." in self.log():
            warnings.warn("OBS crashed at its end, as it does without the plug-in")
            return
        assert self.exit_status == 0, f"OBS ended with status {self.exit_status}"
        assert self.leaks() is not None, "OBS did not end properly"

    def leaks(self):
        """The number of memory leaks that OBS logged at its end; None when it did not end properly."""
        match = re.search(r"Number of memory leaks: (\d+)", self.log())
        return int(match.group(1)) if match else None
