# SPDX-License-Identifier: GPL-2.0-or-later
"""Overloads OBS with changes and requests, and measures how long its window and its controllers wait.

    scripts/environment python3 -m soak.overload                        every load on 60 scenes of 20 items
    scripts/environment python3 -m soak.overload changes --scenes 100 --threads 4

Each load runs in an OBS of its own. The exit status is 1 when a limit is exceeded, a controller is disconnected or
misses an answer, or ends with a state other than that of OBS.
"""

import json
import multiprocessing
import pathlib
import re
import sys
import threading
import time
import types

from Xlib import X, display
from Xlib.protocol import event

from kestrelbridge import Controller, WaitTimeout, encode_frame
from obskit.checkedcontroller import MARKER
from obskit.obswebsocket import ObsWebSocketClient
from soak.loadtest import LoadTest, option_parser

# The limits.
LONGEST_PING_S = 0.25
LONGEST_ANSWER_S = 0.25
LONGEST_BACKLOG_S = 1.0
LARGEST_GROWTH_MIB = 32

PING_INTERVAL_S = 0.05
ASKING_INTERVAL_S = 0.2
SLOW_READER_BYTES_PER_S = 2_000_000
BATCH_CHANGES = 100
BATCH_S = 0.1  # how long a batch lasts at most, at a rate
SETTLING_S = 1.0
# A connection that has received nothing for so long, after the answer to a last request, has received everything.
QUIET_S = 1.5
TIMEOUT_S = 180
STALLED_S = 20

MASK_FRAME_ENTRIES = 200
LIST_FRAME_ENTRIES = 400
FRAMES_PER_S = 600
LONG_FRAME_PAIRS = 26_213  # of a set without a name and a get: a frame of the largest size
LOADS = ["changes", "longframe", "lists", "masks", "frames"]

FIRST_NAME = re.compile(rb'\{"values":\[\{"name":"(\w+)"')
SCENE = "Scene 0"

# What loads and measures runs in processes of its own, so that none delays another.
LOADING, DRAINING, ENDED = range(3)
phase = multiprocessing.RawValue("b", LOADING)


def keep_pace(begin, amount, per_s):
    """Waits until so much is due at a rate; a rate of 0 has no limit."""
    if per_s:
        time.sleep(max(0.0, begin + amount / per_s - time.monotonic()))


class Observer(Controller):
    """A controller that decodes no more than the first name of what it receives, to be fast."""

    def __init__(self, port, long_frames=True, bytes_per_s=0):
        super().__init__(port, long_frames=long_frames, timeout=TIMEOUT_S)
        self._begin, self._bytes, self._bytes_per_s = time.monotonic(), 0, bytes_per_s
        self.latest = {}
        self.seen = types.SimpleNamespace(pushes=0, last_push=0.0, longest_answer=0.0)

    def take(self, timeout):
        """Receives one message; the name of its first entry, and the message, which is empty after a timeout."""
        keep_pace(self._begin, self._bytes, self._bytes_per_s)
        try:
            body = self.receive_body(timeout)
        except WaitTimeout:
            return None, b""
        self._bytes += len(body)
        name = (match := FIRST_NAME.match(body)) and match[1].decode()
        if name not in (None, MARKER):
            self.latest[name] = body
            self.seen.pushes += 1
            self.seen.last_push = time.monotonic()
        return name, body

    def ask(self):
        """Measures the time to an answer."""
        begin = time.monotonic()
        self.send([{"name": MARKER}])
        while self.take(TIMEOUT_S)[0] != MARKER:
            pass
        self.seen.longest_answer = max(self.seen.longest_answer, time.monotonic() - begin)


# The processes


def observe(port, long_frames=True, bytes_per_s=0):
    """Reads every push, as fast as it can or a number of bytes a second, and asks for a value at an interval.

    Returns what it received.
    """
    with Observer(port, long_frames, bytes_per_s) as observer:
        while phase.value < DRAINING:
            due = time.monotonic() + ASKING_INTERVAL_S
            observer.ask()
            while time.monotonic() < due:
                observer.take(max(0.0, due - time.monotonic()))
        observer.ask()
        while observer.take(QUIET_S)[1]:  # until everything has arrived
            pass
        newest = {name: json.loads(body)["values"][-1]["value"] for name, body in observer.latest.items()}
        observer.seen.state = observer.state | newest
        return observer.seen


