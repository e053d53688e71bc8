# SPDX-License-Identifier: GPL-2.0-or-later
"""Overloads OBS with changes and requests, and measures how long its window and its controllers wait.

    scripts/environment python3 -m soak.overload                        every load on 60 scenes of 20 items
    scripts/environment python3 -m soak.overload changes --scenes 100 --threads 4
    scripts/environment python3 -m soak.overload changes --create       items are created and removed
    scripts/environment python3 -m soak.overload changes --without-plugin

Each load runs in an OBS of its own. The exit status is 1 when a limit is exceeded, a controller is disconnected or
misses an answer, or ends with a state other than that of OBS.
"""

import concurrent.futures
import contextlib
import json
import multiprocessing
import pathlib
import re
import sys
import threading
import time
import types

import Xlib.display
import Xlib.protocol.event
import Xlib.X

from kestrelbridge import Controller, Disconnected, KestrelBridgeError, WaitTimeout, encode_frame
from obskit.checkedcontroller import MARKER
from obskit.obsprocess import wait_for
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

# What loads and measures runs in processes of its own, so that none delays another.
SETTLING, LOADING, DRAINING, ENDED = range(4)
phase = multiprocessing.RawValue("b", SETTLING)


def keep_pace(begin, amount, per_s):
    """Waits until so much is due at a rate; a rate of 0 has no limit."""
    if per_s:
        time.sleep(max(0.0, begin + amount / per_s - time.monotonic()))


class Observer(Controller):
    """A controller that decodes no more than the first name of what it receives, to be fast."""

    def __init__(self, port, long_frames=True, bytes_per_s=0):
        super().__init__(port, long_frames=long_frames, timeout=TIMEOUT_S)
        self.received = types.SimpleNamespace(bytes=0, pushes=0, last_push=0.0, latest={})
        self._bytes_per_s = bytes_per_s
        self._begin = time.monotonic()

    def take(self, timeout):
        """Receives and counts one message; the name of its first entry, and the message. None after a timeout."""
        received = self.received
        keep_pace(self._begin, received.bytes, self._bytes_per_s)
        try:
            body = self.receive_body(timeout)
        except WaitTimeout:
            return None, b""
        received.bytes += len(body)
        match = FIRST_NAME.match(body)
        name = match[1].decode() if match else None
        if name and name != MARKER:
            received.latest[name] = body
            received.pushes += 1
            received.last_push = time.monotonic()
        return name, body

    def finish(self):
        """Reads until everything has arrived; returns what was received."""
        self.send([{"name": MARKER}])
        is_answered, quiet_since = False, time.monotonic()
        while not is_answered or time.monotonic() < quiet_since + QUIET_S:
            name, body = self.take(0.1)
            is_answered |= name == MARKER
            if body:
                quiet_since = time.monotonic()
        newest = {name: json.loads(body)["values"][-1]["value"] for name, body in self.received.latest.items()}
        self.received.latest = self.state | newest
        return self.received


# The processes


def read(port, bytes_per_s=0):
    """Reads every push as fast as it can, or a number of bytes a second."""
    with Observer(port, bytes_per_s=bytes_per_s) as observer:
        while phase.value < DRAINING:
            observer.take(0.1)
        return observer.finish()


def ask(port):
    """Asks for a value at an interval and measures the longest time to an answer."""
    with Observer(port, long_frames=False) as observer:
        longest, due = 0.0, time.monotonic()
        while phase.value < DRAINING:
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


def ping_window(display_name, window):
    """Sends _NET_WM_PING to a window as a window manager does; the longest time to the reply."""
    display = Xlib.display.Display(display_name)
    display.screen().root.change_attributes(event_mask=Xlib.X.SubstructureRedirectMask)  # for the replies
    target = display.create_resource_object("window", window)
    protocols, ping = display.intern_atom("WM_PROTOCOLS"), display.intern_atom("_NET_WM_PING")

    def is_reply(event, number):
        return event.type & 0x7F == Xlib.X.ClientMessage and list(event.data[1][:2]) == [ping, number]

    while phase.value == SETTLING:
        time.sleep(0.01)
    number, longest = 0, 0.0
    while phase.value < ENDED:
        number += 1
        sent = time.monotonic()
        target.send_event(Xlib.protocol.event.ClientMessage(
            window=target, client_type=protocols, data=(32, [ping, number, window, 0, 0])))
        while not is_reply(display.next_event(), number):
            pass
        longest = max(longest, time.monotonic() - sent)
        keep_pace(sent, 1, 1 / PING_INTERVAL_S)
    return longest


