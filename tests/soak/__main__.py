# SPDX-License-Identifier: GPL-2.0-or-later
"""Changes an OBS without pause for some minutes and checks memory, threads, answer times and pushes.

    scripts/environment python3 -m soak --minutes 30

Eight controllers compare every push, one sets values, one misbehaves; obs-websocket edits the scene on its own threads
and switches scene collections. At the end the memory leaks that OBS counts are compared with those of an OBS without
the plug-in. Prints one line a minute; the exit status is 1, and the reason is printed, when a check fails.
"""

import argparse
import collections
import hashlib
import json
import os
import pathlib
import random
import signal
import socket
import struct
import sys
import tempfile
import threading
import time

from websocket import WebSocketException

from kestrelbridge import KestrelBridgeError
from obskit.checkedcontroller import MARKER, CheckedController, frame
from obskit.obsprocess import ObsProcess, collection, free_port, wait_for
from obskit.obswebsocket import RequestFailed, connect_to_obs

LISTENERS = 8
EDITING_S = 10
ALONE_S = 10
TIMEOUT_S = 20

ITEMS = [f"Item {number}" for number in range(8)]
ALL_ITEMS = 2 ** len(ITEMS) - 1
SHOW = collection("Show", {"Stage": ITEMS, "Break": ["Clock"]}, transition="Cut")
OTHER = collection("Other", {"Elsewhere": ["Sky"], "Nowhere": []}, transition="Cut")


class SoakFailure(Exception):
    pass


def require(condition, text):
    if not condition:
        raise SoakFailure(text)


class Listener(threading.Thread):
    """Receives every push and keeps a digest of them in their order."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self._controller = CheckedController(port)
        self._mark = threading.Event()
        self._digest = hashlib.sha256()
        self.pushes = collections.Counter()
        self.latest = {}
        self.end = None
        self.start()

    def run(self):
        try:
            while True:
                message = self._controller.next(None)
                if message[0][0] == MARKER:
                    self._mark.set()
                    continue
                [(name, value)] = message
                self._digest.update(json.dumps(message).encode())
                self.latest[name] = value
                self.pushes[name] += 1
        except Exception as error:  # any exception before the end of the run is a failure
            self.end = repr(error)
            self._mark.set()

    def history(self):
        """The digest and the number of all pushes up to now."""
        self._mark.clear()
        self._controller.send([{"name": MARKER}])
        require(self._mark.wait(TIMEOUT_S) and not self.end, f"a listener receives no answer: {self.end}")
        return self._digest.hexdigest(), sum(self.pushes.values())


class MisbehavingClient(threading.Thread):
    """Connects repeatedly: garbage, broken frames, resets, silence, many requests without reading the answers."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self._port = port
        self._random = random.Random(1)
        self.connections = 0
        self.start()

    def run(self):
        flood = frame({"values": [{"name": "sceneList"}] * 400})
        acts = [
            lambda peer: peer.sendall(self._random.randbytes(self._random.randrange(1, 20000))),
            lambda peer: peer.sendall(b"####01048576" + b"[" * 100_000),
            lambda peer: peer.sendall(frame({"values": []}) * 200 + b"0042{"),
            lambda peer: peer.sendall(frame({"values": [{"name": "sceneList"}]}) * 50),
            lambda peer: peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0)),
            lambda peer: [peer.sendall(flood) for _ in range(40)],
            lambda peer: peer.recv(100_000) and time.sleep(6),
        ]
        while True:
            for act in acts:
                try:
                    with socket.create_connection(("127.0.0.1", self._port), TIMEOUT_S) as peer:
                        self.connections += 1
                        act(peer)
                except OSError:
                    pass  # the server closed the connection
                time.sleep(0.2)


