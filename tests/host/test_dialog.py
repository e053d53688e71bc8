# SPDX-License-Identifier: GPL-2.0-or-later
"""The dialog in the Tools menu, used with the keyboard alone."""

import json
import pathlib
import socket

from conftest import MODULE, new_host
from obskit.checkedcontroller import CheckedController
from obskit.obsprocess import free_port, wait_for
from obskit.obswebsocket import connect_to_obs

TITLE = "^KestrelBridge$"


def test_the_dialog_opens_without_the_focus_and_from_the_menu(tmp_path):
    def dialog():
        return wait_for(lambda: host.windows(TITLE), 20, "the dialog")[0]

    def has_focus_from_the_menu():
        if not host.windows(TITLE):  # OBS may not have handled the focus yet: once more
            host.on_screen("xdotool", "windowfocus", "--sync", host.main_window)  # no window manager does so
            host.press(host.main_window, "alt+t", "k")  # the Tools menu
        return host.on_screen("xdotool", "getwindowfocus") == host.windows(TITLE)

    host = new_host(tmp_path)
    with socket.create_server(("127.0.0.1", host.port)) as occupant, host:
        host.wait_for_log(rf"Server failed to listen on localhost, port {host.port}\n")
        opened = dialog()
        with connect_to_obs(host):  # so OBS has loaded
            assert host.on_screen("xdotool", "getwindowfocus") != [opened]
        occupant.close()
        host.on_screen("xdotool", "windowfocus", "--sync", opened)
        host.press(opened, "alt+a")  # Apply, now that the port is free
        host.wait_until_listening()
        host.press(opened, "Escape")
        wait_for(lambda: not host.windows(TITLE), 20, "the end of the dialog")

        with CheckedController(host.port) as one, CheckedController(host.port) as other:
            wait_for(has_focus_from_the_menu, 20, "the dialog with the focus")
            port = free_port()
            host.press(dialog(), "ctrl+a", *str(port), "Return")
            host.wait_for_log(rf"Server listening on localhost, port {port}\n")
            assert json.loads(host.plugin_config.read_text()) == {"port": port}
            host.screenshot(pathlib.Path(MODULE).parents[1] / "dialog.png", dialog())
            host.assert_proper_end()  # with the dialog open and controllers connected
            one.wait_until_closed()
            other.wait_until_closed()
        assert host.log().count("[kestrelbridge] Connection removed") == 2
