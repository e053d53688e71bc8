# SPDX-License-Identifier: GPL-2.0-or-later
"""Overloads OBS with changes and requests, and measures how long its window and its controllers wait.

    scripts/environment python3 -m soak.overload                        every load on 60 scenes of 20 items
    scripts/environment python3 -m soak.overload changes --scenes 100 --threads 4
    scripts/environment python3 -m soak.overload changes --create       items are created and removed
    scripts/environment python3 -m soak.overload changes --without-plugin

Each load runs in an OBS of its own. The exit status is 1 when a limit is exceeded, a controller is disconnected or
misses an answer, or ends with a state other than that of OBS.
"""

import argparse
import contextlib
import dataclasses
import json
import multiprocessing
import os
import pathlib
import re
import select
import sys
import tempfile
import threading
import time

import Xlib.display
import Xlib.protocol.event
import Xlib.X

from kestrelbridge import Controller, Disconnected, WaitTimeout, encode_frame
from obskit.checkedcontroller import MARKER
from obskit.obsprocess import ObsProcess, collection, free_port, wait_for
from obskit.obswebsocket import ObsWebSocketClient, RequestFailed, connect_to_obs

# The limits.
LONGEST_PING_S = 0.25
LONGEST_ANSWER_S = 0.25
LONGEST_BACKLOG_S = 1.0
LARGEST_GROWTH_MIB = 32

PING_INTERVAL_S = 0.05
ASKING_INTERVAL_S = 0.2
SLOW_READER_BYTES_PER_S = 2_000_000
BATCH_CHANGES = 100
BATCHES_UNDER_WAY = 2
ITEMS_CREATED_AT_ONCE = 10
SETTLING_S = 1.0
# A connection that has received nothing for so long, after the answer to a last request, has received everything.
QUIET_S = 1.5
TIMEOUT_S = 180
STALLED_S = 20

MASK_FRAME_ENTRIES = 200
LIST_FRAME_ENTRIES = 400
FRAMES_PER_S = 600
LONGEST_BODY_BYTES = 1_048_576

FIRST_NAME = re.compile(rb'\{"values":\[\{"name":"(\w+)"')
SCENE = "Scene 0"


class OverloadFailure(Exception):
    pass


# The processes that load and measure. They are processes, not threads: none delays another.


class Worker(multiprocessing.Process):
    """Works until finish() is called, which returns the result."""

    def __init__(self, *arguments):
        super().__init__(daemon=True)
        self._arguments = arguments
        self._end, self._far_end = multiprocessing.Pipe()
        self.finishing = multiprocessing.Event()
        self.start()

    def run(self):
        try:
            self._far_end.send(self.work(*self._arguments))
        except Exception as error:  # result() raises it
            self._far_end.send(error)

    def work(self, *arguments):
        raise NotImplementedError

    def result(self):
        """Waits for the result; an error of the process is raised here."""
        if not self._end.poll(TIMEOUT_S):
            raise OverloadFailure(f"{type(self).__name__} has not finished after {TIMEOUT_S} s")
        result = self._end.recv()
        if isinstance(result, Exception):
            raise OverloadFailure(f"{type(self).__name__}: {result!r}")
        return result

    def finish(self):
        self.finishing.set()
        return self.result()


class WindowPinger(Worker):
    """Sends _NET_WM_PING to a window as a window manager does; the result is the longest time to the reply."""

    def work(self, display_name, window):
        display = Xlib.display.Display(display_name)
        root = display.screen().root
        root.change_attributes(event_mask=Xlib.X.SubstructureRedirectMask)  # replies go to the window manager
        target = display.create_resource_object("window", window)
        protocols, ping = display.intern_atom("WM_PROTOCOLS"), display.intern_atom("_NET_WM_PING")
        sent, longest = {}, 0.0
        number, due = 0, time.monotonic()
        while not self.finishing.is_set() or (sent and time.monotonic() < due + TIMEOUT_S):
            now = time.monotonic()
            if now >= due and not self.finishing.is_set():
                number += 1
                sent[number], due = now, now + PING_INTERVAL_S
                target.send_event(Xlib.protocol.event.ClientMessage(
                    window=target, client_type=protocols, data=(32, [ping, number, window, 0, 0])))
                display.flush()
            if not display.pending_events():
                select.select([display.fileno()], [], [], max(0.0, min(due - now, PING_INTERVAL_S)) or PING_INTERVAL_S)
            while display.pending_events():
                event = display.next_event()
                if event.type & 0x7F == Xlib.X.ClientMessage and event.data[1][0] == ping:
                    longest = max(longest, time.monotonic() - sent.pop(event.data[1][1], time.monotonic()))
        if sent or number < 2:
            raise OverloadFailure(f"{len(sent)} of {number} pings of the window without a reply")
        return longest


