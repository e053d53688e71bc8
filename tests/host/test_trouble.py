# SPDX-License-Identifier: GPL-2.0-or-later
"""Large collections, open dialogs and misbehaving controllers."""

import socket
import time

from kestrelbridge import encode_frame
from obskit.checkedcontroller import CheckedController
from obskit.obsprocess import collection, wait_for

SCENES, ITEMS = 60, 20
COLLECTIONS = [collection("Large", {f"Scene {i}": [f"Item {i} {j}" for j in range(ITEMS)] for i in range(SCENES)})]


def test_a_large_collection(host, obs_websocket):
    refused = host.log().count("NetworkWriter refusing to write")
    with CheckedController(host.port) as plain, CheckedController(host.port, long_frames=True) as agreed:
        assert {} in plain.full_state and len(plain.full_state) == 20
        scenes = agreed.get("sceneList")
        assert [len(scene["sourceList"]) for scene in scenes] == [ITEMS] * SCENES
        plain.send([{"name": "fps"}, {"name": "sceneList"}, {"name": "streaming"}])
        assert plain.next() == [("fps", "10.00 fps"), (None, None), ("streaming", False)]

        obs_websocket.show("Scene 0", "Item 0 3", False)
        pushed, mask = agreed.expect("sceneList", "sourceVisibles")
        assert pushed[0]["sourceList"][3] == {"name": "Item 0 3", "isVisible": False, "isLocked": False, "sortIndex": 3}
        assert plain.expect("sourceVisibles") == [mask] == [2 ** ITEMS - 1 - 8]
        # Two full states, one answer, one notification; a line each.
        assert host.log().count("NetworkWriter refusing to write") - refused == 4

        # An answer that is too long for a frame is sent as several messages.
        plain.send([{"name": "transitionsList"}] * 120)
        messages = [plain.next()]
        while sum(map(len, messages)) < 120:
            messages.append(plain.next())
        assert len(messages) > 1 and {name for message in messages for name, _ in message} == {"transitionsList"}


def test_many_come_and_go(host):
    with CheckedController(host.port) as other:
        for _ in range(20):
            sockets = [socket.create_connection(("127.0.0.1", host.port)) for _ in range(100)]
            for position, connection in enumerate(sockets):
                connection.sendall(encode_frame([])[:position % 16])
                if position % 2:
                    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")  # resets
                connection.close()
            other.sync()
        added = host.log().count("[kestrelbridge] Added new connection")
        wait_for(lambda: host.log().count("[kestrelbridge] Deleting dead connection") >= added - 1, 20,
                 "the deletion of every connection")


def test_a_dialog_left_open(host, obs_websocket):
    """Starting a stream without a server opens a modal dialog inside the request that asked for it."""
    with CheckedController(host.port, keep_alive=False) as asking, CheckedController(host.port) as other:
        asking.set("streaming", 1)
        asking.send([{"name": "fps"}])
        dialog = wait_for(lambda: host.windows("Failed to start streaming"), 20, "the dialog")
        begin = time.monotonic()
        while time.monotonic() < begin + 7:  # longer than the keep-alive timeout of 5 s
            for is_visible in (False, True):
                obs_websocket.show("Scene 0", "Item 0 0", is_visible)
                other.wait_for(lambda state: state["sourceVisibles"] & 1 == is_visible)
        with CheckedController(host.port) as late:
            assert late.get("fps") == "10.00 fps"
        host.press(dialog[0], "Escape")
        while asking.next() != [("fps", "10.00 fps")]:
            pass
        assert asking.get("streaming") is False
