# SPDX-License-Identifier: GPL-2.0-or-later
"""The dialog in the Tools menu, used with the keyboard alone."""

import json
import pathlib
import socket

import kestrelbridge
import pytest

from conftest import MODULE
from obskit.checkedcontroller import CheckedController
from obskit.obsprocess import free_port, wait_for
from obskit.obswebsocket import connect_to_obs

SCREENSHOT = pathlib.Path(MODULE).parents[1] / "dialog.png"
TITLE = "^KestrelBridge$"

# Heights in the dialog.
BELOW_TEXT_CURSOR = 95
BELOW_FIRST_ROW = 170


def wait_for_dialog(host):
    return wait_for(lambda: host.windows(TITLE), 20, "the dialog")[0]


def open_dialog(host):
    host.on_screen("xdotool", "windowfocus", "--sync", host.main_window)  # no window manager does so
    host.press(host.main_window, "alt+t")  # the Tools menu
    host.press(host.main_window, "k")
    return wait_for_dialog(host)


def close_dialog(host, dialog):
    host.press(dialog, "Escape")
    wait_for(lambda: not host.windows(TITLE), 20, "the end of the dialog")


def picture_below(host, dialog, top):
    """The pixels of the dialog from this height on."""
    path = host.folder / "part.ppm"
    host.screenshot(path, dialog, "-crop", f"100%x100%+0+{top}", "+repage")
    return path.read_bytes()


def test_the_dialog_shows_controllers_and_changes_the_port(new_host):
    host = new_host()
    assert not host.windows(TITLE)
    dialog = open_dialog(host)
    wait_for(lambda: host.on_screen("xdotool", "getwindowfocus") == [dialog], 20, "the focus")
    empty = {top: picture_below(host, dialog, top) for top in (BELOW_TEXT_CURSOR, BELOW_FIRST_ROW)}
    assert all(empty.values())

    def wait_for_rows(top, expected):
        wait_for(lambda: (picture_below(host, dialog, top) != empty[top]) == expected, 20, f"{top}: {expected}")

    with CheckedController(host.port) as early:
        wait_for_rows(BELOW_TEXT_CURSOR, True)
        wait_for_rows(BELOW_FIRST_ROW, False)
        new_port = free_port()
        host.press(dialog, "ctrl+a", *str(new_port), "Return")
        host.wait_for_log(rf"Server listening on localhost, port {new_port}\n")
        with pytest.raises(kestrelbridge.ConnectionFailed):
            CheckedController(host.port)
        with CheckedController(new_port) as late:
            assert early.get("currentScene") == late.get("currentScene")
            wait_for_rows(BELOW_FIRST_ROW, True)
            host.screenshot(SCREENSHOT, dialog)
        wait_for_rows(BELOW_FIRST_ROW, False)
    wait_for_rows(BELOW_TEXT_CURSOR, False)
    assert json.loads(host.plugin_config.read_text()) == {"port": new_port}

    close_dialog(host, dialog)
    open_dialog(host)
    host.assert_proper_end()


def test_a_port_in_use_opens_the_dialog_without_the_focus(new_host):
    host = new_host(start=False)
    with socket.create_server(("127.0.0.1", host.port)):
        host.start()
        host.wait_for_log(rf"Server failed to listen on localhost, port {host.port}\n")
        dialog = wait_for_dialog(host)
        with connect_to_obs(host) as obs_websocket:
            assert obs_websocket("GetSceneList")["scenes"]
        assert host.on_screen("xdotool", "getwindowfocus") != [dialog]
    host.on_screen("xdotool", "windowfocus", "--sync", dialog)
    host.press(dialog, "alt+a")  # Apply, now that the port is free
    host.wait_for_log(rf"Server listening on localhost, port {host.port}\n")
    close_dialog(host, dialog)
    host.assert_proper_end()
