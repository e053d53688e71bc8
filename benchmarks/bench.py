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
import statistics
import subprocess
import sys
import time

from growth_plot import growth_plot
from kestrelbridge import Controller

from obskit.obsprocess import ObsProcess, collection, free_port
from obskit.obswebsocket import connect_to_obs

BUILD = pathlib.Path(os.environ["KESTREL_BUILD"])
BINARIES = BUILD / "bench"
RESULTS = BUILD.parent / "bench.json"
PLOT = BUILD.parent / "growth.svg"

LARGE = (100, 20)  # scenes and the items of each
SMALL = (3, 5)
CONTROLLERS = (1, 10, 30, 100, 200, 500, 1000)
SCENES = (1, 10, 30, 60, 100, 200, 400)
ITEMS_OF_GROWTH = 5
IDLE_CONTROLLERS = (0, 1, 10, 100)
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


def plural(count):
    return f"{count} controller{'s' * (count > 1)}"


class Bench:
    def __init__(self, quick):
        self.rounds = 3 if quick else 5
        self.effort = 0.2 if quick else 1
        self.rows = []
        self.growth = {}
        self.samples = {}

    # OBS

    def __enter__(self):
        sizes = dict.fromkeys([SMALL, LARGE] + [(n, ITEMS_OF_GROWTH) for n in SCENES])
        self.obs = ObsProcess(BUILD / "benchobs", module=BINARIES / "plugin/kestrelbridge.so",
                              collections=[scenes_and_items(*size) for size in sizes], obs_websocket_port=free_port())
        place = self.obs.settings / "plugins/benchplugin/bin/64bit"
        place.mkdir(parents=True)
        shutil.copy(BINARIES / "benchmarks/benchplugin.so", place)
        self.obs.start()
        self.obs.wait_until_listening()
        ports = self.obs.wait_for_log(
            r"\[benchplugin\] echo on port (\d+), baseline on port (\d+), changes on port (\d+)")
        self.obs_websocket = connect_to_obs(self.obs)
        self.change_notifier = int(ports[3])
        item = {"sceneName": "Scene 001", "sceneItemId": 1}
        self.settings = {
            "pid": self.obs.pid, "plugin": self.obs.port, "echo": int(ports[1]), "baseline": int(ports[2]),
            "obsWebSocket": self.obs.obs_websocket_port, "studioModeRequest": message("GetStudioModeEnabled"),
            "changeRequests": [message("SetSceneItemEnabled", **item, sceneItemEnabled=on) for on in (False, True)]}
        return self

    def __exit__(self, *_):
        self.obs_websocket.close()
        self.obs.stop()

    def show(self, scenes, items):
        """Switches the scene collection and waits until OBS has settled."""
        self.obs_websocket("SetCurrentSceneCollection", sceneCollectionName=f"{scenes}x{items}")
        while self.main_thread_share() > SETTLED_SHARE:
            pass

    def main_thread_share(self, during_s=0.5):
        schedstat = pathlib.Path(f"/proc/{self.obs.pid}/task/{self.obs.pid}/schedstat")
        before_ns = int(schedstat.read_text().split()[0])
        time.sleep(during_s)
        return (int(schedstat.read_text().split()[0]) - before_ns) / 1e9 / during_s

    def measure(self, part, count, rounds=None, **options):
        """The rounds of one part."""
        settings = {"part": part, "count": count, "rounds": rounds or self.rounds, **self.settings, **options}
        client = subprocess.run([BINARIES / "benchmarks/benchclient"], input=json.dumps(settings), text=True,
                                stdout=subprocess.PIPE, check=True)
        return json.loads(client.stdout)

    def count(self, full, least=1):
        return max(least, int(full * self.effort))

    @contextlib.contextmanager
    def on_one_core(self):
        """Client and peers share a core. Otherwise it is chance whether a message has to wake another core, which takes
        longer than everything that is compared."""
        all_cores = os.sched_getaffinity(0)
        threads = [os.getpid(), *map(int, os.listdir(f"/proc/{self.obs.pid}/task"))]
        for cores in {min(all_cores)}, all_cores:
            for thread in threads:
                with contextlib.suppress(ProcessLookupError):
                    os.sched_setaffinity(thread, cores)
            if cores != all_cores:
                yield

    # The results

    def row(self, what, measured, ratios, target=None, at_least=False, unit=""):
        """A line of the table. The ratio is the median of the rounds' ratios."""
        ratio = statistics.median(ratios)
        is_met = None if target is None else (ratio >= target if at_least else ratio <= target)
        bound = "" if target is None else f"{'at least' if at_least else 'at most'} {target:g}{unit}"
        self.rows.append({"what": what, "measured": measured, "ratio": ratio, "target": bound, "met": is_met,
                          "rounds": ratios, "unit": unit})

    def compare(self, what, form, pairs, target=None, at_least=False):
        """A line for the two values of each round, whose medians are formatted."""
        self.row(what, form.format(*map(statistics.median, zip(*pairs))), [one / other for one, other in pairs], target,
                 at_least)

    def table(self):
        lines = [("what", "measured", "ratio", "target", "met")]
        for row in self.rows:
            met = {None: "", True: "yes", False: "NO"}[row["met"]]
            lines.append((row["what"], row["measured"], f"{row['ratio']:.3g}{row['unit']}", row["target"], met))
        widths = [max(map(len, column)) for column in zip(*lines)]
        lines.insert(1, tuple("-" * width for width in widths))
        return "\n".join("| " + " | ".join(map(str.ljust, line, widths)) + " |" for line in lines)

    # The parts

    def roundtrip(self):
        with self.on_one_core():
            rounds = self.samples["roundtrip"] = self.measure("roundtrip", self.count(2000))
        for peer, name, p50_target in ("echo", "an echo inside OBS", 1.25), ("obsWebSocket", "obs-websocket", 0.5):
            for part, target in ("p50_us", p50_target), ("p99_us", None):
                self.compare(f"round trip {part[:3]}, to {name}", "{:.0f} / {:.0f} µs",
                             [(r["plugin"][part], r[peer][part]) for r in rounds], target)

    def pipelined(self):
        for count, client, target in (4000, "", 3), (20000, ", client that acknowledges at once", None):
            rounds = self.measure("pipelined", self.count(count), acknowledgesAtOnce=bool(client))
            self.samples["pipelined" + client] = rounds
            self.compare(f"pipelined requests, to obs-websocket{client}", "{:.1f} / {:.1f} k/s",
                         [(r["plugin"] / 1000, r["obsWebSocket"] / 1000) for r in rounds], target, at_least=True)

    def push(self):
        self.show(*SMALL)
        for controllers, target in (1, 0.7), (100, None):
            with self.on_one_core():
                rounds = self.measure("push", self.count(60), controllers=controllers)
            self.samples[f"push to {controllers}"] = rounds
            self.compare(f"push p50, {plural(controllers)}, to the event of obs-websocket", "{:.0f} / {:.0f} µs",
                         [(r["pushed_us"], r["event_us"]) for r in rounds], target)
        with self.on_one_core():
            turns = [[self.measure("push", self.count(60), 1, controllers=1, plugin=port)[0]
                      for port in (self.obs.port, self.change_notifier)] for _ in range(self.rounds)]
        self.samples["push and change notifier"] = turns
        self.compare("push p50, 1 controller, to the lower bound of OBS's event loop", "{:.0f} / {:.0f} µs",
                     [(plugin["pushed_us"], bound["pushed_us"]) for plugin, bound in turns])
        self.compare("that lower bound, to the event of obs-websocket", "{:.0f} / {:.0f} µs",
                     [(bound["pushed_us"], bound["event_us"]) for _, bound in turns])

    def scene_list_requests(self):
        """The requests of obs-websocket for the scene list, once both have given the same facts."""
        obs, requests, scenes = self.obs_websocket, [message("GetSceneList")], []
        for scene in reversed(obs("GetSceneList")["scenes"]):
            of_scene = {"sceneName": scene["sceneName"]}
            requests.append(message("GetSceneItemList", **of_scene))
            scenes.append((scene["sceneName"], []))
            for item in reversed(obs("GetSceneItemList", **of_scene)["sceneItems"]):
                of_item = {**of_scene, "sceneItemId": item["sceneItemId"]}
                requests.append(message("GetSceneItemLocked", **of_item))
                is_locked = obs("GetSceneItemLocked", **of_item)["sceneItemLocked"]
                scenes[-1][1].append((item["sourceName"], item["sceneItemEnabled"], is_locked))
        with Controller(self.obs.port) as controller:
            if scenes != [(scene["name"], [(item["name"], item["isVisible"], item["isLocked"])
                                           for item in scene["sourceList"]])
                          for scene in controller.state["sceneList"]]:
                raise RuntimeError("obs-websocket's scene list is not the plug-in's")
        return requests

    def scenelist(self):
        self.show(*LARGE)
        requests = self.scene_list_requests()
        rounds = self.measure("scenelist", self.count(20, 3), sceneListRequests=requests)
        self.samples["scenelist"] = rounds
        what = "sceneList {} x {}".format(*LARGE)

        def pairs(part):
            return [(r["plugin"][part] / 1000, r["obsWebSocket"][part] / 1000) for r in rounds]
        self.compare(f"{what}, main thread, to the lower bound", "{:.2f} / {:.2f} ms",
                     [(r["plugin"]["main_us"] / 1000, r["baseline_us"] / 1000) for r in rounds], 2)
        self.compare(f"{what}, on the wire, to the {len(requests):,} requests of obs-websocket", "{:.2f} / {:.0f} ms",
                     pairs("wire_us"), 0.05)
        self.compare(f"{what}, main thread, to the requests of obs-websocket", "{:.2f} / {:.0f} ms", pairs("main_us"))

    def longpush(self):
        self.show(*LARGE)
        one, many = ([self.measure("push", self.count(20, 4), 1, controllers=n, longFrames=True)[0]
                      for _ in range(self.rounds)] for n in (1, 100))
        self.samples["longpush"] = {"1": one, "100": many}
        for part, what, target in ("pushed_us", "until all have it", 20), ("main_us", "main thread", None):
            self.compare(f"long sceneList to 100 controllers, {what}, to 1", "{:.1f} / {:.2f} ms",
                         [(m[part] / 1000, o[part] / 1000) for m, o in zip(many, one)], target)

    def idle(self):
        self.show(*SMALL)
        slices = [{n: self.measure("idle", self.count(4000), 1, controllers=n)[0]["mainPerSecond_us"] / 1e4
                   for n in IDLE_CONTROLLERS} for _ in range(self.rounds)]  # percent of a core
        self.samples["idle"] = slices
        for controllers in IDLE_CONTROLLERS[1:]:
            medians = [statistics.median(s[n] for s in slices) for n in (controllers, 0)]
            self.row(f"idle main thread, {plural(controllers)} minus none", "{:.2f} / {:.2f} %".format(*medians),
                     [s[controllers] - s[0] for s in slices], 1 if controllers == 100 else None, unit=" %")

    def grow(self):
        self.show(*SMALL)
        pushed = {n: statistics.median(r["main_us"] for r in self.measure("push", self.count(20, 4), controllers=n))
                  for n in CONTROLLERS}
        self.fit("a push, main thread, by controllers", pushed)
        read, baseline = {}, {}
        for scenes in SCENES:
            self.show(scenes, ITEMS_OF_GROWTH)
            rounds = self.measure("scenelist", self.count(20, 4))
            read[scenes] = statistics.median(r["plugin"]["main_us"] for r in rounds)
            baseline[scenes] = statistics.median(r["baseline_us"] for r in rounds)
        self.fit(f"sceneList, main thread, by scenes of {ITEMS_OF_GROWTH} items", read)
        self.fit("its lower bound", baseline, None)

    def fit(self, what, times_us, target=1.05):
        """The exponent of the growth: the slope, in logarithms, of the increase since the first point."""
        first, base = next(iter(times_us.items()))
        fitted = [n for n, t in times_us.items() if t >= FIT_FROM * base]
        increases = [(math.log(n - first), math.log(times_us[n] - base)) for n in fitted]
        exponent = statistics.linear_regression(*zip(*increases)).slope
        self.growth[what] = {"times_us": times_us, "fitted": fitted, "exponent": exponent}
        self.row(f"growth of {what}", f"{first}, {fitted[0]} to {fitted[-1]}: "
                 f"{base / 1000:.2f}, {times_us[fitted[0]] / 1000:.2f} to {times_us[fitted[-1]] / 1000:.2f} ms",
                 [exponent], target)


