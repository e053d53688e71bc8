# SPDX-License-Identifier: GPL-2.0-or-later
"""Changes an OBS without pause for some minutes and checks memory, threads, answer times and pushes.

    scripts/environment python3 -m soak --minutes 30

Eight controllers compare every push, one sets values, one misbehaves; obs-websocket edits the scene on its own threads
and switches scene collections. At the end the memory leaks that OBS counts are compared with those of an OBS without
the plug-in. Prints one line a minute; the exit status is 1, and the reason is printed, when a check fails.
"""

import collections
import random
import socket
import struct
import sys
import threading
import time

from obskit.checkedcontroller import MARKER, CheckedController, frame
from obskit.obsprocess import wait_for
from soak.loadtest import LoadFailure, LoadTest, option_parser

LISTENERS = 8
EDITING_S = 10
TIMEOUT_S = 20
LARGEST_GROWTH_MIB = 10
MOST_NEW_THREADS = 2

ITEMS = [f"Item {number}" for number in range(8)]
ALL_ITEMS = 2 ** len(ITEMS) - 1
SHOW = "Show", {"Stage": ITEMS, "Break": ["Clock"]}
OTHER = "Other", {"Elsewhere": ["Sky"], "Nowhere": []}


class Listener(threading.Thread):
    """Receives every push and keeps a hash of them in their order."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self._controller = CheckedController(port)
        self._mark = threading.Event()
        self._hash = 0
        self._end = None
        self.pushes = collections.Counter()
        self.latest = {}
        self.start()

    def run(self):
        try:
            while True:
                message = self._controller.next(None)
                if message[0][0] == MARKER:
                    self._mark.set()
                    continue
                [(name, value)] = message
                self._hash = hash((self._hash, repr(message)))
                self.latest[name] = value
                self.pushes[name] += 1
        except Exception as error:  # any exception before the end of the run is a failure
            self._end = error
            self._mark.set()

    def history(self):
        """The hash and the number of all pushes up to now."""
        self._mark.clear()
        self._controller.send([{"name": MARKER}])
        if not self._mark.wait(TIMEOUT_S) or self._end:
            raise LoadFailure(f"a listener receives no answer: {self._end!r}")
        return self._hash, self.pushes.total()


class MisbehavingClient(threading.Thread):
    """Connects repeatedly: garbage, broken frames, resets, silence, many requests without reading the answers."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self._port = port
        self.connections = 0
        self.start()

    def run(self):
        chance = random.Random(1)
        get = {"name": "sceneList"}
        acts = [
            lambda peer: peer.sendall(chance.randbytes(chance.randrange(1, 20000))),
            lambda peer: peer.sendall(b"####01048576" + b"[" * 100_000),
            lambda peer: peer.sendall(frame({"values": []}) * 200 + b"0042{"),
            lambda peer: peer.sendall(frame({"values": [get]}) * 50),
            lambda peer: peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0)),
            lambda peer: peer.sendall(frame({"values": [get] * 400}) * 40),
            lambda peer: peer.recv(100_000) and time.sleep(6),
        ]
        while True:
            try:
                with socket.create_connection(("127.0.0.1", self._port), TIMEOUT_S) as peer:
                    acts[self.connections % len(acts)](peer)
            except OSError:
                pass  # the server closed the connection
            self.connections += 1
            time.sleep(0.2)