@dataclasses.dataclass
class Received:
    """What a controller has received."""
    bytes: int = 0
    pushes: int = 0
    answers: int = 0
    last_push: float = 0.0
    longest_answer: float = 0.0
    last_answer: float = 0.0
    frames_per_s: float = 0.0
    latest: dict = dataclasses.field(default_factory=dict)


class Observer(Controller):
    """A controller that decodes no more than the first name of what it receives, to be fast."""

    def __init__(self, port, long_frames=True, bytes_per_s=None):
        super().__init__(port, long_frames=long_frames, timeout=TIMEOUT_S)
        self.received = Received()
        self._bytes_per_s = bytes_per_s
        self._begin = time.monotonic()

    def take(self, timeout):
        """Receives and counts one message; the name of its first entry, and the message. None after a timeout."""
        if self._bytes_per_s:
            time.sleep(max(0.0, self.received.bytes / self._bytes_per_s - (time.monotonic() - self._begin)))
        try:
            body = self.receive_body(timeout)
        except WaitTimeout:
            return None, b""
        self.received.bytes += len(body)
        match = FIRST_NAME.match(body)
        name = match.group(1).decode() if match else None
        if name and name != MARKER:
            self.received.latest[name] = body
            self.received.pushes += 1
            self.received.last_push = time.monotonic()
        return name, body

    def finish(self):
        """Reads until everything has arrived; returns what was received."""
        self.send([{"name": MARKER}])
        is_answered, quiet_since = False, time.monotonic()
        give_up = quiet_since + TIMEOUT_S
        while not is_answered or time.monotonic() < quiet_since + QUIET_S:
            if time.monotonic() > give_up:
                raise OverloadFailure(f"still receiving after {TIMEOUT_S} s")
            name, body = self.take(0.1)
            is_answered |= name == MARKER
            if body:
                quiet_since = time.monotonic()
        self.state |= {name: json.loads(body)["values"][-1]["value"] for name, body in self.received.latest.items()}
        self.received.latest = self.state
        return self.received


class ReadingController(Worker):
    """Reads every push as fast as it can, or a number of bytes a second."""

    def work(self, port, bytes_per_s=None):
        with Observer(port, bytes_per_s=bytes_per_s) as observer:
            while not self.finishing.is_set():
                observer.take(0.1)
            return observer.finish()


class AskingController(Worker):
    """Asks for a value at an interval; the result has the longest time to an answer."""

    def work(self, port):
        with Observer(port, long_frames=False) as observer:
            longest, due = 0.0, time.monotonic()
            while not self.finishing.is_set():
                while time.monotonic() < due:
                    observer.take(due - time.monotonic())
                asked, due = time.monotonic(), time.monotonic() + ASKING_INTERVAL_S
                observer.send([{"name": MARKER}])
                while observer.take(TIMEOUT_S)[0] != MARKER:
                    pass
                longest = max(longest, time.monotonic() - asked)
            received = observer.finish()
            received.longest_answer = longest
            return received


