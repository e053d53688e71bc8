# SPDX-License-Identifier: GPL-2.0-or-later
"""What both load tests share: an OBS of their own, figures with limits, the report."""

import argparse
import os
import pathlib
import tempfile
import traceback

from obskit.obsprocess import ObsProcess, collection, free_port
from obskit.obswebsocket import connect_to_obs

LEAKS_A_COLLECTION = 1  # of OBS itself, each time that it loads one


class LoadTest:
    """One load on an OBS of its own, without the plug-in if there is no module; load() of a subclass applies it."""

    def __init__(self, name, module, *collections):
        self.name, self.module = name, module
        self.is_within_limits = True
        self.loaded_collections = 1
        self._collections = [collection(*content, transition="Cut") for content in collections]
        self._figures, self._failures = [], []

    def run(self, *arguments):
        """Applies the load and prints the figures; true when OBS ended properly and everything is within its limit."""
        with tempfile.TemporaryDirectory() as folder:
            self.obs = ObsProcess(folder, self.module, collections=self._collections, obs_websocket_port=free_port())
            try:
                with self.obs:
                    if self.module:
                        self.obs.wait_until_listening()
                    self.obs_websocket = connect_to_obs(self.obs)
                    self.load(*arguments)
                self.obs.assert_proper_end()
                self.figure("leaks", self.obs.leaks() or 0, limit=LEAKS_A_COLLECTION * self.loaded_collections)
            except Exception:  # any exception is a failure of the test
                self._failures.append(traceback.format_exc() + self.obs.log()[-2000:])
        self.report(self.name)
        return self.is_within_limits

    def figure(self, what, value, unit="", limit=None):
        scale = 1000 if unit == "ms" else 1  # the value is in seconds
        bound = "" if limit is None else f" (limit {limit * scale:,.0f})"
        self._figures.append(f"{what} {value * scale:,.0f} {unit}".rstrip() + bound)
        self.require(limit is None or value <= limit, f"{what} exceeds its limit")

    def require(self, condition, text):
        if not condition:
            self._failures.append(text)

    def report(self, title):
        """Prints the figures and the failures since the last report."""
        print(f"{title}: {'; '.join(self._figures)}", *self._failures, sep="\n  FAILED ", flush=True)
        self.is_within_limits &= not self._failures
        self._figures, self._failures = [], []


def option_parser(description):
    parser = argparse.ArgumentParser(description=description.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--module", type=pathlib.Path,
                        default=pathlib.Path(os.environ["KESTREL_BUILD"]) / "dev/plugin/kestrelbridge.so")
    return parser