class Editor:
    """Edits through obs-websocket, which executes them on its own threads."""

    def __init__(self, obs):
        self._obs_websocket = connect_to_obs(obs)
        self.longest_s = 0
        self.toggles = 0

    def call(self, request, **data):
        begin = time.monotonic()
        answer = self._obs_websocket(request, **data)
        self.longest_s = max(self.longest_s, time.monotonic() - begin)
        return answer

    def edit(self, deadline, beside=lambda: None):
        """Hides, shows and moves the items of the program scene; all are visible again at the end."""
        items = [item["sceneItemId"] for item in self._obs_websocket.items("Stage").values()]
        position = 0
        while time.monotonic() < deadline:
            item = items[position % len(items)]
            for is_visible in (False, True):
                self.call("SetSceneItemEnabled", sceneName="Stage", sceneItemId=item, sceneItemEnabled=is_visible)
                self.toggles += 1
            if position % 5 == 0:
                self.call("SetSceneItemIndex", sceneName="Stage", sceneItemId=item,
                          sceneItemIndex=position % len(items))
            position += 1
            beside()

    def make_and_remove(self):
        item = self.call("CreateSceneItem", sceneName="Stage", sourceName="Clock", sceneItemEnabled=True)
        self.call("RemoveSceneItem", sceneName="Stage", sceneItemId=item["sceneItemId"])

    def switch(self, name):
        self._obs_websocket("SetCurrentSceneCollection", sceneCollectionName=name)


class SoakRun:
    def __init__(self, obs, longest_s):
        self._obs = obs
        self._longest_s = longest_s
        self._editor = Editor(obs)
        self._listeners = [Listener(obs.port) for _ in range(LISTENERS)]
        self._setter = CheckedController(obs.port)
        self._misbehaving = MisbehavingClient(obs.port)
        self._answer_s = 0
        self._locks = self.switches = 0
        self._first = None

    def _status(self, key):
        for line in pathlib.Path(f"/proc/{self._obs.pid}/status").read_text().splitlines():
            if line.startswith(key):
                return int(line.split()[1])

    def _set(self, name, value):
        self._setter.set(name, value)
        self._setter.sync()

    def _await(self, values, *names):
        wait_for(lambda: self._setter.get(*names) == values, TIMEOUT_S, f"{names} to be {values}")

    def _set_locks(self):
        """Locks all items, then unlocks all: two pushes for each, whatever their order is."""
        for mask in (ALL_ITEMS, 0):
            begin = time.monotonic()
            self._set("sourceLocks", mask)
            self._answer_s = max(self._answer_s, time.monotonic() - begin)
            self._locks += len(ITEMS)

    def _edit(self):
        """Edits from two sides at once, then compares the number of pushes to each listener."""
        before = [dict(listener.pushes) for listener in self._listeners]
        toggles, locks = self._editor.toggles, self._locks
        deadline = time.monotonic() + EDITING_S
        setting = threading.Thread(target=lambda: [self._set_locks() for _ in iter(lambda: time.monotonic() < deadline,
                                                                                  False)])
        setting.start()
        self._editor.edit(deadline, lambda: time.sleep(0.005))
        setting.join()
        expected = {"sourceVisibles": self._editor.toggles - toggles, "sourceLocks": self._locks - locks}
        self._compare_histories()
        for listener, earlier in zip(self._listeners, before):
            pushed = {name: listener.pushes[name] - earlier.get(name, 0) for name in expected}
            require(pushed == expected, f"a listener received {pushed}, expected {expected}")
            require(listener.latest["sourceVisibles"] == ALL_ITEMS and listener.latest["sourceLocks"] == 0,
                    "the last masks are not those of the scene")

    def _compare_histories(self):
        """Waits until every listener has received the same pushes in the same order."""
        def is_same():
            return len({listener.history() for listener in self._listeners}) == 1
        wait_for(is_same, TIMEOUT_S, "the same history at every listener")

    def _visit_studio_mode(self):
        self._set("studioMode", 1)
        self._set("previewScene", "Break")
        self._set("triggerTransition", 1)
        self._await(["Break", "Stage"], "currentScene", "previewScene")
        self._set("previewScene", "Break")  # the signals of the last preview stay connected
        self._set("studioMode", 0)

    def _switch(self, name, scene, visibles):
        """Switches the scene collection and waits until controllers see the new one."""
        self._editor.switch(name)
        self._await([scene, visibles], "currentScene", "sourceVisibles")
        self.switches += 1

    def _change_the_rest(self):
        self._editor.make_and_remove()
        if not self._first:
            self._visit_studio_mode()  # in the first minute only: OBS itself keeps 1.6 MiB for each time
        self._set("currentScene", "Break")
        self._set("currentScene", "Stage")
        self._switch("Other", "Elsewhere", 1)
        self._switch("Show", "Stage", ALL_ITEMS)
        self._await(["Stage", ALL_ITEMS], "currentScene", "sourceVisibles")
        self._compare_histories()

    def minute(self, number):
        end = time.monotonic() + 60
        self._answer_s = self._editor.longest_s = 0
        while time.monotonic() < end:
            self._edit()
            self._change_the_rest()
        resident, threads = self._status("VmRSS:") / 1024, self._status("Threads:")
        self._first = self._first or (resident, threads)
        print(f"minute {number}: {sum(self._listeners[0].pushes.values())} pushes to each, {self._editor.toggles} edits"
              f" by obs-websocket, {self.switches} switches, {self._misbehaving.connections} misbehaving connections;"
              f" resident {resident:.1f} MiB ({resident - self._first[0]:+.1f}), {threads} threads, longest answer"
              f" {self._answer_s * 1000:.0f} ms, of obs-websocket {self._editor.longest_s * 1000:.0f} ms", flush=True)
        require(resident < self._first[0] + 10, "resident memory grows")
        require(threads <= self._first[1] + 2, "the number of threads grows")
        require(max(self._answer_s, self._editor.longest_s) < self._longest_s, "an answer took too long")


