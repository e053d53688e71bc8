# SPDX-License-Identifier: GPL-2.0-or-later
"""Measures the plug-in in a real OBS beside an echo, obs-websocket and baselines within OBS, all in one run; the ratios
are what counts. ./bench starts it once everything is built."""

import argparse
import contextlib
import json
import math
import os
import pathlib
import resource
import shutil
import subprocess
import sys
import time
from statistics import StatisticsError, linear_regression, median, quantiles

from kestrelbridge import Controller

from obskit.obsprocess import ObsProcess, collection, free_port
from obskit.obswebsocket import connect_to_obs

BUILD = pathlib.Path(os.environ["KESTREL_BUILD"])
BINARIES = BUILD / "bench"
RESULTS = BUILD.parent / "bench.json"

LARGE = (100, 20)  # scenes and the items of each
SMALL = (3, 5)
CONTROLLERS = (1, 10, 30, 100, 200, 500, 1000)
SCENES = (1, 10, 30, 60, 100, 200, 400)
ITEMS_OF_GROWTH = 5
IDLE_CONTROLLERS = (0, 1, 10, 100)
IDLE_S = 4
OPEN_FILES = 8192  # every controller is one in OBS and in the client
SETTLED_SHARE = 0.04  # of a core, for the main thread of OBS
# The fit of a growth uses the points from this multiple of the first one on: the constant part of the cost and the
# noise of the machine dominate those below.
FIT_FROM = 2


def scenes_and_items(scenes, items):
    content = {f"Scene {i:03}": [f"Item {k:02}" for k in range(items)] for i in range(1, scenes + 1)}
    return collection(f"{scenes}x{items}", content, transition="Cut")


def message(request, **data):
    """A request for obs-websocket as it is sent."""
    return json.dumps({"op": 6, "d": {"requestId": "1", "requestType": request, "requestData": data}})


def controllers_text(count):
    return f"{count} controller{'s' * (count > 1)}"


def obs_with_benchplugin():
    sizes = dict.fromkeys([SMALL, LARGE] + [(n, ITEMS_OF_GROWTH) for n in SCENES])
    obs = ObsProcess(BUILD / "benchobs", module=BINARIES / "plugin/kestrelbridge.so",
                     collections=[scenes_and_items(*size) for size in sizes], obs_websocket_port=free_port())
    place = obs.settings / "plugins/benchplugin/bin/64bit"
    place.mkdir(parents=True)
    shutil.copy(BINARIES / "benchmarks/benchplugin.so", place)
    return obs


def verdict(value, target, unit="", at_least=False):
    """The cells of a table for a target and whether a value meets it; empty ones without a target."""
    if target is None:
        return "", ""
    is_met = value >= target if at_least else value <= target
    return f"{'at least' if at_least else 'at most'} {target:g}{unit}", "yes" if is_met else "NO"


def table(heads, rows):
    lines = [heads, *rows]
    widths = [max(map(len, column)) for column in zip(*lines)]
    lines.insert(1, tuple("-" * width for width in widths))
    return "\n".join("| " + " | ".join(map(str.ljust, line, widths)) + " |" for line in lines)