PARTS = ("roundtrip", "pipelined", "push", "scenelist", "longpush", "idle", "grow")


def main():
    parser = argparse.ArgumentParser(prog="./bench", description="Measure the plug-in in a real OBS.")
    parser.add_argument("parts", nargs="*", metavar="PART",
                        help=f"{', '.join(PARTS)}, micro; default: all but micro")
    parser.add_argument("--quick", action="store_true", help="fewer rounds")
    arguments = parser.parse_args()
    unknown = set(arguments.parts) - {*PARTS, "micro"}
    if unknown:
        parser.error(f"no such part: {', '.join(unknown)}")
    parts = [part for part in arguments.parts or PARTS if part != "micro"]

    resource.setrlimit(resource.RLIMIT_NOFILE, (OPEN_FILES, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
    status = 0
    if parts:
        with Bench(arguments.quick) as bench:
            for number, part in enumerate(parts, 1):
                print(f"-- {number} of {len(parts)}: {part}", flush=True)
                try:
                    getattr(bench, part)()
                except (subprocess.CalledProcessError, statistics.StatisticsError, TimeoutError) as problem:
                    print(f"could not measure {part}: {problem}", file=sys.stderr)
                    status = 1
        RESULTS.write_text(json.dumps({"rows": bench.rows, "growth": bench.growth, "samples": bench.samples}, indent=1))
        if bench.growth:
            PLOT.write_text(growth_plot(bench.growth))
        print(bench.table())
    if "micro" in arguments.parts:
        status |= subprocess.run(["xvfb-run", "-a", BINARIES / "benchmarks/microbench"], check=False).returncode
    return status


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (subprocess.CalledProcessError, RuntimeError, OSError) as problem:
        print(f"could not measure: {problem}", file=sys.stderr)
        sys.exit(1)
