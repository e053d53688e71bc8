# SPDX-License-Identifier: GPL-2.0-or-later
"""A controller for KestrelBridge, the plug-in that lets programs on the same computer read and drive OBS Studio.

    from kestrelbridge import Controller

    with Controller() as obs:
        print(obs.state["currentScene"])
        obs.set("currentScene", "Interview")
        obs.wait_for(lambda state: state["currentScene"] == "Interview")
        for name, value in obs.changes():
            print(name, value)

Needs nothing but Python 3.10 or later. The properties and their values are described in docs/protocol.md.
"""

from __future__ import annotations

import collections
import json
import select
import socket
import threading
import time
from collections.abc import Callable, Iterator
from typing import Any

ADDRESS = "127.0.0.1"
DEFAULT_PORT = 2021
DEFAULT_TIMEOUT_S = 10.0

# The plug-in disconnects a controller that sends nothing for 5 seconds.
KEEP_ALIVE_INTERVAL_S = 2.0

LONGEST_SHORT_BODY_BYTES = 9999
LONG_FRAME_MARK = b"####"
RECEIVE_BYTES = 1 << 18

# The last property of the full state.
_LAST_OF_STATE = "transitionDuration"
# A property that is sent only on request: an answer that begins with it is not a push.
_NEVER_PUSHED = "fps"

Message = list[dict[str, Any]]  # the entries of a message; an empty entry has no name


class KestrelBridgeError(Exception):
    """The base class of all errors of this module."""


class ConnectionFailed(KestrelBridgeError):
    """Nothing listens on the port."""


class Disconnected(KestrelBridgeError):
    """The connection has ended, or close() was called."""


class ProtocolError(KestrelBridgeError):
    """The program at the other end does not send frames."""


class UnknownProperty(KestrelBridgeError):
    """The plug-in has no property of that name; without long frames, also: its value is too long for a frame."""


class WaitTimeout(KestrelBridgeError, TimeoutError):
    """What was waited for did not arrive in time."""


def encode_frame(entries: list, is_long: bool | None = None) -> bytes:
    """A message as it is sent; as a long frame where it needs one, or as requested."""
    body = json.dumps({"values": entries}).encode()
    if is_long or (is_long is None and len(body) > LONGEST_SHORT_BODY_BYTES):
        return b"%b%08d%b" % (LONG_FRAME_MARK, len(body), body)
    return b"%04d%b" % (len(body), body)


def item_bit(item: dict[str, Any]) -> int:
    """The bit of an item of the program scene in the masks "sourceVisibles" and "sourceLocks"."""
    return 1 << item["sortIndex"] % 32