class Bench:
    def __init__(self, obs, quick):
        self.obs = obs
        self.rounds = 3 if quick else 5
        self.effort = 0.2 if quick else 1
        self.rows = []
        self.samples = []
        obs.wait_until_listening()
        ports = obs.wait_for_log(r"\[benchplugin\] echo on port (\d+), baseline on port (\d+), changes on port (\d+)")
        self.obs_websocket = connect_to_obs(obs)
        self.change_notifier = int(ports[3])
        item = {"sceneName": "Scene 001", "sceneItemId": 1}
        self.settings = {
            "pid": obs.pid, "plugin": obs.port, "echo": int(ports[1]), "baseline": int(ports[2]),
            "obsWebSocket": obs.obs_websocket_port,
            "changeRequests": [message("SetSceneItemEnabled", **item, sceneItemEnabled=on) for on in (False, True)]}

    # OBS

    def show(self, scenes, items):
        """Switches the scene collection and waits until OBS has settled."""
        self.obs_websocket("SetCurrentSceneCollection", sceneCollectionName=f"{scenes}x{items}")
        while self.main_thread_share(0.5) > SETTLED_SHARE:
            pass

    def main_thread_share(self, during_s):
        schedstat = pathlib.Path(f"/proc/{self.obs.pid}/task/{self.obs.pid}/schedstat")
        before_ns = int(schedstat.read_text().split()[0])
        time.sleep(during_s)
        return (int(schedstat.read_text().split()[0]) - before_ns) / 1e9 / during_s

    def measure_once(self, part, full_count, **options):
        """What the client measures; of each list of times the median."""
        settings = {"part": part, "count": max(4, int(full_count * self.effort))}
        client = subprocess.run([BINARIES / "benchmarks/benchclient"], text=True, stdout=subprocess.PIPE, check=True,
                                input=json.dumps(self.settings | settings | options))
        measured = json.loads(client.stdout)
        self.samples.append([part, options.get("controllers"), measured])
        return {name: median(value) if isinstance(value, list) else value for name, value in measured.items()}

    def measure(self, *arguments, **options):
        """The rounds of one part."""
        return [self.measure_once(*arguments, **options) for _ in range(self.rounds)]

    @contextlib.contextmanager
    def on_one_core(self):
        """Client and peers share a core. Otherwise it is chance whether a message has to wake another core, which takes
        longer than everything that is compared."""
        def pin(cores):
            for pid in self.obs.pid, os.getpid():
                subprocess.run(["taskset", "-acp", ",".join(map(str, cores)), str(pid)], stdout=subprocess.DEVNULL,
                               check=True)

        all_cores = os.sched_getaffinity(0)
        pin({min(all_cores)})
        yield
        pin(all_cores)

    # The results

    def row(self, what, measured, ratios, target=None, at_least=False, unit=""):
        """A line of the table. The ratio is the median of the rounds' ratios."""
        ratio = median(ratios)
        self.rows.append((what, measured, f"{ratio:.3g}{unit}", *verdict(ratio, target, unit, at_least)))

    def compare(self, what, form, pairs, target=None, at_least=False):
        """A line for the two values of each round, whose medians are formatted."""
        self.row(what, form.format(*map(median, zip(*pairs))), [one / other for one, other in pairs], target,
                 at_least)

    # The parts

    def roundtrip(self):
        with self.on_one_core():
            rounds = self.measure("roundtrip", 2000)
        for peer, name, p50_target in ("echo", "an echo inside OBS", 1.25), ("obsWebSocket", "obs-websocket", 0.5):
            for percent, target in (50, p50_target), (99, None):
                pairs = [[quantiles(r[name]["times_us"], n=100)[percent - 1] for name in ("plugin", peer)]
                         for r in rounds]
                self.compare(f"round trip p{percent}, to {name}", "{:.0f} / {:.0f} µs", pairs, target)

    def pipelined(self):
        for count, client, target in (4000, "", 3), (20000, ", client that acknowledges at once", None):
            rounds = self.measure("pipelined", count, acknowledgesAtOnce=bool(client))
            self.compare(f"pipelined requests, to obs-websocket{client}", "{:.1f} / {:.1f} k/s",
                         [(r["plugin"] / 1000, r["obsWebSocket"] / 1000) for r in rounds], target, at_least=True)

    def push(self):
        self.show(*SMALL)
        with self.on_one_core():
            for controllers, target in (1, 0.7), (100, None):
                rounds = self.measure("push", 60, controllers=controllers)
                self.compare(f"push p50, {controllers_text(controllers)}, to the event of obs-websocket",
                             "{:.0f} / {:.0f} µs", [(r["pushed_us"], r["event_us"]) for r in rounds], target)
            turns = [[self.measure_once("push", 60, controllers=1, plugin=port)
                      for port in (self.obs.port, self.change_notifier)] for _ in range(self.rounds)]
        self.compare("push p50, 1 controller, to the lower bound of OBS's event loop", "{:.0f} / {:.0f} µs",
                     [(plugin["pushed_us"], bound["pushed_us"]) for plugin, bound in turns])
        self.compare("that lower bound, to the event of obs-websocket", "{:.0f} / {:.0f} µs",
                     [(bound["pushed_us"], bound["event_us"]) for _, bound in turns])

    def scene_list_requests(self):
        """The requests of obs-websocket for what the scene list contains."""
        requests = [message("GetSceneList")]
        for scene in self.obs_websocket("GetSceneList")["scenes"]:
            name = scene["sceneName"]
            requests.append(message("GetSceneItemList", sceneName=name))
            requests += [message("GetSceneItemLocked", sceneName=name, sceneItemId=item["sceneItemId"])
                         for item in self.obs_websocket.items(name).values()]
        return requests

    def scenelist(self):
        self.show(*LARGE)
        requests = self.scene_list_requests()
        rounds = self.measure("scenelist", 20, sceneListRequests=requests)
        what = "sceneList {} x {}".format(*LARGE)
        self.compare(f"{what}, main thread, to the lower bound", "{:.2f} / {:.2f} ms",
                     [(r["plugin"]["main_us"] / 1000, r["baseline_us"] / 1000) for r in rounds], 2)
        for part, place, target in ("wire_us", "on the wire", 0.05), ("main_us", "main thread", None):
            self.compare(f"{what}, {place}, to the {len(requests):,} requests of obs-websocket", "{:.2f} / {:.0f} ms",
                         [(r["plugin"][part] / 1000, r["obsWebSocket"][part] / 1000) for r in rounds], target)

    def longpush(self):
        self.show(*LARGE)
        turns = [[self.measure_once("push", 20, controllers=n, longFrames=True) for n in (100, 1)]
                 for _ in range(self.rounds)]
        for part, what, target in ("pushed_us", "until all have it", 20), ("main_us", "main thread", None):
            self.compare(f"long sceneList to 100 controllers, {what}, to 1", "{:.1f} / {:.2f} ms",
                         [(many[part] / 1000, one[part] / 1000) for many, one in turns], target)

    def idle_percent(self, controllers):
        with contextlib.ExitStack() as stack:
            for _ in range(controllers):
                stack.enter_context(Controller(self.obs.port, long_frames=False))
            return 100 * self.main_thread_share(IDLE_S * self.effort)

    def idle(self):
        self.show(*SMALL)
        rounds = [list(map(self.idle_percent, IDLE_CONTROLLERS)) for _ in range(self.rounds)]
        none, *loads = zip(*rounds)
        for controllers, load in zip(IDLE_CONTROLLERS[1:], loads):
            self.row(f"idle main thread, {controllers_text(controllers)} minus none",
                     f"{median(load):.2f} / {median(none):.2f} %",
                     [one - other for one, other in zip(load, none)], 1 if controllers == 100 else None, unit=" %")

    def grow(self):
        self.show(*SMALL)
        pushed = {n: median(r["main_us"] for r in self.measure("push", 20, controllers=n))
                  for n in CONTROLLERS}
        self.fit("a push, main thread, by controllers", pushed)
        read, baseline = {}, {}
        for scenes in SCENES:
            self.show(scenes, ITEMS_OF_GROWTH)
            rounds = self.measure("scenelist", 20)
            read[scenes] = median(r["plugin"]["main_us"] for r in rounds)
            baseline[scenes] = median(r["baseline_us"] for r in rounds)
        self.fit(f"sceneList, main thread, by scenes of {ITEMS_OF_GROWTH} items", read)
        self.fit("its lower bound", baseline, None)

    def fit(self, what, times_us, target=1.05):
        """The exponent of the growth: the slope, in logarithms, of the increase since the first point."""
        first, base = next(iter(times_us.items()))
        fitted = [n for n, t in times_us.items() if t >= FIT_FROM * base]
        increases = [(math.log(n - first), math.log(times_us[n] - base)) for n in fitted]
        self.row(f"growth of {what}", f"{first}, {fitted[0]} to {fitted[-1]}: "
                 f"{base / 1000:.2f}, {times_us[fitted[0]] / 1000:.2f} to {times_us[fitted[-1]] / 1000:.2f} ms",
                 [linear_regression(*zip(*increases)).slope], target)


