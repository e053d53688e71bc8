# SPDX-License-Identifier: GPL-2.0-or-later
"""Measures the plug-in in a real host against an echo, the host's bundled WebSocket remote and the bare cost of the
host's own calls, all within one run; what counts are the ratios. What ./bench does once everything is built."""

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

from picture import growth_picture

from obskit.obsprocess import ObsProcess, collection, free_port
from obskit.obswebsocket import ObsWebSocketClient

BUILD = pathlib.Path(os.environ["KESTREL_BUILD"])
BINARIES = BUILD / "bench"
RESULTS = BUILD.parent / "bench.json"
PICTURE = BUILD.parent / "growth.svg"

LARGE = (100, 20)  # scenes and the items of each
SMALL = (3, 5)
CONTROLLERS = (1, 10, 30, 100, 200, 500, 1000)
SCENES = (1, 10, 30, 60, 100, 200, 400)
ITEMS_OF_GROWTH = 5
IDLE_CROWDS = (0, 1, 10, 100)
MANY_FILES = 8192
# A fit takes the points that are this many times above the first one: below, the constant part of the cost rules and
# the noise of the machine hides the rest.
CLEAR_OF_CONSTANT = 2


def scenes_and_items(scenes, items):
    content = {f"Scene {i:03}": [f"Item {k:02}" for k in range(items)] for i in range(1, scenes + 1)}
    return collection(f"{scenes}x{items}", content, transition="Cut")


