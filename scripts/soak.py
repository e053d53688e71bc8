# SPDX-License-Identifier: GPL-2.0-or-later
"""Works a private host hard for some minutes and watches it: resident memory, threads, answer times, the order and
completeness of what every controller is told, and the host's end against that of a host without the plug-in.

    scripts/environment python3 scripts/soak.py --minutes 30

Ten controllers (eight that listen, one that sets, one that misbehaves), edits on threads of the bundled remote, and
scene collections that come and go. One line a minute; the exit status is 1, and the reason is printed, when something is
not as it should be.
"""

import argparse
import collections as containers
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

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests/host"))

from websocket import WebSocketException  # noqa: E402

from controller import MARKER, Controller, connect_witness, frame  # noqa: E402
from privatehost import PrivateHost, collection, free_port, wait_for  # noqa: E402

LISTENERS = 8
EDITING_S = 10
ALONE_S = 10
PATIENCE_S = 20

ITEMS = [f"Item {number}" for number in range(8)]
ALL_ITEMS = 2 ** len(ITEMS) - 1
SHOW = collection("Show", {"Stage": ITEMS, "Break": ["Clock"]}, transition="Cut")
OTHER = collection("Other", {"Elsewhere": ["Sky"], "Nowhere": []}, transition="Cut")


class Violation(Exception):
    pass


def require(condition, text):
    if not condition:
        raise Violation(text)