def request(port, frames, frames_per_s, name, expected):
    """Sends frames and reads the answers, entries of one name, until all have arrived."""
    needle = b'"name":"%b"' % name.encode()
    with Observer(port) as observer:
        begin = time.monotonic()
        sent_at = []

        def send():
            with contextlib.suppress(Disconnected):  # reading raises it, too
                for position, data in enumerate(frames):
                    keep_pace(begin, position, frames_per_s)
                    observer.send_bytes(data)
                    sent_at.append(time.monotonic())

        threading.Thread(target=send, daemon=True).start()
        answers, last_answer = 0, begin
        while answers < expected and time.monotonic() < last_answer + STALLED_S:
            _, body = observer.take(0.1)
            answers += body.count(needle)
            if body:
                last_answer = time.monotonic()
        observer.finish()
        return answers, last_answer, last_answer - begin, len(sent_at) / (sent_at[-1] - begin)


def change(port, item, seconds, is_finally_visible, is_creating, changes_per_s):
    """Changes one item as fast as obs-websocket executes batches, each on a thread of its own in OBS.

    Returns the number of changes, and the time of the last one.
    """
    def step(request_type, data, **variables):
        return {"requestType": request_type, "requestData": {"sceneName": SCENE} | data} | variables

    def show(is_visible):
        return step("SetSceneItemEnabled", {"sceneItemId": item["sceneItemId"], "sceneItemEnabled": is_visible})

    cycle = [show(False), show(True)]
    if is_creating:
        names = [f"item{number}" for number in range(ITEMS_CREATED_AT_ONCE)]
        cycle = [step("CreateSceneItem", {"sourceName": item["sourceName"], "sceneItemEnabled": True},
                      outputVariables={name: "sceneItemId"}) for name in names]
        cycle += [step("RemoveSceneItem", {}, inputVariables={"sceneItemId": name}) for name in names]
    batch = cycle * (BATCH_CHANGES // len(cycle))
    client = ObsWebSocketClient(port)
    begin = time.monotonic()
    sent = done = 0
    while True:
        while sent < done + BATCHES_UNDER_WAY and time.monotonic() < begin + seconds:
            keep_pace(begin, sent * BATCH_CHANGES, changes_per_s)
            client.send_batch(batch)
            sent += 1
        if done == sent:
            break
        client.receive_batch()
        done += 1
    client.send_batch([show(is_finally_visible)])
    client.receive_batch()
    return done * BATCH_CHANGES, time.monotonic()


# The loads of one controller, that reads: its frames, their number per second, what its answers contain and how often.


def long_frame(_):
    """A frame of the largest size, of sets without a name and gets of the longest value."""
    pair = '{"type":"set"},{"name":"sceneList"},'
    count = (LONGEST_BODY_BYTES - 20) // len(pair)
    body = '{"values":[' + (pair * count)[:-1] + "]}"
    return [b"####%08d%b" % (len(body), body.encode())], 0, "sceneList", count


def lists(_):
    return [encode_frame([{"name": "sceneList"}] * LIST_FRAME_ENTRIES)], 0, "sceneList", LIST_FRAME_ENTRIES


def set_visible(mask):
    return {"type": "set", "name": "sourceVisibles", "value": mask}


def masks(options):
    """A frame whose entries change every item again and again."""
    every_item = (1 << options.items) - 1
    every_other = every_item // 3
    entries = [set_visible(every_other), set_visible(every_item - every_other)] * (MASK_FRAME_ENTRIES // 2)
    return [encode_frame([*entries, {"name": MARKER}])], 0, MARKER, 1


def many_frames(options):
    """Many frames a second, each with a mask that changes one item and a request."""
    every_item = (1 << options.items) - 1
    count = FRAMES_PER_S * 2 * options.seconds
    return [encode_frame([set_visible(every_item - position % 2), {"name": MARKER}])
            for position in range(count)], FRAMES_PER_S, MARKER, count


REQUESTS = {"longframe": long_frame, "lists": lists, "masks": masks, "frames": many_frames}
LOADS = ["changes", *REQUESTS]


class Overload(LoadTest):
    """A load, while two controllers read, one asks, and the window is pinged."""

    def __init__(self, name, options, module, load="changes", alone=None):
        scenes = {f"Scene {i}": [f"Item {i} {j}" for j in range(options.items)] for i in range(options.scenes)}
        super().__init__(name, module, ("Large", scenes))
        self._load = load
        self._options = options
        self._has_plugin = module is not None
        self.longest_ping_s = self.growth_mib = 0
        # What OBS takes under the same load without the plug-in.
        self._allowed_s, self._allowed_mib = (alone.longest_ping_s, alone.growth_mib) if alone else (0, 0)

    def load(self):
        window = int(wait_for(lambda: self.obs.windows("^OBS "), 20, "the window of OBS")[0])
        phase.value = SETTLING
        pool = concurrent.futures.ProcessPoolExecutor(4 + self._options.threads, multiprocessing.get_context("fork"))
        try:
            ping = pool.submit(ping_window, self.obs.display, window)
            controllers = {}
            if self._has_plugin:
                controllers = {"reader": pool.submit(read, self.obs.port),
                               "slow reader": pool.submit(read, self.obs.port, SLOW_READER_BYTES_PER_S),
                               "asker": pool.submit(ask, self.obs.port)}
            time.sleep(SETTLING_S)
            pathlib.Path(f"/proc/{self.obs.pid}/clear_refs").write_text("5")  # the peak starts anew
            resident = self.obs.status("VmRSS")
            phase.value = LOADING
            last_change = self._change(pool) if self._load == "changes" else self._request(pool)
            phase.value = DRAINING
            results = {name: self._result(name, controller) for name, controller in controllers.items()}
            phase.value = ENDED
            self.longest_ping_s = self._result("ping", ping) or 0
            self.growth_mib = (self.obs.status("VmHWM") - resident) / 1024
        finally:
            for process in multiprocessing.active_children():
                process.terminate()
        self.figure("longest window ping", self.longest_ping_s, "ms", LONGEST_PING_S + self._allowed_s)
        self.figure("resident memory at most", self.growth_mib, "MiB more", LARGEST_GROWTH_MIB + self._allowed_mib)
        self._judge({name: received for name, received in results.items() if received}, last_change)

    def _result(self, what, future):
        """None after a failure."""
        try:
            return future.result(TIMEOUT_S)
        except (KestrelBridgeError, OSError) as error:
            self.require(False, f"{what}: {error!r}")
            return None

    def _change(self, pool):
        """Threads of obs-websocket change an item each; returns the time of the last change."""
        options = self._options
        futures = [pool.submit(change, self.obs.obs_websocket_port, item, options.seconds, bool(number % 2),
                               options.create, options.rate / options.threads)
                   for number, item in enumerate(self._items()[:options.threads])]
        counts, ends = zip(*(future.result(options.seconds + TIMEOUT_S) for future in futures))
        self.figure("changes", sum(counts) / options.seconds, "per second")
        return max(ends)

    def _request(self, pool):
        frames, frames_per_s, name, expected = REQUESTS[self._load](self._options)
        result = self._result("requester", pool.submit(request, self.obs.port, frames, frames_per_s, name, expected))
        if not result:
            return time.monotonic()
        answers, last_answer, duration_s, sent_per_s = result
        self.require(answers == expected, f"{answers:,} answers of {expected:,} arrived")
        self.figure(f"{expected:,} answers within", duration_s, "ms")
        if frames_per_s:
            self.figure("frames", sent_per_s, "per second")
        return last_answer

    def _items(self):
        """The items of the scene as OBS has them, top-most first."""
        return list(self.obs_websocket.items(SCENE).values())[::-1]

    def _judge(self, results, last_change):
        items = self._items()
        true_mask = sum(item["sceneItemEnabled"] << position for position, item in enumerate(items))
        true_items = [(item["sourceName"], item["sceneItemEnabled"]) for item in items]
        if "asker" in results:
            self.figure("longest answer", results["asker"].longest_answer, "ms", LONGEST_ANSWER_S + self._allowed_s)
        if "reader" in results:
            reader = results["reader"]
            self.figure("backlog after the last change", max(0.0, reader.last_push - last_change), "ms",
                        LONGEST_BACKLOG_S + self._allowed_s)
            self.figure("the reader received", reader.pushes, "pushes")
            self.figure("which are", reader.bytes / 2 ** 20, "MiB")
        for name, received in results.items():
            mask = received.latest["sourceVisibles"]
            if not self._options.create or self._load != "changes":  # no mask is pushed for items that come and go
                self.require(mask == true_mask, f"the {name} ends with the mask {mask}, OBS with {true_mask}")
            if name != "asker":  # the list is too long for it
                [scene] = [scene for scene in received.latest["sceneList"] if scene["name"] == SCENE]
                shown = [(item["name"], item["isVisible"]) for item in scene["sourceList"]]
                self.require(shown == true_items, f"the {name} ends with {shown}, OBS with {true_items}")


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
    if options.without_plugin:
        return 0 if Overload("changes without the plug-in", options, None).run() else 1
    alone = None
    if options.create:
        # OBS makes a row of its window for every item: it exceeds the limits by itself.
        alone = Overload("changes without the plug-in", options, None)
        alone.run()
    outcomes = [Overload(load, options, options.module, load, alone if load == "changes" else None).run()
                for load in options.loads or LOADS]
    return 0 if all(outcomes) else 1


if __name__ == "__main__":
    sys.exit(main())