class Bench:
    def __init__(self, quick):
        self.rounds = 3 if quick else 5
        self.effort = 0.2 if quick else 1
        self.rows = []
        self.growth = {}
        self.samples = {}

    # The host

    def __enter__(self):
        sizes = dict.fromkeys([SMALL, LARGE] + [(n, ITEMS_OF_GROWTH) for n in SCENES])
        self.host = ObsProcess(BUILD / "benchhost", module=BINARIES / "plugin/kestrelbridge.so",
                                collections=[scenes_and_items(*size) for size in sizes], obs_websocket_port=free_port())
        place = self.host.settings / "plugins/benchhost/bin/64bit"
        place.mkdir(parents=True)
        shutil.copy(BINARIES / "benchmarks/benchhost.so", place)
        self.echo = subprocess.Popen([BINARIES / "benchmarks/bareecho"], stdout=subprocess.PIPE, text=True)
        bare_echo = self.echo.stdout.readline().strip()
        self.host.start()
        self.host.wait_until_listening()
        ports = self.host.wait_for_log(r"\[benchhost\] echo on port (\d+), floor on port (\d+), changes on port (\d+)")
        self.remote = ObsWebSocketClient(self.host.obs_websocket_port)
        self.peers = ["--pid", self.host.pid, "--plugin", self.host.port, "--remote", self.host.obs_websocket_port,
                      "--host-echo", ports[1], "--bare-echo", bare_echo, "--floor", ports[2],
                      "--changes", ports[3]]
        return self

    def __exit__(self, *_):
        self.remote.close()
        self.host.stop()
        self.echo.terminate()
        self.echo.wait()

    def show(self, scenes, items):
        self.remote("SetCurrentSceneCollection", sceneCollectionName=f"{scenes}x{items}")
        # The host is busy with it for a while.
        while self.main_thread_s(during_s=0.5) > 0.02:
            pass

    def main_thread_s(self, during_s):
        def clock_ns():
            return int(pathlib.Path(f"/proc/{self.host.pid}/task/{self.host.pid}/schedstat").read_text().split()[0])
        before_ns = clock_ns()
        time.sleep(during_s)
        return (clock_ns() - before_ns) / 1e9

    def measure(self, part, count, rounds=None, **options):
        """The rounds of one part."""
        command = [BINARIES / "benchmarks/kestrelbench", part, *self.peers, "--count", count,
                   "--rounds", rounds or self.rounds]
        for name, value in options.items():
            if value is not False:
                command += [f"--{name.replace('_', '-')}"] + ([] if value is True else [value])
        done = subprocess.run(list(map(str, command)), stdout=subprocess.PIPE, text=True, check=True)
        return json.loads(done.stdout)

    def count(self, full, least=1):
        return max(least, int(full * self.effort))

    @contextlib.contextmanager
    def on_one_core(self):
        """Client and all peers share a core: else it is chance whether a message has to wake another one, which takes
        longer than everything that is to be compared."""
        threads = [int(thread) for pid in (self.host.pid, self.echo.pid)
                   for thread in os.listdir(f"/proc/{pid}/task")] + [os.getpid()]
        every_core = os.sched_getaffinity(0)
        for core in {min(every_core)}, every_core:
            for thread in threads:
                with contextlib.suppress(ProcessLookupError):
                    os.sched_setaffinity(thread, core)
            if core != every_core:
                yield

    # The results

    def row(self, what, measured, ratios, target=None, at_least=False, unit=""):
        """A line of the table; the ratio is the median of the rounds'."""
        ratio = statistics.median(ratios)
        holds = None if target is None else (ratio >= target if at_least else ratio <= target)
        bound = "" if target is None else f"{'at least' if at_least else 'at most'} {target:g}{unit}"
        self.rows.append({"what": what, "measured": measured, "ratio": ratio, "target": bound, "holds": holds,
                          "rounds": ratios, "unit": unit})

    def compare(self, what, pairs_us, target=None):
        """A line for two times of each round."""
        measured = [statistics.median(times) for times in zip(*pairs_us)]
        self.row(what, f"{measured[0]:.0f} / {measured[1]:.0f} µs", [one / other for one, other in pairs_us], target)

    def table(self):
        lines = [("what", "measured", "ratio", "target", "holds")]
        for row in self.rows:
            holds = {None: "", True: "yes", False: "NO"}[row["holds"]]
            lines.append((row["what"], row["measured"], f"{row['ratio']:.3g}{row['unit']}", row["target"], holds))
        widths = [max(map(len, column)) for column in zip(*lines)]
        lines.insert(1, tuple("-" * width for width in widths))
        return "\n".join("| " + " | ".join(map(str.ljust, line, widths)) + " |" for line in lines)

    # The parts

    def roundtrip(self):
        with self.on_one_core():
            rounds = self.samples["roundtrip"] = self.measure("roundtrip", self.count(2000))
        for other, target in (("bareEcho", None), ("hostEcho", 1.25), ("remote", 0.5)):
            for part in ("p50_us", "p99_us"):
                self.compare(f"round trip {part[:3]} to {NAMES[other]}",
                             [(r["plugin"][part], r[other][part]) for r in rounds], target if part == "p50_us" else None)

    def pipelined(self):
        rounds = self.samples["pipelined"] = self.measure("pipelined", self.count(4000))
        self.rates(rounds, ("bareEcho", "hostEcho"))
        self.rates(rounds, ("remote",), 3)
        rounds = self.samples["pipelined, acknowledged"] = self.measure("pipelined", self.count(20000), eager=True)
        self.rates(rounds, ("remote",), client=", client that acknowledges at once")
        measured = [statistics.median(r[who]["host_us"] for r in rounds) for who in ("plugin", "remote")]
        self.row("whole host's processor time for such a request, to the WebSocket remote",
                 f"{measured[0]:.1f} / {measured[1]:.1f} µs",
                 [r["plugin"]["host_us"] / r["remote"]["host_us"] for r in rounds])

    def rates(self, rounds, others, target=None, client=""):
        for other in others:
            measured = [statistics.median(r[who]["perSecond"] for r in rounds) / 1000 for who in ("plugin", other)]
            self.row(f"pipelined requests to {NAMES[other]}{client}", f"{measured[0]:.1f} / {measured[1]:.1f} k/s",
                     [r["plugin"]["perSecond"] / r[other]["perSecond"] for r in rounds], target, at_least=True)

    def push(self):
        self.show(*SMALL)
        for controllers, target in ((1, 0.7), (100, None)):
            with self.on_one_core():
                rounds = self.measure("push", self.count(60), scene="Scene 001", controllers=controllers)
            self.samples[f"push to {controllers}"] = rounds
            self.compare(f"push p50, {controllers} controller{'s' * (controllers > 1)}, to the remote's event",
                         [(r["pushed_us"], r["event_us"]) for r in rounds], target)
        with self.on_one_core():
            turns = [[self.measure("push", self.count(60), 1, scene="Scene 001", pushes_floor=is_floor)[0]
                      for is_floor in (False, True)] for _ in range(self.rounds)]
        self.samples["push and floor"] = turns
        self.compare("push p50, 1 controller, to the least that the host's event loop can tell",
                     [(plugin["pushed_us"], floor["pushed_us"]) for plugin, floor in turns])
        self.compare("that least, to the remote's event", [(floor["pushed_us"], floor["event_us"]) for _, floor in turns])

    def scenelist(self):
        self.show(*LARGE)
        rounds = self.samples["scenelist"] = self.measure("scenelist", self.count(20, 3))
        plugin, wire, floor, remote, remote_main = (
            statistics.median(values) / 1000 for values in zip(*(
                (r["plugin"]["main_us"], r["plugin"]["wire_us"], r["floor_us"], r["remote"]["wire_us"],
                 r["remote"]["main_us"]) for r in rounds)))
        size = "x".join(map(str, LARGE))
        self.row(f"sceneList {size}, main thread, to the floor", f"{plugin:.2f} / {floor:.2f} ms",
                 [r["plugin"]["main_us"] / r["floor_us"] for r in rounds], 2)
        self.row(f"sceneList {size}, on the wire, to the remote's {rounds[0]['remoteRequests']} requests",
                 f"{wire:.2f} / {remote:.0f} ms", [r["plugin"]["wire_us"] / r["remote"]["wire_us"] for r in rounds],
                 0.05)
        self.row(f"sceneList {size}, main thread, to the remote's requests", f"{plugin:.2f} / {remote_main:.0f} ms",
                 [r["plugin"]["main_us"] / r["remote"]["main_us"] for r in rounds])

    def longpush(self):
        self.show(*LARGE)
        one, many = ([self.measure("push", self.count(20, 4), 1, scene="Scene 001", controllers=n, long_frames=True)[0]
                      for _ in range(self.rounds)] for n in (1, 100))
        self.samples["longpush"] = {"1": one, "100": many}
        for part, what, target in (("pushed_us", "until all have it", 20), ("main_us", "main thread", None)):
            measured = [statistics.median(r[part] for r in rounds) / 1000 for rounds in (many, one)]
            self.row(f"long sceneList to 100 controllers, {what}, to 1", f"{measured[0]:.1f} / {measured[1]:.2f} ms",
                     [m[part] / o[part] for m, o in zip(many, one)], target)

    def idle(self):
        self.show(*SMALL)
        slices = [{n: self.measure("idle", self.count(4000), 1, controllers=n)[0]["mainPerSecond_us"] / 1e4
                   for n in IDLE_CROWDS} for _ in range(self.rounds)]  # percent of a core
        self.samples["idle"] = slices
        for crowd in IDLE_CROWDS[1:]:
            measured = [statistics.median(s[n] for s in slices) for n in (crowd, 0)]
            self.row(f"idle main thread, {crowd} controller{'s' * (crowd > 1)} less none",
                     f"{measured[0]:.2f} / {measured[1]:.2f} %", [s[crowd] - s[0] for s in slices],
                     1 if crowd == 100 else None, unit=" %")

    def grow(self):
        self.show(*SMALL)
        told = {n: statistics.median(r["main_us"] for r in self.measure(
            "push", self.count(20, 4), scene="Scene 001", controllers=n)) for n in CONTROLLERS}
        self.fit("a push, main thread, by controllers", told)
        read, floor = {}, {}
        for scenes in SCENES:
            self.show(scenes, ITEMS_OF_GROWTH)
            rounds = self.measure("scenelist", self.count(20, 4), alone=True)
            read[scenes] = statistics.median(r["plugin"]["main_us"] for r in rounds)
            floor[scenes] = statistics.median(r["floor_us"] for r in rounds)
        self.fit(f"sceneList, main thread, by scenes of {ITEMS_OF_GROWTH} items", read)
        self.fit("its floor", floor, None)

    def fit(self, what, times_us, target=1.05):
        """The exponent of growth: the slope, in logarithms, of what the time has grown by since the first point."""
        first, base = next(iter(times_us.items()))
        fitted = [n for n, t in times_us.items() if t >= CLEAR_OF_CONSTANT * base]
        grown = [(math.log(n - first), math.log(times_us[n] - base)) for n in fitted]
        exponent = statistics.linear_regression(*zip(*grown)).slope
        self.growth[what] = {"times_us": times_us, "fitted": fitted, "exponent": exponent}
        self.row(f"growth of {what}", f"{first}, {fitted[0]} to {fitted[-1]}: "
                 f"{base / 1000:.2f}, {times_us[fitted[0]] / 1000:.2f} to {times_us[fitted[-1]] / 1000:.2f} ms",
                 [exponent], target)


NAMES = {"bareEcho": "an echo of its own", "hostEcho": "an echo in the host", "remote": "the WebSocket remote"}
PARTS = ("roundtrip", "pipelined", "push", "scenelist", "longpush", "idle", "grow")


def main():
    parser = argparse.ArgumentParser(prog="./bench", description="Measure the plug-in in a real host.")
    parser.add_argument("parts", nargs="*", metavar="PART",
                        help=f"of {', '.join(PARTS)}, micro; all but micro unless given")
    parser.add_argument("--quick", action="store_true", help="fewer rounds")
    arguments = parser.parse_args()
    unknown = set(arguments.parts) - set(PARTS) - {"micro"}
    if unknown:
        parser.error(f"no such part: {', '.join(unknown)}")
    parts = [part for part in arguments.parts or PARTS if part != "micro"]

    # Every controller is a file to the host and to the client.
    resource.setrlimit(resource.RLIMIT_NOFILE, (MANY_FILES, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
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
            PICTURE.write_text(growth_picture(bench.growth))
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
