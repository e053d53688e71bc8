# SPDX-License-Identifier: GPL-2.0-or-later
"""Presses Ctrl-C in ./run on a terminal: OBS has to end properly, also in a Debian root.

    python3 tests/run/interrupt_test.py

Runs outside scripts/environment, since ./run enters it.
"""

import os
import pathlib
import pty
import re

RUN = pathlib.Path(__file__).resolve().parents[2] / "run"
WATCHING = b"transitionDuration"  # the end of the state that kestrelctl prints
CTRL_C = b"\x03"

output = bytearray()


def read(terminal):
    was_watching = WATCHING in output
    output.extend(piece := os.read(terminal, 4096))
    if WATCHING in output and not was_watching:
        os.write(terminal, CTRL_C)
    return piece


status = os.waitstatus_to_exitcode(pty.spawn(str(RUN), read))
assert WATCHING in output and status == 0, f"./run ended with status {status}"
log = re.search(rb"OBS Studio ended with status 0; its log is (\S+)", output)
assert log, "./run did not wait for the end of OBS"
assert "Number of memory leaks: " in pathlib.Path(log[1].decode()).read_text(), "OBS did not end properly"
print("-- Ctrl-C ended OBS properly")
