# SPDX-License-Identifier: GPL-2.0-or-later
"""A controller for tests: checks the form of every message, in both directions, and sees every push in its order."""

import functools
import json
import pathlib
import time

import jsonschema
from kestrelbridge import LONG_FRAME_MARK, LONGEST_SHORT_BODY_BYTES, Controller, Disconnected

DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
FORMS = json.loads((DOCS / "protocol.schema.json").read_text())["$defs"]

TIMEOUT_S = 20

REQUEST, MESSAGE = (jsonschema.Draft202012Validator({"$ref": f"#/$defs/{form}", "$defs": FORMS})
                    for form in ("request", "message"))

# Sent only on request: an answer that begins with it separates the pushes before it from those after it.
MARKER = "fps"


@functools.lru_cache(maxsize=1000)
def check_message(body):
    """Raises an error for a message without its proper form; equal messages are checked once."""
    MESSAGE.validate(json.loads(body))


def frame(text):
    """An ordinary frame with any body, also one that is not a message."""
    body = text.encode() if isinstance(text, str) else json.dumps(text).encode()
    return b"%04d" % len(body) + body


class CheckedController(Controller):
    """One connection to the plug-in, which checks every message."""

    def __init__(self, port, keep_alive=True, long_frames=False):
        super().__init__(port, keep_alive=keep_alive, long_frames=long_frames, timeout=TIMEOUT_S)

    def send(self, entries, is_long=None):
        REQUEST.validate({"values": entries})
        super().send(entries, is_long)

    def _take_body(self):
        is_long = self._buffer.startswith(LONG_FRAME_MARK)
        body = super()._take_body()
        if body is not None:
            assert is_long == (len(body) > LONGEST_SHORT_BODY_BYTES), "a long frame is for long bodies only"
            check_message(body)
        return body

    def next(self, timeout=TIMEOUT_S):
        """The next message as a list of (name, value), an empty entry as (None, None)."""
        return [(entry.get("name"), entry.get("value")) for entry in self.receive(timeout)]

    def sync(self):
        """Every push that was sent before the plug-in handled this request, each as (name, value)."""
        self.send([{"name": MARKER}])
        pushes = []
        while True:
            message = self.next()
            if message[0][0] == MARKER:
                return pushes
            assert len(message) == 1, "a push has one entry"
            pushes += message

    def expect(self, *names):
        """The values of the next pushes, which have these names in this order."""
        values = []
        for position, name in enumerate(names):
            [(pushed, value)] = self.next()
            assert pushed == name, f"push {position} of {names}"
            values.append(value)
        return values

    def wait_for_push(self, name, is_wanted):
        """Ignores pushes until one of that name has a wanted value."""
        while not any(pushed == name and is_wanted(value) for pushed, value in self.next()):
            pass

    def wait_until_closed(self):
        """The time until the plug-in ended this connection, in seconds."""
        begin = time.monotonic()
        try:
            while True:
                self.receive(TIMEOUT_S)
        except Disconnected:
            return time.monotonic() - begin
