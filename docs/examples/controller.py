# SPDX-License-Identifier: GPL-2.0-or-later
"""Shows what is on air, then hides an item of the scene, or shows it again: controller.py [ITEM [PORT]]"""

import json
import socket
import sys
import threading
import time

ITEM = sys.argv[1] if len(sys.argv) > 1 else None
PORT = int(sys.argv[2]) if len(sys.argv) > 2 else 2021

connection = socket.create_connection(("127.0.0.1", PORT))
stream = connection.makefile("rb")
sending = threading.Lock()
state = {}  # the latest value of each property


def send(*entries, is_long=False):
    body = json.dumps({"values": entries}).encode()
    header = b"####%08d" if is_long else b"%04d"
    with sending:
        connection.sendall(header % len(body) + body)


def receive():
    """Waits for the next message and takes over its values."""
    header = stream.read(4)
    length = stream.read(8) if header == b"####" else header
    if not length:
        sys.exit("disconnected; the host's log says why")
    for entry in json.loads(stream.read(int(length)))["values"]:
        if entry:  # empty: a value too long for a frame
            state[entry["name"]] = entry["value"]


def keep_alive():
    while True:
        time.sleep(2)
        send()


# A long frame says that this controller understands them; the answer will be one if the list is long.
send({"type": "get", "name": "sceneList"}, is_long=True)
threading.Thread(target=keep_alive, daemon=True).start()
while "sceneList" not in state or "transitionDuration" not in state:  # the last of the full state
    receive()

[scene] = [scene for scene in state["sceneList"] if scene["name"] == state["currentScene"]]
print("on air:", scene["name"])
for item in scene["sourceList"]:
    print("  " + item["name"] + ("" if item["isVisible"] else " (hidden)"))

if ITEM:
    position = next(item["sortIndex"] for item in scene["sourceList"] if item["name"] == ITEM)
    bit = 1 << position % 32
    wanted = state["sourceVisibles"] ^ bit
    send({"type": "set", "name": "sourceVisibles", "value": wanted & 0xFFFFFFFF})
    while (state["sourceVisibles"] ^ wanted) & bit:  # a set has no answer: every controller is told of the change
        receive()
    print(ITEM, "is visible" if wanted & bit else "is hidden")