PARTS = ["roundtrip", "pipelined", "push", "scenelist", "longpush", "idle", "grow"]


def main():
    parser = argparse.ArgumentParser(prog="./bench", description="Measure the plug-in in a real OBS.")
    parser.add_argument("parts", nargs="*", metavar="PART",
                        help=f"{', '.join(PARTS)}, micro; default: all but micro")
    parser.add_argument("--quick", action="store_true", help="fewer rounds")
    arguments = parser.parse_args()
    if unknown := set(arguments.parts) - {*PARTS, "micro"}:
        parser.error(f"no such part: {', '.join(unknown)}")
    status = 0
    if "micro" in arguments.parts:
        status = subprocess.run(["xvfb-run", "-a", BINARIES / "benchmarks/microbench"], check=False).returncode
    if parts := [part for part in arguments.parts or PARTS if part != "micro"]:
        resource.setrlimit(resource.RLIMIT_NOFILE, (OPEN_FILES, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
        with obs_with_benchplugin() as obs:
            bench = Bench(obs, arguments.quick)
            for number, part in enumerate(parts, 1):
                print(f"-- {number} of {len(parts)}: {part}", flush=True)
                try:
                    getattr(bench, part)()
                except (subprocess.CalledProcessError, StatisticsError, OSError) as problem:
                    print(f"could not measure {part}: {problem}", file=sys.stderr)
                    status = 1
        RESULTS.write_text(json.dumps({"rows": bench.rows, "samples": bench.samples}, indent=1))
        print(table(("what", "measured", "ratio", "target", "met"), bench.rows))
    return status


if __name__ == "__main__":
    sys.exit(main())
