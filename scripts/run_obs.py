# SPDX-License-Identifier: GPL-2.0-or-later
"""Starts OBS Studio with the plug-in and a controller: what ./run does once everything is built."""

import argparse
import os
import pathlib
import signal
import socket
import subprocess
import sys

import demo
from kestrelbridge import DEFAULT_PORT
from obskit.obsprocess import ObsProcess, collection, free_port

BUILD = pathlib.Path(os.environ["KESTREL_BUILD"])
SCREENSHOT = BUILD.parent / "demo.png"
INTERRUPTIONS = (signal.SIGINT, signal.SIGTERM)


def users_display():
    """The display in use, if it responds."""
    display = os.environ.get("DISPLAY")
    responds = display and subprocess.run(["xdotool", "getdisplaygeometry"], capture_output=True).returncode == 0
    return display if responds else None


def pick_port():
    """The default port, or another one if it is in use."""
    try:
        socket.create_server(("127.0.0.1", DEFAULT_PORT)).close()
        return DEFAULT_PORT
    except OSError:
        return free_port()


def run_demo(obs):
    SCREENSHOT.unlink(missing_ok=True)
    is_done = demo.run(obs.port, lambda: obs.screenshot(SCREENSHOT))
    print(f"  screenshot of OBS: {SCREENSHOT}", flush=True)
    return is_done and SCREENSHOT.exists()


def watch(obs):
    """Shows the state and every change until Ctrl-C or until OBS is closed."""
    with subprocess.Popen([BUILD / "dev/tools/kestrelctl", "--port", str(obs.port), "watch"]) as watcher:
        try:
            return watcher.wait() == 0
        except KeyboardInterrupt:
            watcher.terminate()
            return True


def interrupt(*_):
    """Ends watch() after Ctrl-C or kill. OBS then closes without further interruption."""
    for number in INTERRUPTIONS:
        signal.signal(number, signal.SIG_IGN)
    raise KeyboardInterrupt


def main():
    parser = argparse.ArgumentParser(prog="./run", description="Try the plug-in in an OBS Studio of its own.")
    parser.add_argument("--demo", action="store_true", help="a short demo that needs no user")
    arguments = parser.parse_args()
    for number in INTERRUPTIONS:
        signal.signal(number, interrupt)

    obs = ObsProcess(BUILD / "tryout", module=BUILD / "dev/plugin/kestrelbridge.so", port=pick_port(),
                     collections=[collection("Demo", demo.SCENES)], display=users_display(), preview=True)
    print(f"-- starting OBS Studio with the plug-in; controllers connect to 127.0.0.1:{obs.port}", flush=True)
    is_done = False
    try:
        obs.start()
        obs.wait_until_listening()
        is_done = run_demo(obs) if arguments.demo else watch(obs)
    except KeyboardInterrupt:
        is_done = not arguments.demo
    finally:
        print("-- closing OBS Studio", flush=True)
        obs.stop()
    print(f"-- OBS Studio ended with status {obs.exit_status}; its log is {obs.log_path}", flush=True)
    return 0 if is_done and obs.exit_status == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