def soak_obs(folder, module):
    return ObsProcess(folder, module=module, collections=[SHOW, OTHER], obs_websocket_port=free_port())


def leaks_alone(folder):
    """The leaks of OBS without the plug-in under the same edits, for the one scene collection that it loads."""
    with soak_obs(folder, None) as obs:
        editor = Editor(obs)
        editor.make_and_remove()
        editor.edit(time.monotonic() + ALONE_S)
    require(obs.leaks() is not None, "OBS without the plug-in did not end properly")
    return obs.leaks()


def assert_proper_end(obs, allowed):
    if obs.exit_status == -signal.SIGSEGV and "OBS 32." in obs.log():
        print("OBS crashed at its end, as version 32.2 sometimes does without the plug-in")
        return
    require(obs.exit_status == 0, f"OBS ended with status {obs.exit_status}")
    require(obs.leaks() is not None, "OBS did not end properly")
    require(obs.leaks() <= allowed, f"{obs.leaks()} leaks, without the plug-in {allowed}")
    print(f"OBS ended with status 0 and {obs.leaks()} leaks, without the plug-in {allowed}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--minutes", type=int, default=1)
    parser.add_argument("--longest", type=float, default=1.0, metavar="SECONDS", help="the limit for an answer")
    parser.add_argument("--module", type=pathlib.Path,
                        default=pathlib.Path(os.environ["KESTREL_BUILD"]) / "dev/plugin/kestrelbridge.so")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        leaks_a_load = leaks_alone(pathlib.Path(folder) / "alone")
        obs = soak_obs(pathlib.Path(folder) / "soak", arguments.module)
        try:
            with obs:
                obs.wait_until_listening()
                run = SoakRun(obs, arguments.longest)
                for number in range(1, arguments.minutes + 1):
                    run.minute(number)
            assert_proper_end(obs, leaks_a_load * (1 + run.switches))
        except (SoakFailure, KestrelBridgeError, RequestFailed, OSError, WebSocketException) as error:
            print(f"failed: {error}\n{obs.log()[-2000:]}", file=sys.stderr)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
