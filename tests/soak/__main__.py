# SPDX-License-Identifier: GPL-2.0-or-later
"""Changes an OBS without pause for some minutes and checks memory, threads and pushes.

    scripts/environment python3 -m soak --minutes 30

Eight controllers compare every push, one sets values, one misbehaves; obs-websocket edits the scene on its own threads
and switches scene collections. Prints one line a minute; the exit status is 1, and the reason is printed, when a check
fails.
"""

import collections
import contextlib
import random
import socket
import struct
import sys
import threading
import time

from kestrelbridge import encode_frame
from obskit.checkedcontroller import TIMEOUT_S, CheckedController
from obskit.obsprocess import wait_for
from soak.loadtest import LoadTest, option_parser

LISTENERS = 8
EDITING_S = 10
LARGEST_GROWTH_MIB = 10
MOST_NEW_THREADS = 2

ITEMS = [f"Item {number}" for number in range(8)]
ALL_ITEMS = 2 ** len(ITEMS) - 1
SHOW = "Show", {"Stage": ITEMS, "Break": ["Clock"]}
OTHER = "Other", {"Elsewhere": ["Sky"], "Nowhere": []}


def misbehave(port):
    """Connects repeatedly: garbage, broken frames, resets, silence, many requests without reading the answers."""
    chance = random.Random(1)
    acts = [
        lambda peer: peer.sendall(chance.randbytes(chance.randrange(1, 20000))),
        lambda peer: peer.sendall(b"####01048576" + b"[" * 100_000),
        lambda peer: peer.sendall(encode_frame([]) * 200 + b"0042{"),
        lambda peer: peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0)),
        lambda peer: peer.sendall(encode_frame([{"name": "sceneList"}] * 400) * 40),
        lambda peer: peer.recv(100_000) and time.sleep(6),
    ]
    while True:
        for act in acts:
            with contextlib.suppress(OSError):  # the server closes the connection
                with socket.create_connection(("127.0.0.1", port), TIMEOUT_S) as peer:
                    act(peer)
            time.sleep(0.2)


class Soak(LoadTest):
    def load(self, minutes):
        self._pushes = self._edits = 0
        self._listeners = [CheckedController(self.obs.port) for _ in range(LISTENERS)]
        self._setter = CheckedController(self.obs.port)
        threading.Thread(target=misbehave, args=[self.obs.port], daemon=True).start()
        self._visit_studio_mode()  # only once: OBS itself keeps 1.6 MiB for each time
        self._change_scenes()
        first = None
        for minute in range(1, minutes + 1):
            end = time.monotonic() + 60
            while time.monotonic() < end:
                self._edit()
                self._change_scenes()
            resident, threads = self.obs.status("VmRSS") / 1024, self.obs.status("Threads")
            first = first or (resident, threads)
            self.figure("pushes to each", self._pushes)
            self.figure("edits by obs-websocket", self._edits)
            self.figure("scene collections", self.loaded_collections)
            self.figure("resident", resident, "MiB", first[0] + LARGEST_GROWTH_MIB)
            self.figure("threads", threads, limit=first[1] + MOST_NEW_THREADS)
            self.report(f"minute {minute}")

    def _set(self, name, value):
        self._setter.set(name, value)
        self._setter.sync()

    def _await(self, values, *names):
        wait_for(lambda: self._setter.get(*names) == values, TIMEOUT_S, f"{names} to be {values}")

    def _compare_pushes(self, **expected):
        """Waits until every listener has received the same pushes, and of some names as many as expected."""
        histories = [[] for _ in self._listeners]

        def count():
            for listener, history in zip(self._listeners, histories):
                history += listener.sync()
            counts = collections.Counter(name for name, _ in histories[0])
            return histories.count(histories[0]) == LISTENERS and counts >= collections.Counter(expected) and counts

        counts = wait_for(count, TIMEOUT_S, "the same pushes at every listener")
        self.require(expected.items() <= counts.items(), f"pushes {dict(counts)} for changes {expected}")
        self._pushes += len(histories[0])
        return dict(histories[0])

    def _edit(self):
        """Hides, shows, moves and locks the items of the program scene, by obs-websocket and a controller at once."""
        items = [item["sceneItemId"] for item in self.obs_websocket.items("Stage").values()]
        end = time.monotonic() + EDITING_S
        while time.monotonic() < end:
            for position, item_id in enumerate(items):
                item = {"sceneName": "Stage", "sceneItemId": item_id}
                self.obs_websocket("SetSceneItemIndex", **item, sceneItemIndex=position * 3 % len(items))
                for is_visible, locks in (False, ALL_ITEMS), (True, 0):
                    self._setter.set("sourceLocks", locks)
                    self.obs_websocket("SetSceneItemEnabled", **item, sceneItemEnabled=is_visible)
                self._edits += 3
                self._setter.sync()
                last = self._compare_pushes(sourceVisibles=2, sourceLocks=2 * len(items))
                self.require((last["sourceVisibles"], last["sourceLocks"]) == (ALL_ITEMS, 0),
                             "the last masks are not those of the scene")

    def _visit_studio_mode(self):
        self._set("studioMode", 1)
        self._set("previewScene", "Break")
        self._set("triggerTransition", 1)
        self._await(["Break", "Stage"], "currentScene", "previewScene")
        self._set("previewScene", "Break")  # the signals of the last preview stay connected
        self._set("studioMode", 0)

    def _change_scenes(self):
        item = self.obs_websocket("CreateSceneItem", sceneName="Stage", sourceName="Clock", sceneItemEnabled=True)
        self.obs_websocket("RemoveSceneItem", sceneName="Stage", sceneItemId=item["sceneItemId"])
        self._set("currentScene", "Break")
        self._set("currentScene", "Stage")
        for name, scene, visibles in ("Other", "Elsewhere", 1), ("Show", "Stage", ALL_ITEMS):
            self.obs_websocket("SetCurrentSceneCollection", sceneCollectionName=name)
            self._await([scene, visibles], "currentScene", "sourceVisibles")
            self.loaded_collections += 1
        self._compare_pushes()


def main():
    parser = option_parser(__doc__)
    parser.add_argument("--minutes", type=int, default=1)
    options = parser.parse_args()
    return 0 if Soak("soak", options.module, SHOW, OTHER).run(options.minutes) else 1


if __name__ == "__main__":
    sys.exit(main())
