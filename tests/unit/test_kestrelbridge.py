# SPDX-License-Identifier: GPL-2.0-or-later
"""The Python module for controllers, against a socket that sends what the test says."""

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


@pytest.fixture
def plugin(monkeypatch):
    """The other end of one controller."""
    plugin, controller = socket.socketpair()
    plugin.settimeout(TIMEOUT_S)
    monkeypatch.setattr(socket, "create_connection", lambda *_: controller)
    with plugin:
        yield plugin


@pytest.fixture
def controller(plugin):
    """After a full state in several messages."""
    plugin.sendall(b"".join(values(**{name: value}) for name, value in STATE.items()))
    with Controller(long_frames=False, keep_alive=False, timeout=TIMEOUT_S) as controller:
        assert controller.state == STATE and len(controller.full_state) == len(STATE)
        yield controller


def test_frames_in_two_pieces_and_the_timeout_between_them(plugin, controller):
    for frame in values(currentScene="Überblick"), encode_frame([{"name": "streaming", "value": True}], is_long=True):
        for offset in range(len(frame)):
            plugin.sendall(frame[:offset])
            with pytest.raises(WaitTimeout):
                controller.receive(0)
            plugin.sendall(frame[offset:])
            assert controller.receive(TIMEOUT_S)[0]["name"] in ("currentScene", "streaming")
    assert controller.state == STATE | {"currentScene": "Überblick", "streaming": True}


def test_long_requests_are_long_frames():
    short, long = ([{"name": "x" * count}] for count in (9973, 9974))
    assert encode_frame(short)[:4] == b"9999" and encode_frame(long)[:12] == b"####00010000"


def test_an_answer_among_pushes(plugin, controller):
    plugin.sendall(values(streaming=True) + values(currentScene="A") + values(fps="10 fps", currentScene="A")
                   + values(streaming=False) + values(sceneList=[2]) + values(currentScene="B"))
    assert controller.get("currentScene", "sceneList") == ["A", [2]]
    changes = controller.changes(TIMEOUT_S)
    # Each once, in the order of their latest change, then as they arrive.
    assert [next(changes) for _ in range(3)] == [("currentScene", "A"), ("streaming", False), ("currentScene", "B")]
    assert json.loads(plugin.recv(4096)[4:])["values"] == [
        {"type": "get", "name": name} for name in ("fps", "currentScene", "sceneList")]


def test_waiting(plugin, controller):
    plugin.sendall(values(streaming=1) + values(streaming=2))
    assert controller.wait_for(lambda state: state["streaming"] == 2 and "seen") == "seen"
    with pytest.raises(WaitTimeout, match="in time: the expected change"):
        controller.wait_for(lambda state: state["streaming"] == 3, timeout=0.05)
    plugin.sendall(encode_frame([{"name": "fps", "value": ""}, {}]))
    with pytest.raises(UnknownProperty, match="noSuchThing"):
        controller.get("noSuchThing")


@pytest.mark.parametrize("data, error", [
    (b"HTTP/1.1 400", ProtocolError),
    (b"####00000x13", ProtocolError),
    (b"0002[]", ProtocolError),
    (b"0005{\"val", ProtocolError),
    (b"0042{", Disconnected),
])
def test_what_ends_a_connection(plugin, controller, data, error):
    plugin.sendall(data)
    plugin.close()
    with pytest.raises(error):
        controller.receive(TIMEOUT_S)


@pytest.mark.usefixtures("plugin")
def test_no_full_state():
    with pytest.raises(WaitTimeout, match="the full state"):
        Controller(timeout=0.05)


def test_close_on_another_thread_ends_the_wait(controller):
    timer = threading.Timer(0.05, controller.close)
    timer.start()
    with pytest.raises(Disconnected):
        next(controller.changes())  # waits without end
    with pytest.raises(Disconnected):
        controller.set("streaming", 1)
    timer.join()


def test_keep_alive_while_nothing_is_received(plugin, monkeypatch):
    monkeypatch.setattr(kestrelbridge, "KEEP_ALIVE_INTERVAL_S", 0.01)
    plugin.sendall(values(**STATE))
    with Controller(long_frames=False):
        assert [plugin.recv(18) for _ in range(2)] == [b'0014{"values": []}'] * 2
