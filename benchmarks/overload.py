# SPDX-License-Identifier: GPL-2.0-or-later
"""Overloads OBS with changes and requests, and measures how long its window and its controllers wait.

    ./bench overload                                        every load on 60 scenes of 20 items
    ./bench overload changes --scenes 100 --threads 4       some loads

Each load runs in an OBS of its own, on a quiet machine. A missed target is not an error. The exit status is 1 when an
answer does not arrive, a controller is disconnected or ends with a state other than that of OBS, or OBS does not end
properly.
"""

import argparse
import contextlib
import json
import multiprocessing
import pathlib
import sys
import threading
import time
import traceback

from Xlib import X, display
from Xlib.protocol import event

from bench import BINARIES, BUILD, table, verdict
from kestrelbridge import Controller, WaitTimeout
from obskit.checkedcontroller import MARKER
from obskit.obsprocess import ObsProcess, collection, free_port
from obskit.obswebsocket import ObsWebSocketClient, connect_to_obs

# The targets.
PING_MS = 250
ANSWER_MS = 250
BACKLOG_MS = 1000
GROWTH_MIB = 32

ITEMS = 20  # of each scene
SCENE = "Scene 0"
FRAMES_PER_S = 600
CREATED_PER_S = 4  # with more OBS freezes by itself: it makes a row of its window for every item
BATCH_CHANGES = 100
BATCH_S = 0.1  # how long a batch lasts at most, at a rate
SLOW_READER_BYTES_PER_S = 2_000_000
PING_INTERVAL_S = 0.05
ASKING_INTERVAL_S = 0.2
SETTLING_S = 1.0
# A connection that has received nothing for so long, after the answer to a last request, has received everything.
QUIET_S = 1.5
TIMEOUT_S = 60

# What loads and measures runs in processes of its own, so that none delays another.
LOADING, DRAINING, ENDED = range(3)
phase = multiprocessing.RawValue("b", LOADING)


def keep_pace(begin, amount, per_s):
    """Waits until so much is due at a rate; a rate of 0 has no limit."""
    if per_s:
        time.sleep(max(0.0, begin + amount / per_s - time.monotonic()))


def observe(port, long_frames=True, bytes_per_s=0):
    """Reads every push, as fast as it can or a number of bytes a second, and asks for a value at an interval.

    Decodes no more than the name of what it receives, to be fast. Returns its last state, the time of the last push and
    the longest time to an answer.
    """
    latest, answers_s = {}, []
    begin, received, last_push = time.monotonic(), 0, 0.0

    def take(timeout):
        nonlocal received, last_push
        keep_pace(begin, received, bytes_per_s)
        body = controller.receive_body(timeout)
        received += len(body)
        name = body.split(b'"', 6)[5].decode()  # of the first entry
        if name != MARKER:
            latest[name], last_push = body, time.monotonic()
        return name

    with Controller(port, long_frames=long_frames, timeout=TIMEOUT_S) as controller:
        is_last = False
        while not is_last:
            is_last, asked = phase.value >= DRAINING, time.monotonic()
            controller.send([{"name": MARKER}])
            while take(TIMEOUT_S) != MARKER:
                pass
            answers_s.append(time.monotonic() - asked)
            with contextlib.suppress(WaitTimeout):
                while (remaining := QUIET_S if is_last else asked + ASKING_INTERVAL_S - time.monotonic()) > 0:
                    take(remaining)
        newest = {name: json.loads(body)["values"][-1]["value"] for name, body in latest.items()}
        return controller.state | newest, last_push, max(answers_s)