def ping_window(display_name, window):
    """Sends _NET_WM_PING to a window as a window manager does; the longest time to the reply."""
    screen = display.Display(display_name)
    screen.screen().root.change_attributes(event_mask=X.SubstructureRedirectMask)  # for the replies
    target = screen.create_resource_object("window", window)
    protocols, ping = screen.intern_atom("WM_PROTOCOLS"), screen.intern_atom("_NET_WM_PING")
    number, longest = 0, 0.0
    while phase.value < ENDED:
        number += 1
        sent = time.monotonic()
        target.send_event(event.ClientMessage(window=target, client_type=protocols,
                                              data=(32, [ping, number, window, 0, 0])))
        while (reply := screen.next_event()).type & 0x7F != X.ClientMessage or [*reply.data[1][:2]] != [ping, number]:
            pass
        longest = max(longest, time.monotonic() - sent)
        keep_pace(sent, 1, 1 / PING_INTERVAL_S)
    return longest


def request(port, frames, frames_per_s, name, expected):
    """Sends frames and reads the answers, entries of one name, until all have arrived; their number and the time."""
    needle = b'"name":"%b"' % name.encode()
    with Observer(port) as observer:
        begin = time.monotonic()

        def send():
            for position, data in enumerate(frames):
                keep_pace(begin, position, frames_per_s)
                observer.send_bytes(data)

        threading.Thread(target=send, daemon=True).start()
        answers = 0
        while answers < expected and (body := observer.take(STALLED_S)[1]):
            answers += body.count(needle)
        return answers, time.monotonic() - begin