class RequestingController(Worker):
    """Sends frames, evenly over a time, and reads the answers: entries of one name, until all have arrived."""

    def work(self, port, frames, duration_s, name, expected):
        needle = b'"name":"%b"' % name.encode()
        with Observer(port) as observer:
            begin = time.monotonic()
            sent_at = []

            def send():
                with contextlib.suppress(Disconnected):  # reading raises it, too
                    for position, data in enumerate(frames):
                        time.sleep(max(0.0, begin + position * duration_s / len(frames) - time.monotonic()))
                        observer.send_bytes(data)
                        sent_at.append(time.monotonic())

            threading.Thread(target=send, daemon=True).start()
            answers, last_progress = 0, begin
            while answers < expected and time.monotonic() < last_progress + STALLED_S:
                _, body = observer.take(0.1)
                answers += body.count(needle)
                if body:
                    last_progress = time.monotonic()
            received = observer.finish()
            received.answers, received.last_answer = answers, last_progress
            received.longest_answer = last_progress - begin
            received.frames_per_s = len(sent_at) / (sent_at[-1] - begin)
            return received


class ObsWebSocketThread(Worker):
    """Changes one item as fast as obs-websocket executes batches, each on a thread of its own in OBS.

    The result is the number of changes, and the time of the last one.
    """

    def work(self, port, item, seconds, is_finally_visible, is_creating, changes_per_s):
        client = ObsWebSocketClient(port, TIMEOUT_S)

        def visible(is_visible):
            return {"requestType": "SetSceneItemEnabled", "requestData": {
                "sceneName": SCENE, "sceneItemId": item["sceneItemId"], "sceneItemEnabled": is_visible}}

        def create(variable):
            return {"requestType": "CreateSceneItem", "outputVariables": {variable: "sceneItemId"},
                    "requestData": {"sceneName": SCENE, "sourceName": item["sourceName"], "sceneItemEnabled": True}}

        def remove(variable):
            return {"requestType": "RemoveSceneItem", "inputVariables": {"sceneItemId": variable},
                    "requestData": {"sceneName": SCENE}}

        variables = [f"item{number}" for number in range(ITEMS_CREATED_AT_ONCE)]
        if is_creating:
            cycle = [*map(create, variables), *map(remove, variables)]
        else:
            cycle = [visible(False), visible(True)]

        batch = cycle * (BATCH_CHANGES // len(cycle))
        changes = under_way = batches = 0
        begin = time.monotonic()
        deadline = begin + seconds
        while True:
            while under_way < BATCHES_UNDER_WAY and time.monotonic() < deadline:
                if changes_per_s:
                    time.sleep(max(0.0, begin + batches * BATCH_CHANGES / changes_per_s - time.monotonic()))
                client.send_batch(batch)
                batches += 1
                under_way += 1
            if not under_way:
                break
            changes += client.receive_batch()
            under_way -= 1
        client.send_batch([visible(is_finally_visible)])
        client.receive_batch()
        return changes, time.monotonic()


# The loads


class Overload:
    """One load on an OBS of its own; the figures are compared with the limits as they are printed."""

    def __init__(self, name, folder, options):
        self.name = name
        self.options = options
        scenes = {f"Scene {i}": [f"Item {i} {j}" for j in range(options.items)] for i in range(options.scenes)}
        self.obs = ObsProcess(folder, module=None if options.without_plugin else options.module,
                              collections=[collection("Large", scenes, transition="Cut")],
                              obs_websocket_port=free_port())
        self.obs_websocket = None
        self.failures = []
        self.figures = []
        self.longest_ping_s = self.growth_mib = 0
        self.allowance_s = self.allowance_mib = 0  # what OBS takes under the same load without the plug-in

    def figure(self, what, value, unit, limit=None):
        scale = 1000 if unit == "ms" else 1
        exceeds = limit is not None and value > limit
        bound = "" if limit is None else f" ({'EXCEEDS' if exceeds else 'limit'} {limit * scale:.0f})"
        self.figures.append(f"{what} {value * scale:,.0f} {unit}{bound}")
        if exceeds:
            self.failures.append(f"{what} exceeds its limit")

    def require(self, condition, text):
        if not condition:
            self.failures.append(text)

    def status(self, key):
        for line in pathlib.Path(f"/proc/{self.obs.pid}/status").read_text().splitlines():
            if line.startswith(key):
                return int(line.split()[1]) / 1024
        raise KeyError(key)

    def items(self):
        """The items of the scene as OBS has them, top-most first."""
        listed = self.obs_websocket("GetSceneItemList", sceneName=SCENE)["sceneItems"]
        return sorted(listed, key=lambda item: -item["sceneItemIndex"])

    def run(self):
        """Applies the load and prints the figures; true when everything is within its limit."""
        self.run_obs()
        self.require(self.obs.exit_status == 0, f"OBS ended with status {self.obs.exit_status}")
        print(f"{self.name}: {'; '.join(self.figures)}", flush=True)
        for failure in self.failures:
            print(f"  FAILED {failure}", flush=True)
        return not self.failures

    def run_obs(self):
        with self.obs:
            if self.options.without_plugin:
                self.obs.wait_for_log("Startup complete", 60)
            else:
                self.obs.wait_until_listening()
            self.obs_websocket = connect_to_obs(self.obs)
            window = int(wait_for(lambda: self.obs.windows("^OBS "), 20, "the window of OBS")[0])
            port = self.obs.port
            controllers = {}
            if not self.options.without_plugin:
                controllers = {"reader": ReadingController(port),
                               "slow reader": ReadingController(port, SLOW_READER_BYTES_PER_S),
                               "asker": AskingController(port)}
            time.sleep(SETTLING_S)
            pathlib.Path(f"/proc/{self.obs.pid}/clear_refs").write_text("5")  # the peak starts anew
            resident = self.status("VmRSS:")
            pinger = WindowPinger(self.obs.display, window)
            try:
                last_change = self.load()
                results = {}
                for name, controller in controllers.items():
                    try:
                        results[name] = controller.finish()
                    except OverloadFailure as failure:
                        self.require(False, f"{name}: {failure}")
                self.longest_ping_s = pinger.finish()
                self.growth_mib = self.status("VmHWM:") - resident
                self.figure("longest window ping", self.longest_ping_s, "ms", LONGEST_PING_S + self.allowance_s)
                self.figure("resident memory at most", self.growth_mib, "MiB more",
                            LARGEST_GROWTH_MIB + self.allowance_mib)
                self.judge(results, last_change)
            finally:
                for process in multiprocessing.active_children():
                    process.terminate()

    def load(self):
        """Applies the load; returns the time of the last change."""
        raise NotImplementedError

    def judge(self, results, last_change):
        items = self.items()
        true_mask = sum(item["sceneItemEnabled"] << position for position, item in enumerate(items))
        true_items = [(item["sourceName"], item["sceneItemEnabled"]) for item in items]
        if "asker" in results:
            self.figure("longest answer", results["asker"].longest_answer, "ms", LONGEST_ANSWER_S + self.allowance_s)
        if "reader" in results:
            reader = results["reader"]
            self.figure("backlog after the last change", max(0.0, reader.last_push - last_change), "ms",
                        LONGEST_BACKLOG_S + self.allowance_s)
            self.figure("the reader received", reader.pushes, "pushes")
            self.figure("which are", reader.bytes / 2 ** 20, "MiB")
        for name, received in results.items():
            latest = received.latest
            mask = latest["sourceVisibles"]
            if self.is_mask_pushed:
                self.require(mask == true_mask, f"the {name} ends with the mask {mask}, OBS with {true_mask}")
            if name != "asker":  # the list is too long for it
                [scene] = [scene for scene in latest["sceneList"] if scene["name"] == SCENE]
                shown = [(item["name"], item["isVisible"]) for item in scene["sourceList"]]
                self.require(shown == true_items, f"the {name} ends with {shown}, OBS with {true_items}")

    is_mask_pushed = True


class Changes(Overload):
    """Threads of obs-websocket change an item each."""

    def load(self):
        self.is_mask_pushed = not self.options.create
        threads = [ObsWebSocketThread(self.obs.obs_websocket_port, item, self.options.seconds, bool(number % 2),
                                      self.options.create, self.options.rate / self.options.threads)
                   for number, item in enumerate(self.items()[:self.options.threads])]
        results = [thread.result() for thread in threads]
        self.figure("changes", sum(changes for changes, _ in results) / self.options.seconds, "per second")
        return max(last_change for _, last_change in results)


class RequestLoad(Overload):
    """One controller, that reads, sends requests."""

    def request(self, frames, duration_s, name, expected):
        requester = RequestingController(self.obs.port, frames, duration_s, name, expected)
        try:
            received = requester.result()
        except OverloadFailure as failure:
            self.require(False, str(failure))
            return time.monotonic()
        self.require(received.answers == expected, f"{received.answers:,} answers of {expected:,} arrived")
        self.figure(f"{expected:,} answers within", received.longest_answer, "ms")
        if duration_s:
            self.figure("frames", received.frames_per_s, "per second")
        return received.last_answer


class LongFrame(RequestLoad):
    """A frame of the largest size, of sets without a name and gets of the longest value."""

    def load(self):
        pair = '{"type":"set"},{"name":"sceneList"},'
        count = (LONGEST_BODY_BYTES - 20) // len(pair)
        body = '{"values":[' + (pair * count)[:-1] + "]}"
        return self.request([b"####%08d%b" % (len(body), body.encode())], 0, "sceneList", count)


class Lists(RequestLoad):
    def load(self):
        return self.request([encode_frame([{"name": "sceneList"}] * LIST_FRAME_ENTRIES)], 0, "sceneList",
                            LIST_FRAME_ENTRIES)


class Masks(RequestLoad):
    """A frame whose entries change every item again and again."""

    def masks(self, count):
        every_other = sum(1 << position for position in range(0, self.options.items, 2))
        both = every_other, every_other << 1 & (1 << self.options.items) - 1
        return [{"type": "set", "name": "sourceVisibles", "value": both[position % 2]} for position in range(count)]

    def load(self):
        return self.request([encode_frame([*self.masks(MASK_FRAME_ENTRIES), {"name": MARKER}])], 0, MARKER, 1)


class Frames(RequestLoad):
    """Many frames a second, each with a mask that changes one item and a request."""

    def load(self):
        seconds = 2 * self.options.seconds
        every_item = (1 << self.options.items) - 1
        frames = [encode_frame([{"type": "set", "name": "sourceVisibles", "value": every_item - position % 2},
                                {"name": MARKER}]) for position in range(FRAMES_PER_S * seconds)]
        return self.request(frames, seconds, MARKER, len(frames))


LOADS = {"changes": Changes, "longframe": LongFrame, "lists": Lists, "masks": Masks, "frames": Frames}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("loads", nargs="*", metavar="LOAD", help=f"of {', '.join(LOADS)}; all unless given")
    parser.add_argument("--scenes", type=int, default=60)
    parser.add_argument("--items", type=int, default=20, help="of each scene")
    parser.add_argument("--threads", type=int, default=2, help="of obs-websocket that make changes")
    parser.add_argument("--create", action="store_true", help="create and remove items instead of hiding them")
    parser.add_argument("--seconds", type=int, default=15, help="how long changes are made")
    parser.add_argument("--rate", type=float, default=0, metavar="CHANGES",
                        help="per second of all threads together; as many as OBS takes unless given")
    parser.add_argument("--without-plugin", action="store_true", help="only what OBS itself does under the changes")
    parser.add_argument("--module", type=pathlib.Path,
                        default=pathlib.Path(os.environ["KESTREL_BUILD"]) / "dev/plugin/kestrelbridge.so")
    options = parser.parse_args()
    if unknown := set(options.loads) - set(LOADS):
        parser.error(f"no such load: {', '.join(unknown)}")
    alone = None
    if options.create and not options.without_plugin:
        # OBS makes a row of its window for every item: it exceeds the limits by itself.
        with tempfile.TemporaryDirectory() as folder:
            alone = Changes("changes without the plug-in", folder,
                            argparse.Namespace(**(vars(options) | {"without_plugin": True})))
            alone.run()
    is_within = True
    for name in options.loads or LOADS:
        with tempfile.TemporaryDirectory() as folder:
            load = LOADS[name](name, folder, options)
            if alone and name == "changes":
                load.allowance_s, load.allowance_mib = alone.longest_ping_s, alone.growth_mib
            try:
                is_within &= load.run()
            except (OverloadFailure, RequestFailed, OSError, RuntimeError) as failure:
                print(f"{name}: {'; '.join(load.figures)}\n  FAILED {failure}\n{load.obs.log()[-1500:]}")
                is_within = False
    return 0 if is_within else 1


if __name__ == "__main__":
    sys.exit(main())
