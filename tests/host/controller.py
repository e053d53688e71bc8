# SPDX-License-Identifier: GPL-2.0-or-later
"""A controller for the tests, and the host's bundled WebSocket remote as an independent witness."""

import functools
import json
import pathlib
import socket
import threading
import time

import jsonschema
import websocket

from privatehost import wait_for

DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
FORMS = json.loads((DOCS / "protocol.schema.json").read_text())["$defs"]

TIMEOUT = 20
KEEP_ALIVE_INTERVAL = 2

# An empty message as a long frame: the controller understands them.
AGREEMENT = b'####00000013{"values":[]}'


REQUEST, MESSAGE = (jsonschema.Draft202012Validator({"$ref": f"#/$defs/{form}", "$defs": FORMS})
                    for form in ("request", "message"))

# What only a request brings: the end of the pushes before it.
MARKER = "fps"


@functools.lru_cache(maxsize=1000)
def check_message(body):
    """Fails on a message without its proper form; the many that come again are checked once."""
    MESSAGE.validate(json.loads(body))


def frame(text):
    body = text.encode() if isinstance(text, str) else json.dumps(text).encode()
    return b"%04d" % len(body) + body


class Controller:
    """One connection to the plug-in. Every message, in both directions, is checked for its form."""

    def __init__(self, port, keeps_alive=True, long_frames=False):
        self._socket = socket.create_connection(("127.0.0.1", port), TIMEOUT)
        self._closed = threading.Event()
        self._lock = threading.Lock()
        self.state = self.next()
        if long_frames:
            self.send_bytes(AGREEMENT)
        if keeps_alive:
            threading.Thread(target=self._keep_alive, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self._closed.set()
        self._socket.close()

    def _keep_alive(self):
        while not self._closed.wait(KEEP_ALIVE_INTERVAL):
            try:
                self.send([])
            except OSError:
                return

    def send_bytes(self, data):
        with self._lock:
            self._socket.sendall(data)

    def send(self, entries):
        message = {"values": entries}
        REQUEST.validate(message)
        self.send_bytes(frame(message))

    def set(self, name, value):
        self.send([{"type": "set", "name": name, "value": value}])

    def _read(self, count):
        data = b""
        while len(data) < count:
            piece = self._socket.recv(count - len(data))
            if not piece:
                raise EOFError
            data += piece
        return data

    def next(self, timeout=TIMEOUT):
        """The next message as a list of (name, value), an empty object as (None, None)."""
        self._socket.settimeout(timeout)
        header = self._read(4)
        length = int(self._read(8) if header == b"####" else header)
        assert (header == b"####") == (length > 9999), "a long frame is for what needs it"
        body = self._read(length)
        check_message(body)
        return [(entry.get("name"), entry.get("value")) for entry in json.loads(body)["values"]]

    def sync(self):
        """Everything that was pushed before the plug-in saw this request, each push as (name, value)."""
        self.send([{"name": MARKER}])
        pushes = []
        while True:
            message = self.next()
            if message[0][0] == MARKER:
                return pushes
            assert len(message) == 1, "a push has one entry"
            pushes += message

    def get(self, *names):
        """The values of properties now; what was pushed before them is passed over."""
        self.send([{"name": MARKER}] + [{"type": "get", "name": name} for name in names])
        answer = []
        while len(answer) <= len(names):
            message = self.next()
            if answer or message[0][0] == MARKER:
                answer += message
        assert [name for name, _ in answer] == [MARKER, *names]
        values = [value for _, value in answer[1:]]
        return values[0] if len(names) == 1 else values

    def expect(self, *names):
        """The next pushes have these names, in this order; their values."""
        values = []
        for position, name in enumerate(names):
            [(pushed, value)] = self.next()
            assert pushed == name, f"push {position} of {names}"
            values.append(value)
        return values

    def wait_for(self, name, is_wanted):
        """Passes over pushes until one of that name has a wanted value."""
        while not any(pushed == name and is_wanted(value) for pushed, value in self.next()):
            pass

    def wait_until_closed(self, timeout=TIMEOUT):
        """The time until the plug-in ended this connection, in seconds."""
        begin = time.monotonic()
        self._socket.settimeout(timeout)
        try:
            while self._socket.recv(65536):
                pass
        except ConnectionResetError:
            pass
        return time.monotonic() - begin


class Witness:
    """The host's bundled WebSocket remote."""

    def __init__(self, port):
        self._socket = websocket.create_connection(f"ws://127.0.0.1:{port}", timeout=TIMEOUT)
        self._socket.recv()
        self._socket.send(json.dumps({"op": 1, "d": {"rpcVersion": 1, "eventSubscriptions": 0}}))
        self._socket.recv()

    def close(self):
        self._socket.close()

    def __call__(self, request, **data):
        self._socket.send(json.dumps({"op": 6, "d": {"requestType": request, "requestId": "1", "requestData": data}}))
        answer = json.loads(self._socket.recv())["d"]
        assert answer["requestStatus"]["result"], answer
        return answer.get("responseData")

    def items(self, scene):
        """The items of a scene by name, each with its id, top-most last, as the remote tells them."""
        return {item["sourceName"]: item for item in self("GetSceneItemList", sceneName=scene)["sceneItems"]}


def connect_witness(host):
    def connect():
        try:
            witness = Witness(host.witness_port)
            witness("GetSceneList")  # refused while the host is loading
            return witness
        except (OSError, AssertionError):
            return None
    return wait_for(connect, 30, "the bundled remote")
