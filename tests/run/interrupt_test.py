# SPDX-License-Identifier: GPL-2.0-or-later
"""Presses Ctrl-C in ./run on a terminal: OBS has to end properly, also in a Debian root.

    python3 tests/run/interrupt_test.py

Runs outside scripts/environment, since ./run enters it.
"""

import contextlib
import os
import pathlib
import pty
import re

RUN = pathlib.Path(__file__).resolve().parents[2] / "run"
WATCHING = b"transitionDuration"  # the end of the state that kestrelctl prints
CTRL_C = b"\x03"


def main():
    pid, terminal = pty.fork()
    if pid == 0:
        os.execv(RUN, [RUN])
    output, is_interrupted = b"", False
    with contextlib.suppress(OSError):  # how Linux reports that the last process has closed the terminal
        while True:
            piece = os.read(terminal, 4096)
            output += piece
            os.write(1, piece)
            if WATCHING in output and not is_interrupted:
                is_interrupted = True
                os.write(terminal, CTRL_C)
    status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
    assert is_interrupted and status == 0, f"./run ended with status {status}"
    log = re.search(rb"OBS Studio ended with status 0; its log is (\S+)", output)
    assert log, "./run did not wait for the end of OBS"
    assert "Number of memory leaks: " in pathlib.Path(log[1].decode()).read_text(), "OBS did not end properly"
    print("-- Ctrl-C ended OBS properly")


if __name__ == "__main__":
    main()
