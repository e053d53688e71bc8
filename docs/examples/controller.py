# SPDX-License-Identifier: GPL-2.0-or-later
"""Prints the program scene, then hides one of its items or shows it again: controller.py [ITEM [PORT]]"""

import sys

from kestrelbridge import DEFAULT_PORT, Controller, KestrelBridgeError, item_bit


def main(item_name=None, port=DEFAULT_PORT):
    with Controller(int(port)) as obs:
        # OBS has no scene for a moment when it changes the scene collection.
        scene = obs.wait_for(lambda state: obs.program_scene())
        print("on air:", scene["name"])
        for item in scene["sourceList"]:
            print("  " + item["name"] + ("" if item["isVisible"] else " (hidden)"))

        if item_name:
            bit = next((item_bit(item) for item in scene["sourceList"] if item["name"] == item_name), 0)
            if not bit:
                sys.exit(f"no item {item_name!r} in the program scene")
            mask = obs.get("sourceVisibles") ^ bit  # read again: it is not pushed with another scene
            obs.set("sourceVisibles", mask & 0xFFFFFFFF)
            # A set has no answer: every controller receives the change.
            obs.wait_for(lambda state: (state["sourceVisibles"] ^ mask) & bit == 0)
            print(item_name, "is visible" if mask & bit else "is hidden")


try:
    main(*sys.argv[1:])
except KestrelBridgeError as error:
    sys.exit(str(error))