class Controller:
    """A connection to the plug-in. It receives while one of its methods waits, and sends its own keep-alive messages.

    The methods are to be called from one thread; set() and close() may be called from any. Nothing is lost by a
    WaitTimeout: the next call continues. Without long_frames a value of more than 9999 bytes is not received.
    """

    def __init__(self, port: int = DEFAULT_PORT, *, long_frames: bool = True, keep_alive: bool = True,
                 timeout: float | None = DEFAULT_TIMEOUT_S) -> None:
        #: The latest value of every property that was received; complete once the constructor returns.
        self.state: dict[str, Any] = {}
        #: What methods wait at most, in seconds, unless they are given another timeout; None waits without end.
        self.timeout = timeout
        self._buffer = bytearray()
        self._changed: collections.OrderedDict[str, None] = collections.OrderedDict()  # not yet yielded by changes()
        self._sending = threading.Lock()
        self._closed = threading.Event()
        try:
            self._socket = socket.create_connection((ADDRESS, port), timeout)
        except OSError as error:
            raise ConnectionFailed(f"no connection to the plug-in on port {port}: {error}") from error
        self._socket.settimeout(None)  # a frame that is sent in part would be the last one
        try:
            #: The entries of the full state, in their order.
            self.full_state = self._receive_full_state()
            if keep_alive:
                threading.Thread(target=self._keep_alive, name="kestrelbridge keep-alive", daemon=True).start()
            if long_frames:
                self.send([], is_long=True)
                self.get("sceneList")  # the full state has no long value
        except BaseException:
            self.close()
            raise

    def __enter__(self) -> Controller:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Ends the connection; a method that waits on another thread raises Disconnected."""
        self._closed.set()
        try:
            self._socket.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        self._socket.close()

    # Requests

    def set(self, name: str, value: Any) -> None:
        """Requests a new value. There is no answer: OBS pushes the change once it is made, see wait_for().

        Switches are read as booleans and written as numbers: set("recording", 1).
        """
        self.send([{"type": "set", "name": name, "value": value}])

    def get(self, *names: str, timeout: float | None = None) -> Any:
        """The present value of a property, or a list for several. Statistics are never pushed, only read like this."""
        expected = [_NEVER_PUSHED, *names]
        self.send([{"type": "get", "name": name} for name in expected])
        answer: Message = []
        deadline = self._deadline(timeout)
        while len(answer) < len(expected):
            message = self._receive_before(deadline, f"an answer with {', '.join(names)}")
            rest = expected[len(answer):len(answer) + len(message)]
            if [entry.get("name", name) for entry, name in zip(message, rest)] == rest and (answer or message[0]):
                answer += message
            else:
                self._note_push(message)
        for entry, name in zip(answer, expected):
            if not entry:
                raise UnknownProperty(name)
        values = [entry["value"] for entry in answer[1:]]
        return values[0] if len(names) == 1 else values

    # Changes

    def changes(self, timeout: float | None = None) -> Iterator[tuple[str, Any]]:
        """Every change as it is pushed, as name and value, until the connection ends or WaitTimeout is raised.

        Waits without end unless a timeout is given. Of the changes that arrive while the caller does other things with
        the controller, each property is yielded once, with its newest value.
        """
        while True:
            while not self._changed:
                self._note_push(self.receive(timeout))
            name, _ = self._changed.popitem(last=False)
            yield name, self.state[name]

    def wait_for(self, condition: Callable[[dict[str, Any]], Any], timeout: float | None = None) -> Any:
        """Receives until the condition holds for the state; returns what the condition returned."""
        deadline = self._deadline(timeout)
        while not (result := condition(self.state)):
            self._note_push(self._receive_before(deadline, "the expected change"))
        return result

    def program_scene(self) -> dict[str, Any] | None:
        """The entry of "sceneList" for the program scene, with its items in "sourceList"; None if there is none."""
        for scene in self.state.get("sceneList", []):
            if scene["name"] == self.state.get("currentScene"):
                return scene
        return None

    # Messages

    def send(self, entries: list, is_long: bool | None = None) -> None:
        """Sends one message with any entries; they are handled in their order."""
        self.send_bytes(encode_frame(entries, is_long))

    def send_bytes(self, data: bytes) -> None:
        try:
            with self._sending:
                self._socket.sendall(data)
        except OSError as error:
            raise Disconnected(f"the connection has ended: {error}") from error

    def receive(self, timeout: float | None = None) -> Message:
        """The entries of the next message, which have updated "state". Waits without end unless given a timeout."""
        body = self.receive_body(timeout)
        try:
            entries: Message = json.loads(body)["values"]
        except (ValueError, KeyError, TypeError) as error:
            raise ProtocolError(f"received a body that is not a message: {body[:80]!r}") from error
        for entry in entries:
            if entry:
                self.state[entry["name"]] = entry["value"]
        return entries

    def _note_push(self, message: Message) -> None:
        for entry in message:
            if entry:
                self._changed[entry["name"]] = None
                self._changed.move_to_end(entry["name"])

    def _receive_full_state(self) -> Message:
        deadline = self._deadline(None)
        entries: Message = []
        while _LAST_OF_STATE not in self.state:
            entries += self._receive_before(deadline, "the full state")
        return entries

    def receive_body(self, timeout: float | None = None) -> bytes:
        """The next message as it was sent; "state" is not updated. For programs that only pass messages on."""
        deadline = None if timeout is None else time.monotonic() + timeout
        while (body := self._take_body()) is None:
            remaining = None if deadline is None else max(0.0, deadline - time.monotonic())
            try:
                if not select.select([self._socket], [], [], remaining)[0]:
                    raise WaitTimeout(f"nothing received within {timeout:g} s")
                data = self._socket.recv(RECEIVE_BYTES)
            except WaitTimeout:
                raise
            except (OSError, ValueError) as error:  # ValueError: closed by another thread
                raise Disconnected(f"the connection has ended: {error}") from error
            if not data:
                raise Disconnected("the plug-in has closed the connection; the log of OBS says why")
            self._buffer += data
        return body

    def _take_body(self) -> bytes | None:
        """Removes the first body from what was received; None while it is not complete."""
        is_long = self._buffer.startswith(LONG_FRAME_MARK)
        begin, end = (4, 12) if is_long else (0, 4)
        if len(self._buffer) < end:
            return None
        length = bytes(self._buffer[begin:end])
        if not length.isdigit():
            raise ProtocolError(f"received a frame whose length is not a number: {length!r}")
        next_frame = end + int(length)
        if len(self._buffer) < next_frame:
            return None
        body = bytes(memoryview(self._buffer)[end:next_frame])
        del self._buffer[:next_frame]
        return body

    def _keep_alive(self) -> None:
        while not self._closed.wait(KEEP_ALIVE_INTERVAL_S):
            try:
                self.send([])
            except KestrelBridgeError:
                return  # the thread that receives reports it

    def _deadline(self, timeout: float | None) -> float | None:
        timeout = self.timeout if timeout is None else timeout
        return None if timeout is None else time.monotonic() + timeout

    def _receive_before(self, deadline: float | None, what: str) -> Message:
        remaining = None if deadline is None else deadline - time.monotonic()
        try:
            # Without this check pushes that arrive all the time would defer the timeout.
            if remaining is not None and remaining < 0:
                raise WaitTimeout
            return self.receive(remaining)
        except WaitTimeout:
            raise WaitTimeout(f"not received in time: {what}") from None
