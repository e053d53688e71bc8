# SPDX-License-Identifier: GPL-2.0-or-later
"""What both load tests share: an OBS of their own, figures with limits, the report."""

import argparse
import os
import pathlib
import tempfile

from websocket import WebSocketException

from kestrelbridge import KestrelBridgeError
from obskit.obsprocess import ObsProcess, collection, free_port
from obskit.obswebsocket import RequestFailed, connect_to_obs


class LoadFailure(Exception):
    pass


class LoadTest:
    """One load on an OBS of its own, without the plug-in if there is no module."""

    def __init__(self, name, module, *collections):
        self.name = name
        self.is_within_limits = True
        self._collections = [collection(*content, transition="Cut") for content in collections]
        self._module = module
        self._figures, self._failures = [], []

    def run(self):
        """Prints the figures; true when OBS ended properly and everything is within its limit."""
        with tempfile.TemporaryDirectory() as folder:
            self.obs = ObsProcess(folder, self._module, collections=self._collections, obs_websocket_port=free_port())
            try:
                with self.obs:
                    if self._module:
                        self.obs.wait_until_listening()
                    self.obs_websocket = connect_to_obs(self.obs)
                    self.load()
                self.obs.assert_proper_end()
                self.judge_end()
            except (LoadFailure, AssertionError, RuntimeError, KestrelBridgeError, RequestFailed, WebSocketException,
                    OSError) as error:
                self._failures.append(f"{error!r}\n{self.obs.log()[-2000:]}")
            self.report(self.name)
        return self.is_within_limits

    def load(self):
        """Applies the load, while OBS runs."""
        raise NotImplementedError

    def judge_end(self):
        """Judges what is known only when OBS has ended."""

    def figure(self, what, value, unit="", limit=None):
        scale = 1000 if unit == "ms" else 1  # the value is in seconds
        exceeds = limit is not None and value > limit
        bound = "" if limit is None else f" ({'EXCEEDS' if exceeds else 'limit'} {limit * scale:,.0f})"
        self._figures.append(f"{what} {value * scale:,.0f} {unit}".rstrip() + bound)
        self.require(not exceeds, f"{what} exceeds its limit")

    def require(self, condition, text):
        if not condition:
            self._failures.append(text)

    def report(self, title):
        """Prints the figures and the failures since the last report."""
        print(f"{title}: {'; '.join(self._figures)}", flush=True)
        for failure in self._failures:
            print(f"  FAILED {failure}", flush=True)
        self.is_within_limits &= not self._failures
        self._figures, self._failures = [], []


def option_parser(description):
    parser = argparse.ArgumentParser(description=description.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--module", type=pathlib.Path,
                        default=pathlib.Path(os.environ["KESTREL_BUILD"]) / "dev/plugin/kestrelbridge.so")
    return parser
