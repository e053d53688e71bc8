# SPDX-License-Identifier: GPL-2.0-or-later
"""The Python module for controllers, against a socket that sends what the test says."""

import contextlib
import json
import socket
import threading

import kestrelbridge
import pytest
from kestrelbridge import Controller, Disconnected, ProtocolError, UnknownProperty, WaitTimeout, encode_frame

STATE = {"streaming": False, "sceneList": [], "currentScene": "Opening", "transitionDuration": 300}
TIMEOUT_S = 10


def values(**entries):
    return encode_frame([{"name": name, "type": "set", "value": value} for name, value in entries.items()])


class Plugin:
    """The other end of one controller."""

    def __init__(self):
        self._server = socket.create_server(("127.0.0.1", 0))
        self.port = self._server.getsockname()[1]
        self._socket = None

    def connect(self, first=values(**STATE), **options):
        """A controller that has received the first bytes."""
        def serve():
            self._socket, _ = self._server.accept()
            self._socket.sendall(first)

        thread = threading.Thread(target=serve)
        thread.start()
        try:
            defaults = {"long_frames": False, "keep_alive": False, "timeout": TIMEOUT_S}
            return Controller(self.port, **(defaults | options))
        finally:
            thread.join()

    def send(self, data):
        self._socket.sendall(data)

    def receive(self, count):
        return self._socket.recv(count, socket.MSG_WAITALL)

    def close(self):
        for end in filter(None, (self._socket, self._server)):
            end.close()


@pytest.fixture
def plugin():
    with contextlib.closing(Plugin()) as plugin:
        yield plugin


def test_frames_in_two_pieces_and_the_timeout_between_them(plugin):
    controller = plugin.connect()
    for frame in values(currentScene="Überblick"), encode_frame([{"name": "streaming", "value": True}], is_long=True):
        for offset in range(len(frame)):
            plugin.send(frame[:offset])
            with pytest.raises(WaitTimeout):
                controller.receive(0)
            plugin.send(frame[offset:])
            assert controller.receive(TIMEOUT_S)[0]["name"] in ("currentScene", "streaming")
    assert controller.state == STATE | {"currentScene": "Überblick", "streaming": True}


def test_the_full_state_in_several_messages_and_the_agreement(plugin):
    entries = [{"name": name, "value": value} for name, value in STATE.items()]
    first = encode_frame([{}, *entries[:1]]) + encode_frame(entries[2:]) + values(fps="10 fps", sceneList=[1])
    controller = plugin.connect(first, long_frames=True)
    assert controller.state == STATE | {"sceneList": [1], "fps": "10 fps"}
    assert controller.full_state == [{}, *entries[:1], *entries[2:]]
    assert plugin.receive(26) == b'####00000014{"values": []}'


def test_long_requests_are_long_frames():
    short, long = ([{"name": "x" * count}] for count in (9973, 9974))
    assert encode_frame(short)[:4] == b"9999" and encode_frame(long)[:12] == b"####00010000"
    assert encode_frame(short, is_long=True)[:12] == b"####00009999"


def test_an_answer_among_pushes(plugin):
    controller = plugin.connect()
    plugin.send(values(streaming=True) + values(currentScene="A") + values(fps="10 fps", currentScene="A")
                + values(streaming=False) + values(sceneList=[2]) + values(currentScene="B"))
    assert controller.get("currentScene", "sceneList") == ["A", [2]]
    changes = controller.changes(TIMEOUT_S)
    # Each once, in the order of their latest change, then as they arrive.
    assert [next(changes) for _ in range(3)] == [("currentScene", "A"), ("streaming", False), ("currentScene", "B")]
    assert json.loads(plugin.receive(int(plugin.receive(4))))["values"] == [
        {"type": "get", "name": name} for name in ("fps", "currentScene", "sceneList")]


def test_waiting(plugin):
    controller = plugin.connect()
    assert controller.wait_for(lambda state: state["currentScene"] == "Opening")
    plugin.send(values(streaming=1) + values(streaming=2))
    assert controller.wait_for(lambda state: state["streaming"] == 2 and "seen") == "seen"
    with pytest.raises(WaitTimeout, match="in time: the expected change"):
        controller.wait_for(lambda state: state["streaming"] == 3, timeout=0.05)
    plugin.send(encode_frame([{"name": "fps", "value": ""}, {}]))
    with pytest.raises(UnknownProperty, match="noSuchThing"):
        controller.get("noSuchThing")


@pytest.mark.parametrize("data, error", [
    (b"HTTP/1.1 400", ProtocolError),
    (b"####00000x13", ProtocolError),
    (b"0002[]", ProtocolError),
    (b"0005{\"val", ProtocolError),
    (b"0042{", Disconnected),
])
def test_what_ends_a_connection(plugin, data, error):
    with plugin.connect() as controller:
        plugin.send(data)
        plugin.close()
        with pytest.raises(error):
            controller.receive(TIMEOUT_S)


def test_no_connection_and_no_plugin(plugin):
    with pytest.raises(WaitTimeout, match="the full state"):
        plugin.connect(b"", timeout=0.05)
    plugin.close()
    with pytest.raises(kestrelbridge.ConnectionFailed, match=f"port {plugin.port}"):
        Controller(plugin.port)


def test_close_on_another_thread_ends_the_wait(plugin):
    controller = plugin.connect()
    timer = threading.Timer(0.05, controller.close)
    timer.start()
    with pytest.raises(Disconnected):
        next(controller.changes(TIMEOUT_S))
    with pytest.raises(Disconnected):
        controller.set("streaming", 1)
    timer.join()


def test_keep_alive_while_nothing_is_received(plugin, monkeypatch):
    monkeypatch.setattr(kestrelbridge, "KEEP_ALIVE_INTERVAL_S", 0.01)
    with plugin.connect(keep_alive=True):
        assert plugin.receive(36) == b'0014{"values": []}' * 2