def ping_window(display_name, window):
    """Sends _NET_WM_PING to a window as a window manager does; the longest time to the reply."""
    screen = display.Display(display_name)
    screen.screen().root.change_attributes(event_mask=X.SubstructureRedirectMask)  # for the replies
    target = screen.create_resource_object("window", window)
    protocols, ping = screen.intern_atom("WM_PROTOCOLS"), screen.intern_atom("_NET_WM_PING")
    replies_s = []
    while phase.value < ENDED:
        sent = time.monotonic()
        target.send_event(event.ClientMessage(window=target, client_type=protocols,
                                              data=(32, [ping, X.CurrentTime, window, 0, 0])))
        while (reply := screen.next_event()).type & 0x7F != X.ClientMessage or reply.data[1][0] != ping:
            pass
        replies_s.append(time.monotonic() - sent)
        keep_pace(sent, 1, 1 / PING_INTERVAL_S)
    return max(replies_s)


def show(mask):
    return {"type": "set", "name": "sourceVisibles", "value": mask}


# The frames that a controller sends, each a list of entries, by the seconds. All gets have the name of the last one.
REQUESTS = {
    "longframe": lambda _: [[{"type": "set"}, {"name": "sceneList"}] * 26_213],  # of the largest size
    "lists": lambda _: [[{"name": "sceneList"}] * 400],
    "masks": lambda _: [[show(0x55555), show(0xAAAAA)] * 100 + [{"name": MARKER}]],  # each changes every item
    "frames": lambda seconds: [[show(0xFFFFF - number % 2), {"name": MARKER}]
                               for number in range(FRAMES_PER_S * seconds)],
}


def request(port, frames):
    """Sends frames and reads the answers until all have arrived; how many did not."""
    name = frames[-1][-1]["name"]
    missing = sum(entry.get("name") == name for entries in frames for entry in entries)
    with Controller(port, timeout=TIMEOUT_S) as controller, contextlib.suppress(WaitTimeout):
        def send(begin):
            for position, entries in enumerate(frames):
                keep_pace(begin, position, FRAMES_PER_S)
                controller.send(entries)

        threading.Thread(target=send, args=[time.monotonic()], daemon=True).start()
        while missing > 0:
            missing -= controller.receive_body(TIMEOUT_S).count(b'"name":"%b"' % name.encode())
    return missing


