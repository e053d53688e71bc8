# SPDX-License-Identifier: GPL-2.0-or-later
"""A controller for tests: checks the form of every message, in both directions, and sees every push in its order."""

import contextlib
import functools
import json
import pathlib

import jsonschema
from kestrelbridge import LONG_FRAME_MARK, LONGEST_SHORT_BODY_BYTES, Controller, Disconnected, encode_frame

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


def push(**values):
    """What the plug-in sends: a message that sets properties."""
    return encode_frame([{"name": name, "type": "set", "value": value} for name, value in values.items()])


class CheckedController(Controller):
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

    def next(self):
        """The next message as a list of (name, value), an empty entry as (None, None)."""
        return [(entry.get("name"), entry.get("value")) for entry in self.receive(TIMEOUT_S)]

    def sync(self):
        """Every push that was sent before the plug-in handled this request, each as (name, value)."""
        self.send([{"name": MARKER}])
        pushes = []
        while (message := self.next())[0][0] != MARKER:
            assert len(message) == 1, "a push has one entry"
            pushes += message
        return pushes

    def expect(self, *names):
        """The values of the next pushes, which have these names in this order."""
        pushes = [push for _ in names for push in self.next()]
        assert tuple(name for name, _ in pushes) == names
        return [value for _, value in pushes]

    def wait_until_closed(self):
        """Receives until the plug-in ends this connection."""
        with contextlib.suppress(Disconnected):
            while True:
                self.receive(TIMEOUT_S)
