# SPDX-License-Identifier: GPL-2.0-or-later
"""Starts a private host with the plug-in and a controller on it: what ./run does once everything is built."""

import argparse
import os
import pathlib
import signal
import socket
import subprocess
import sys

from obskit.obsprocess import ObsProcess, collection, free_port

DEFAULT_PORT = 2021
BUILD = pathlib.Path(os.environ["KESTREL_BUILD"])
TOOLS = BUILD / "dev/tools"
PICTURE = BUILD.parent / "demo.png"

TOUR = collection("Tour", {
    "Opening": ["Title", "Clock", "Wall"],
    "Interview": ["Lower third", "Guest", "Host", "Backdrop"],
    "Closing": ["Credits", "Logo", "Curtain"],
})

# The tour prints this line when the window shows most.
PICTURE_CUE = "recording; studio mode: preview Closing, program Interview"


def users_display():
    """The display in use, if there is one that answers."""
    display = os.environ.get("DISPLAY")
    answers = display and subprocess.run(["xdotool", "getdisplaygeometry"], capture_output=True).returncode == 0
    return display if answers else None


def pick_port():
    """The plug-in's usual port, or another where a host is already using it."""
    with socket.socket() as probe:
        probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind(("127.0.0.1", DEFAULT_PORT))
            return DEFAULT_PORT
        except OSError:
            return free_port()


def tour(host):
    """Lets the demo drive the host, and takes the picture on its cue."""
    demo = subprocess.Popen([TOOLS / "kestreldemo", "--port", str(host.port)], stdout=subprocess.PIPE, text=True)
    for line in demo.stdout:
        print(line, end="", flush=True)
        if PICTURE_CUE in line:
            host.screenshot(PICTURE)
            print(f"picture of the host's window: {PICTURE}", flush=True)
    return demo.wait() or not PICTURE.exists()


def watch(host):
    """Shows state and changes until Ctrl-C or until the host is closed."""
    watcher = subprocess.Popen([TOOLS / "kestrelctl", "--port", str(host.port), "watch"])
    signal.signal(signal.SIGTERM, lambda *_: watcher.terminate())
    while True:
        try:
            return watcher.wait()
        except KeyboardInterrupt:
            pass  # the watcher has it too, and ends


def main():
    parser = argparse.ArgumentParser(prog="./run", description="Try the plug-in in a private host.")
    parser.add_argument("--demo", action="store_true", help="a short tour that needs no person")
    arguments = parser.parse_args()

    PICTURE.unlink(missing_ok=True)
    host = ObsProcess(BUILD / "tryout", module=BUILD / "dev/plugin/kestrelbridge.so", port=pick_port(),
                       collections=[TOUR], display=users_display(), preview=True)
    print(f"-- starting OBS Studio with the plug-in; controllers connect to 127.0.0.1:{host.port}", flush=True)
    with host:
        host.wait_until_listening()
        status = tour(host) if arguments.demo else watch(host)
        print("-- closing OBS Studio", flush=True)
    if host.exit_status:
        print(f"the host ended with status {host.exit_status}; its log is {host.folder}/obs.log", file=sys.stderr)
    return 1 if status or host.exit_status else 0


if __name__ == "__main__":
    sys.exit(main())
