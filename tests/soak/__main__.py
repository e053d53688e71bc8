# SPDX-License-Identifier: GPL-2.0-or-later
"""Changes an OBS without pause for some minutes and checks memory, threads and pushes.

    scripts/environment python3 -m soak --minutes 30

Eight controllers compare every push, one sets values, one misbehaves; obs-websocket edits the scene on its own threads
and switches scene collections. Prints one line a minute; ends with a traceback when a check fails.
"""

import argparse
import collections
import contextlib
import os
import pathlib
import random
import socket
import struct
import threading
import time

from kestrelbridge import encode_frame
from obskit.checkedcontroller import TIMEOUT_S, CheckedController
from obskit.obsprocess import ObsProcess, collection, free_port, wait_for
from obskit.obswebsocket import connect_to_obs

BUILD = pathlib.Path(os.environ["KESTREL_BUILD"])
LISTENERS = 8
EDITING_S = 10
LARGEST_GROWTH_MIB = 10
MOST_NEW_THREADS = 2
MOST_CONNECTIONS_BESIDE = 3  # the one that sets values, those that misbehave

ITEMS = [f"Item {number}" for number in range(8)]
ALL_ITEMS = 2 ** len(ITEMS) - 1
SHOW = collection("Show", {"Stage": ITEMS, "Break": ["Clock"]}, transition="Cut")
OTHER = collection("Other", {"Elsewhere": ["Sky"], "Nowhere": []}, transition="Cut")


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


class Soak:
    def __init__(self, obs, obs_websocket):
        self._obs, self._obs_websocket = obs, obs_websocket
        self.loaded_collections = 1
        self._pushes = 0
        self._listeners = [CheckedController(obs.port) for _ in range(LISTENERS)]
        self._setter = CheckedController(obs.port)
        threading.Thread(target=misbehave, args=[obs.port], daemon=True).start()

    def run(self, minutes):
        self._change_scenes()
        first = None
        for minute in range(1, minutes + 1):
            end = time.monotonic() + 60
            while time.monotonic() < end:
                self._edit()
                self._change_scenes()
            resident, threads = self._obs.status("VmRSS") / 1024, self._obs.status("Threads")
            print(f"minute {minute}: {self._pushes:,} pushes to each; {self.loaded_collections} scene collections; "
                  f"{resident:.0f} MiB resident; {threads} threads", flush=True)
            first = first or (resident, threads)
            assert resident <= first[0] + LARGEST_GROWTH_MIB
            assert threads <= first[1] + MOST_NEW_THREADS
            log = self._obs.log()
            connections = log.count("Added new connection") - log.count("Deleting dead connection")
            assert LISTENERS + 1 <= connections <= LISTENERS + MOST_CONNECTIONS_BESIDE

    def _compare_pushes(self, **expected):
        """The last values, once every listener has received the same pushes, and of some names as many as expected."""
        first, *others = histories = [[] for _ in self._listeners]

        def are_complete():
            for listener, history in zip(self._listeners, histories):
                history += listener.sync()
            counts = collections.Counter(name for name, _ in first)
            return others.count(first) == len(others) and expected.items() <= counts.items()

        wait_for(are_complete, TIMEOUT_S, f"the same pushes at every listener, as many as {expected}")
        self._pushes += len(first)
        return dict(first)

    def _edit(self):
        """Hides, shows, moves and locks the items of the program scene, by obs-websocket and a controller at once."""
        items = [item["sceneItemId"] for item in self._obs_websocket.items("Stage").values()]
        end = time.monotonic() + EDITING_S
        while time.monotonic() < end:
            for position, item_id in enumerate(items):
                item = {"sceneName": "Stage", "sceneItemId": item_id}
                self._obs_websocket("SetSceneItemIndex", **item, sceneItemIndex=position * 3 % len(items))
                for is_visible, locks in (False, ALL_ITEMS), (True, 0):
                    self._setter.set("sourceLocks", locks)
                    self._obs_websocket("SetSceneItemEnabled", **item, sceneItemEnabled=is_visible)
                self._setter.sync()
                last = self._compare_pushes(sourceVisibles=2, sourceLocks=2 * len(items))
                assert (last["sourceVisibles"], last["sourceLocks"]) == (ALL_ITEMS, 0)

    def _change_scenes(self):
        item = self._obs_websocket("CreateSceneItem", sceneName="Stage", sourceName="Clock", sceneItemEnabled=True)
        self._obs_websocket("RemoveSceneItem", sceneName="Stage", sceneItemId=item["sceneItemId"])
        for scene in "Break", "Stage":
            self._setter.set("currentScene", scene)
            self._setter.sync()
        for name, scene, visibles in ("Other", "Elsewhere", 1), ("Show", "Stage", ALL_ITEMS):
            self._obs_websocket("SetCurrentSceneCollection", sceneCollectionName=name)
            wait_for(lambda: self._setter.get("currentScene", "sourceVisibles") == [scene, visibles], TIMEOUT_S, scene)
            self.loaded_collections += 1
        self._compare_pushes()


parser = argparse.ArgumentParser(prog="python3 -m soak", description=__doc__.split("\n\n", maxsplit=1)[0])
parser.add_argument("--minutes", type=int, default=1)
minutes = parser.parse_args().minutes
obs = ObsProcess(BUILD / "soakobs", BUILD / "dev/plugin/kestrelbridge.so", collections=[SHOW, OTHER],
                 obs_websocket_port=free_port())
with obs, connect_to_obs(obs) as obs_websocket:
    soak = Soak(obs, obs_websocket)
    soak.run(minutes)
obs.assert_proper_end(soak.loaded_collections)