def change(port, position, is_created, per_s, seconds):
    """Changes an item as fast as obs-websocket executes batches, each on a thread of its own in OBS; their number."""
    def step(request_type, data, **variables):
        return {"requestType": request_type, "requestData": {"sceneName": SCENE} | data} | variables

    with ObsWebSocketClient(port) as client:
        item = list(client.items(SCENE).values())[position]
        if is_created:
            pair = [step("CreateSceneItem", {"sourceName": item["sourceName"]},
                         outputVariables={"created": "sceneItemId"}),
                    step("RemoveSceneItem", {}, inputVariables={"sceneItemId": "created"})]
        else:
            pair = [step("SetSceneItemEnabled", {"sceneItemId": item["sceneItemId"], "sceneItemEnabled": is_visible})
                    for is_visible in (True, False)]
        pairs = max(1, int(min(per_s * BATCH_S or BATCH_CHANGES, BATCH_CHANGES)) // 2)
        begin, changes = time.monotonic(), 0
        while time.monotonic() < begin + seconds:
            changes += len(client.execute_batch(pair * pairs))
            keep_pace(begin, changes, per_s)
    return changes


LOADS = ["changes", "created", *REQUESTS]


def apply(load, obs, options, pool):
    """Returns the number of changes a second, if the load makes changes."""
    if load in REQUESTS:
        missing = pool.apply(request, [obs.port, REQUESTS[load](options.seconds)])
        assert missing == 0, f"{missing:,} answers did not arrive"
        return None
    is_created = load == "created"
    per_s = (options.rate or CREATED_PER_S * is_created) / options.threads
    return sum(pool.starmap(change, [(obs.obs_websocket_port, position, is_created, per_s, options.seconds)
                                     for position in range(options.threads)], 1)) / options.seconds


def compare(states, items):
    """Compares the last states of the controllers with the items of the scene as OBS has them, top-most last."""
    shown = [(item["sourceName"], item["sceneItemEnabled"]) for item in reversed(items)]
    masks = [state["sourceVisibles"] for state in states]
    assert set(masks) == {sum(is_visible << position for position, (_, is_visible) in enumerate(shown))}, masks
    for state in states[:-1]:  # the list is too long for the last
        [listed] = [scene["sourceList"] for scene in state["sceneList"] if scene["name"] == SCENE]
        assert shown == [(item["name"], item["isVisible"]) for item in listed]


def run(load, options, rows, has_plugin):
    """Applies a load while two controllers read, one asks, and the window is pinged; adds the figures to the rows."""
    def figure(what, value, unit, target=None):
        name = load if has_plugin else f"{load}, without the plug-in"
        rows.append((name, what, f"{value:,.0f}{unit}", *verdict(value, target, unit)))

    scenes = {f"Scene {i}": [f"Item {i} {j}" for j in range(ITEMS)] for i in range(options.scenes)}
    obs = ObsProcess(BUILD / "benchobs", BINARIES / "plugin/kestrelbridge.so" if has_plugin else None,
                     collections=[collection("Large", scenes, "Cut")], obs_websocket_port=free_port())
    readers = [(obs.port,), (obs.port, True, SLOW_READER_BYTES_PER_S), (obs.port, False)] * has_plugin
    phase.value = LOADING
    with (obs, connect_to_obs(obs) as obs_websocket,
          multiprocessing.get_context("fork").Pool(len(readers) + 1 + options.threads) as pool):
        if has_plugin:
            obs.wait_until_listening()  # OBS 32 answers obs-websocket before
        observers = pool.starmap_async(observe, readers, 1)
        time.sleep(SETTLING_S)
        pathlib.Path(f"/proc/{obs.pid}/clear_refs").write_text("5")  # the peak starts anew
        resident = obs.status("VmRSS")
        ping = pool.apply_async(ping_window, [obs.display, int(obs.main_window)])
        if changes_per_s := apply(load, obs, options, pool):
            figure("changes", changes_per_s, " per second")
        last_change = time.monotonic()
        phase.value = DRAINING
        observed = observers.get(TIMEOUT_S)
        phase.value = ENDED
        figure("longest window ping", 1000 * ping.get(TIMEOUT_S), " ms", PING_MS)
        figure("growth of the resident memory", (obs.status("VmHWM") - resident) / 1024, " MiB", GROWTH_MIB)
        if has_plugin:
            states, last_pushes, longest_answers_s = zip(*observed)
            backlog_s = max(0.0, last_pushes[0] - last_change)
            figure("longest time until an answer", 1000 * longest_answers_s[-1], " ms", ANSWER_MS)
            figure("last push after the last change", 1000 * backlog_s, " ms", BACKLOG_MS)
            compare(states, list(obs_websocket.items(SCENE).values()))
    obs.assert_proper_end()


def main():
    parser = argparse.ArgumentParser(prog="./bench overload", description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("loads", nargs="*", metavar="LOAD", help=f"of {', '.join(LOADS)}; all unless given")
    parser.add_argument("--scenes", type=int, default=60)
    parser.add_argument("--threads", type=int, default=2, help="of obs-websocket that make changes")
    parser.add_argument("--seconds", type=int, default=15, help="how long changes are made or frames sent")
    parser.add_argument("--rate", type=float, default=0, help="changes per second of all threads; unless given as many "
                        f"as OBS takes, and {CREATED_PER_S} where items are created")
    options = parser.parse_args()
    if unknown := set(options.loads) - set(LOADS):
        parser.error(f"no such load: {', '.join(unknown)}")
    rows, status = [], 0
    for load in options.loads or LOADS:
        print(f"-- {load}", flush=True)
        try:
            for has_plugin in (False, True) if load == "created" else (True,):  # OBS alone also freezes then
                run(load, options, rows, has_plugin)
        except Exception:  # any exception is a wrong result
            traceback.print_exc()
            status = 1
    print(table(("load", "what", "measured", "target", "met"), rows))
    return status


if __name__ == "__main__":
    sys.exit(main())