def change(port, item, options):
    """Changes one item as fast as obs-websocket executes batches, each on a thread of its own in OBS; their number."""
    def step(request_type, data, **variables):
        return {"requestType": request_type, "requestData": {"sceneName": SCENE} | data} | variables

    if options.create:
        pair = [step("CreateSceneItem", {"sourceName": item["sourceName"]}, outputVariables={"created": "sceneItemId"}),
                step("RemoveSceneItem", {}, inputVariables={"sceneItemId": "created"})]
    else:
        pair = [step("SetSceneItemEnabled", {"sceneItemId": item["sceneItemId"], "sceneItemEnabled": is_visible})
                for is_visible in (True, False)]
    rate = options.rate / options.threads
    pairs = max(1, int(min(rate * BATCH_S or BATCH_CHANGES, BATCH_CHANGES)) // 2)
    with ObsWebSocketClient(port) as client:
        begin, changes = time.monotonic(), 0
        while time.monotonic() < begin + options.seconds:
            changes += len(client.execute_batch(pair * pairs))
            keep_pace(begin, changes, rate)
    return changes


# The loads


def requests(load, options):
    """The frames of one controller, their number per second, the name in their answers and how often it occurs."""
    every_item = (1 << options.items) - 1
    every_other = every_item // 3

    def show(*masks):
        return [{"type": "set", "name": "sourceVisibles", "value": mask} for mask in masks] + [{"name": MARKER}]

    if load == "frames":  # each with a mask that changes one item, and a request
        count = FRAMES_PER_S * 2 * options.seconds
        return [encode_frame(show(every_item - number % 2)) for number in range(count)], FRAMES_PER_S, MARKER, count
    entries = {
        "longframe": [{"type": "set"}, {"name": "sceneList"}] * LONG_FRAME_PAIRS,
        "lists": [{"name": "sceneList"}] * LIST_FRAME_ENTRIES,
        "masks": show(*[every_other, every_item - every_other] * (MASK_FRAME_ENTRIES // 2)),
    }[load]
    name = entries[-1]["name"]
    return [encode_frame(entries)], 0, name, [entry.get("name") for entry in entries].count(name)


class Overload(LoadTest):
    """A load, while two controllers read, one asks, and the window is pinged."""

    def __init__(self, load, options, module, allowed=(0, 0)):
        scenes = {f"Scene {i}": [f"Item {i} {j}" for j in range(options.items)] for i in range(options.scenes)}
        super().__init__(load if module else f"{load} without the plug-in", module, ("Large", scenes))
        self._load, self._options = load, options
        self.measured = 0, 0  # the longest window ping in seconds, the growth in MiB
        self._allowed_s, self._allowed_mib = allowed  # the same without the plug-in

    def load(self):
        port = self.obs.port
        kinds = {"reader": (port,), "slow_reader": (port, True, SLOW_READER_BYTES_PER_S), "asker": (port, False)}
        phase.value = LOADING
        with multiprocessing.get_context("fork").Pool(len(kinds) + 1 + self._options.threads) as pool:
            controllers = {kind: pool.apply_async(observe, kinds[kind]) for kind in kinds if self.module}
            time.sleep(SETTLING_S)
            pathlib.Path(f"/proc/{self.obs.pid}/clear_refs").write_text("5")  # the peak starts anew
            resident = self.obs.status("VmRSS")
            ping = pool.apply_async(ping_window, [self.obs.display, int(self.obs.main_window)])
            self._apply(pool)
            last_change = time.monotonic()
            phase.value = DRAINING
            for controller in controllers.values():
                controller.wait(TIMEOUT_S)
            phase.value = ENDED
            self.measured = ping.get(TIMEOUT_S), (self.obs.status("VmHWM") - resident) / 1024
            self.figure("longest window ping", self.measured[0], "ms", LONGEST_PING_S + self._allowed_s)
            self.figure("resident memory at most", self.measured[1], "MiB more", LARGEST_GROWTH_MIB + self._allowed_mib)
            if self.module:
                self._judge(last_change, **{kind: controller.get(0) for kind, controller in controllers.items()})

    def _apply(self, pool):
        options = self._options
        if self._load == "changes":  # threads of obs-websocket change an item each
            arguments = [(self.obs.obs_websocket_port, item, options) for item in self._items()[:options.threads]]
            changes = pool.starmap_async(change, arguments, 1).get(options.seconds + TIMEOUT_S)
            self.figure("changes", sum(changes) / options.seconds, "per second")
        else:
            *arguments, expected = requests(self._load, options)
            answers, duration_s = pool.apply_async(request, [self.obs.port, *arguments, expected]).get(TIMEOUT_S)
            self.require(answers == expected, f"{answers:,} answers of {expected:,} arrived")
            self.figure(f"{expected:,} answers within", duration_s, "ms")

    def _items(self):
        """The items of the scene as OBS has them, top-most first."""
        return list(self.obs_websocket.items(SCENE).values())[::-1]

    def _judge(self, last_change, reader, slow_reader, asker):
        self.figure("longest answer", asker.longest_answer, "ms", LONGEST_ANSWER_S + self._allowed_s)
        self.figure("backlog after the last change", max(0.0, reader.last_push - last_change), "ms",
                    LONGEST_BACKLOG_S + self._allowed_s)
        self.figure("the reader received", reader.pushes, "pushes")
        true_items = [(item["sourceName"], item["sceneItemEnabled"]) for item in self._items()]
        true_mask = sum(is_visible << position for position, (_, is_visible) in enumerate(true_items))
        if not self._options.create or self._load != "changes":  # no mask is pushed for items that come and go
            masks = [controller.state["sourceVisibles"] for controller in (reader, slow_reader, asker)]
            self.require(masks == [true_mask] * 3, f"the controllers end with the masks {masks}, OBS with {true_mask}")
        for controller in reader, slow_reader:  # the list is too long for the other
            [items] = [scene["sourceList"] for scene in controller.state["sceneList"] if scene["name"] == SCENE]
            shown = [(item["name"], item["isVisible"]) for item in items]
            self.require(shown == true_items, f"a reader ends with {shown}, OBS with {true_items}")


def main():
    parser = option_parser(__doc__)
    parser.add_argument("loads", nargs="*", metavar="LOAD", help=f"of {', '.join(LOADS)}; all unless given")
    parser.add_argument("--scenes", type=int, default=60)
    parser.add_argument("--items", type=int, default=20, help="of each scene")
    parser.add_argument("--threads", type=int, default=2, help="of obs-websocket that make changes")
    parser.add_argument("--create", action="store_true", help="create and remove items instead of hiding them")
    parser.add_argument("--seconds", type=int, default=15, help="how long changes are made")
    parser.add_argument("--rate", type=float, default=0, metavar="CHANGES",
                        help="per second of all threads together; as many as OBS takes unless given")
    parser.add_argument("--without-plugin", action="store_true", help="only what OBS itself does under the changes")
    options = parser.parse_args()
    if unknown := set(options.loads) - set(LOADS):
        parser.error(f"no such load: {', '.join(unknown)}")
    alone = Overload("changes", options, None)
    if options.create or options.without_plugin:
        # OBS makes a row of its window for every item: it exceeds the limits by itself.
        is_within_limits = alone.run()
    if not options.without_plugin:
        is_within_limits = all([
            Overload(load, options, options.module, alone.measured if load == "changes" else (0, 0)).run()
            for load in options.loads or LOADS])
    return 0 if is_within_limits else 1


if __name__ == "__main__":
    sys.exit(main())