class Listener(threading.Thread):
    """Takes in every push and keeps what tells one history from another."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self._controller = Controller(port)
        self._mark = threading.Event()
        self._digest = hashlib.sha256()
        self.pushes = containers.Counter()
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
        except Exception as error:  # whatever it is, the run has failed if this comes before its end
            self.end = repr(error)
            self._mark.set()

    def history(self):
        """All that was told up to now."""
        self._mark.clear()
        self._controller.send([{"name": MARKER}])
        require(self._mark.wait(PATIENCE_S) and not self.end, f"a listener is not answered: {self.end}")
        return self._digest.hexdigest(), sum(self.pushes.values())


class Hostile(threading.Thread):
    """Connects again and again: garbage, broken frames, resets, silence, floods of requests without reading."""

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
                    with socket.create_connection(("127.0.0.1", self._port), PATIENCE_S) as peer:
                        self.connections += 1
                        act(peer)
                except OSError:
                    pass  # it was shown the door
                time.sleep(0.2)


class Remote:
    """Edits by the bundled remote, each on a thread of its own making; with or without the plug-in."""

    def __init__(self, host):
        self._witness = connect_witness(host)
        self.longest_s = 0
        self.toggles = 0

    def call(self, request, **data):
        begin = time.monotonic()
        answer = self._witness(request, **data)
        self.longest_s = max(self.longest_s, time.monotonic() - begin)
        return answer

    def edit(self, deadline, beside=lambda: None):
        """Hides, shows and moves the items on air until then; all of them are visible again at the end."""
        items = [item["sceneItemId"] for item in self._witness.items("Stage").values()]
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
        self._witness("SetCurrentSceneCollection", sceneCollectionName=name)


class Run:
    def __init__(self, host, longest_s):
        self._host = host
        self._longest_s = longest_s
        self._remote = Remote(host)
        self._listeners = [Listener(host.port) for _ in range(LISTENERS)]
        self._setter = Controller(host.port)
        self._hostile = Hostile(host.port)
        self._answer_s = 0
        self._locks = self.switches = 0
        self._first = None

    def _status(self, key):
        for line in pathlib.Path(f"/proc/{self._host.pid}/status").read_text().splitlines():
            if line.startswith(key):
                return int(line.split()[1])

    def _set(self, name, value):
        self._setter.set(name, value)
        self._setter.sync()

    def _await(self, values, *names):
        wait_for(lambda: self._setter.get(*names) == values, PATIENCE_S, f"{names} to be {values}")

    def _set_locks(self):
        """All items locked, all unlocked, whatever their order is: a pair of pushes for each."""
        for mask in (ALL_ITEMS, 0):
            begin = time.monotonic()
            self._set("sourceLocks", mask)
            self._answer_s = max(self._answer_s, time.monotonic() - begin)
            self._locks += len(ITEMS)

    def _edit(self):
        """Edits of two at once, then the count of what each listener was told of them."""
        before = [dict(listener.pushes) for listener in self._listeners]
        toggles, locks = self._remote.toggles, self._locks
        deadline = time.monotonic() + EDITING_S
        setting = threading.Thread(target=lambda: [self._set_locks() for _ in iter(lambda: time.monotonic() < deadline,
                                                                                  False)])
        setting.start()
        self._remote.edit(deadline, lambda: time.sleep(0.005))
        setting.join()
        expected = {"sourceVisibles": self._remote.toggles - toggles, "sourceLocks": self._locks - locks}
        self._compare_histories()
        for listener, earlier in zip(self._listeners, before):
            told = {name: listener.pushes[name] - earlier.get(name, 0) for name in expected}
            require(told == expected, f"a listener was told of {told}, made were {expected}")
            require(listener.latest["sourceVisibles"] == ALL_ITEMS and listener.latest["sourceLocks"] == 0,
                    "the last masks are not those of the scene")

    def _compare_histories(self):
        """Every listener has been told the same in the same order; what is still under way is waited for."""
        def is_same():
            return len({listener.history() for listener in self._listeners}) == 1
        wait_for(is_same, PATIENCE_S, "the same history at every listener")

    def _visit_studio_mode(self):
        self._set("studioMode", 1)
        self._set("previewScene", "Break")
        self._set("triggerTransition", 1)
        self._await(["Break", "Stage"], "currentScene", "previewScene")
        self._set("previewScene", "Break")  # the last preview goes on being listened to
        self._set("studioMode", 0)

    def _switch(self, name, scene, visibles):
        """Waits for the end of it, before the next edit."""
        self._remote.switch(name)
        self._await([scene, visibles], "currentScene", "sourceVisibles")
        self.switches += 1

    def _change_the_rest(self):
        self._remote.make_and_remove()
        if not self._first:
            self._visit_studio_mode()  # in the first minute only: each visit costs the host 1.6 MiB of its own
        self._set("currentScene", "Break")
        self._set("currentScene", "Stage")
        self._switch("Other", "Elsewhere", 1)
        self._switch("Show", "Stage", ALL_ITEMS)
        self._await(["Stage", ALL_ITEMS], "currentScene", "sourceVisibles")
        self._compare_histories()

    def minute(self, number):
        end = time.monotonic() + 60
        self._answer_s = self._remote.longest_s = 0
        while time.monotonic() < end:
            self._edit()
            self._change_the_rest()
        resident, threads = self._status("VmRSS:") / 1024, self._status("Threads:")
        self._first = self._first or (resident, threads)
        print(f"minute {number}: {sum(self._listeners[0].pushes.values())} pushes to each, {self._remote.toggles} edits"
              f" by the remote, {self.switches} switches, {self._hostile.connections} hostile connections; resident"
              f" {resident:.1f} MiB ({resident - self._first[0]:+.1f}), {threads} threads, longest answer"
              f" {self._answer_s * 1000:.0f} ms, of the remote {self._remote.longest_s * 1000:.0f} ms", flush=True)
        require(resident < self._first[0] + 10, "resident memory grows")
        require(threads <= self._first[1] + 2, "threads come and stay")
        require(max(self._answer_s, self._remote.longest_s) < self._longest_s, "an answer took too long")


def host_of_its_own(folder, module):
    return PrivateHost(folder, module=module, collections=[SHOW, OTHER], witness_port=free_port())


def leaks_alone(folder):
    """What the host loses by itself under the same edits, for the one scene collection that it loads."""
    with host_of_its_own(folder, None) as host:
        remote = Remote(host)
        remote.make_and_remove()
        remote.edit(time.monotonic() + ALONE_S)
    require(host.leaks() is not None, "the host alone did not end properly")
    return host.leaks()


def assert_proper_end(host, allowed):
    if host.exit_status == -signal.SIGSEGV and "OBS 32." in host.log():
        print("the host crashed at its end, as version 32.2 does by itself now and then")
        return
    require(host.exit_status == 0, f"the host ended with status {host.exit_status}")
    require(host.leaks() is not None, "the host did not end properly")
    require(host.leaks() <= allowed, f"{host.leaks()} leaks, without the plug-in {allowed}")
    print(f"the host ended with status 0 and {host.leaks()} leaks, without the plug-in {allowed}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--minutes", type=int, default=1)
    parser.add_argument("--longest", type=float, default=1.0, metavar="SECONDS", help="what an answer may take")
    parser.add_argument("--module", type=pathlib.Path,
                        default=pathlib.Path(os.environ["KESTREL_BUILD"]) / "dev/plugin/kestrelbridge.so")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        leaks_a_load = leaks_alone(pathlib.Path(folder) / "alone")
        host = host_of_its_own(pathlib.Path(folder) / "soak", arguments.module)
        try:
            with host:
                host.wait_until_listening()
                run = Run(host, arguments.longest)
                for number in range(1, arguments.minutes + 1):
                    run.minute(number)
            assert_proper_end(host, leaks_a_load * (1 + run.switches))
        except (Violation, OSError, EOFError, WebSocketException) as error:
            print(f"violated: {error}\n{host.log()[-2000:]}", file=sys.stderr)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