class Soak(LoadTest):
    def __init__(self, name, module, minutes=0, longest_s=0, leaks_a_load=0):
        super().__init__(name, module, SHOW, OTHER)
        self._minutes = minutes
        self._longest_s = longest_s
        self._leaks_a_load = leaks_a_load  # of a scene collection, by OBS itself
        self._answers_s = []
        self._toggles = self._locks = self._switches = 0

    def load(self):
        if not self._minutes:  # the edits alone, to count the leaks of OBS
            self._create_and_remove()
            self._edit_items(time.monotonic() + EDITING_S)
            return
        self._listeners = [Listener(self.obs.port) for _ in range(LISTENERS)]
        self._setter = CheckedController(self.obs.port)
        misbehaving = MisbehavingClient(self.obs.port)
        self._visit_studio_mode()  # only once: OBS itself keeps 1.6 MiB for each time
        self._change_scenes()
        first = None
        for minute in range(1, self._minutes + 1):
            self._answers_s.clear()
            end = time.monotonic() + 60
            while time.monotonic() < end:
                self._edit()
                self._change_scenes()
            resident, threads = self.obs.status("VmRSS") / 1024, self.obs.status("Threads")
            first = first or (resident, threads)
            self.figure("pushes to each", self._listeners[0].pushes.total())
            self.figure("edits by obs-websocket", self._toggles)
            self.figure("switches", self._switches)
            self.figure("misbehaving connections", misbehaving.connections)
            self.figure("resident", resident, "MiB", first[0] + LARGEST_GROWTH_MIB)
            self.figure("threads", threads, limit=first[1] + MOST_NEW_THREADS)
            self.figure("longest answer", max(self._answers_s), "ms", self._longest_s)
            self.report(f"minute {minute}")
            if not self.is_within_limits:
                break

    def judge_end(self):
        self.leaks = self.obs.leaks()
        if self.leaks is None:  # the crash of OBS at its end
            self.require(self._minutes, "the number of leaks without the plug-in is not known")
        else:
            allowed = self._leaks_a_load * (1 + self._switches)
            self.figure("leaks", self.leaks, limit=allowed if self._minutes else None)

    # Changes by obs-websocket, on threads of its own

    def _edit_items(self, deadline):
        """Hides, shows and moves the items of the program scene; all are visible again at the end."""
        items = [item["sceneItemId"] for item in self.obs_websocket.items("Stage").values()]
        position = 0
        while time.monotonic() < deadline:
            item = {"sceneName": "Stage", "sceneItemId": items[position % len(items)]}
            for is_visible in (False, True):
                self._timed(self.obs_websocket, "SetSceneItemEnabled", **item, sceneItemEnabled=is_visible)
                self._toggles += 1
            if position % 5 == 0:
                self._timed(self.obs_websocket, "SetSceneItemIndex", **item, sceneItemIndex=position % len(items))
            position += 1
            time.sleep(0.005)

    def _create_and_remove(self):
        item = self.obs_websocket("CreateSceneItem", sceneName="Stage", sourceName="Clock", sceneItemEnabled=True)
        self.obs_websocket("RemoveSceneItem", sceneName="Stage", sceneItemId=item["sceneItemId"])

    def _switch(self, name, scene, visibles):
        """Switches the scene collection and waits until controllers see the new one."""
        self.obs_websocket("SetCurrentSceneCollection", sceneCollectionName=name)
        self._await([scene, visibles], "currentScene", "sourceVisibles")
        self._switches += 1

    # Changes by a controller

    def _timed(self, function, *arguments, **options):
        begin = time.monotonic()
        function(*arguments, **options)
        self._answers_s.append(time.monotonic() - begin)

    def _set(self, name, value):
        self._setter.set(name, value)
        self._timed(self._setter.sync)

    def _await(self, values, *names):
        wait_for(lambda: self._setter.get(*names) == values, TIMEOUT_S, f"{names} to be {values}")

    def _lock_and_unlock(self, deadline):
        """Two pushes for each item."""
        while time.monotonic() < deadline:
            for mask in (ALL_ITEMS, 0):
                self._set("sourceLocks", mask)
                self._locks += len(ITEMS)

    def _visit_studio_mode(self):
        self._set("studioMode", 1)
        self._set("previewScene", "Break")
        self._set("triggerTransition", 1)
        self._await(["Break", "Stage"], "currentScene", "previewScene")
        self._set("previewScene", "Break")  # the signals of the last preview stay connected
        self._set("studioMode", 0)

    # What is checked

    def _edit(self):
        """Edits from two sides at once, then compares the number of pushes to each listener."""
        before = [dict(listener.pushes) for listener in self._listeners]
        toggles, locks = self._toggles, self._locks
        deadline = time.monotonic() + EDITING_S
        setting = threading.Thread(target=self._lock_and_unlock, args=[deadline])
        setting.start()
        self._edit_items(deadline)
        setting.join()
        self._compare_histories()
        expected = {"sourceVisibles": self._toggles - toggles, "sourceLocks": self._locks - locks}
        for listener, earlier in zip(self._listeners, before):
            pushed = {name: listener.pushes[name] - earlier.get(name, 0) for name in expected}
            self.require(pushed == expected, f"a listener received {pushed}, expected {expected}")
            self.require((listener.latest["sourceVisibles"], listener.latest["sourceLocks"]) == (ALL_ITEMS, 0),
                         "the last masks are not those of the scene")

    def _compare_histories(self):
        """Waits until every listener has received the same pushes in the same order."""
        wait_for(lambda: len({listener.history() for listener in self._listeners}) == 1, TIMEOUT_S,
                 "the same history at every listener")

    def _change_scenes(self):
        self._create_and_remove()
        self._set("currentScene", "Break")
        self._set("currentScene", "Stage")
        self._switch("Other", "Elsewhere", 1)
        self._switch("Show", "Stage", ALL_ITEMS)
        self._compare_histories()


def main():
    parser = option_parser(__doc__)
    parser.add_argument("--minutes", type=int, default=1)
    parser.add_argument("--longest", type=float, default=1.0, metavar="SECONDS", help="the limit for an answer")
    options = parser.parse_args()
    alone = Soak("without the plug-in", None)
    if not alone.run():
        return 1
    soak = Soak("with the plug-in", options.module, options.minutes, options.longest, alone.leaks)
    return 0 if soak.run() else 1


if __name__ == "__main__":
    sys.exit(main())
