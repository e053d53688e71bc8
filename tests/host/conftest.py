# SPDX-License-Identifier: GPL-2.0-or-later
"""Fixtures: OBS processes with the plug-in, one of its own for each test file."""

import os
import socket
import threading

import pytest

from obskit.checkedcontroller import CheckedController
from obskit.obsprocess import ObsProcess, collection, free_port
from obskit.obswebsocket import connect_to_obs

MODULE = os.environ["KESTREL_MODULE"]

SCENES = {
    "Opening": ["Title", "Clock", "Wall"],
    "Interview": ["Lower third", "Guest", "Host", "Backdrop"],
    "Überblick": [],
}
COLLECTIONS = (collection("Show", SCENES),
               collection("Rehearsal", {"Stage": ["Lights", "Floor"], "Off": []}, transition="Cut"))


def serve(state):
    """A server for one controller: sends the state and reads. Its port."""
    server = socket.create_server(("127.0.0.1", 0))

    def run():
        with server, server.accept()[0] as connection:
            connection.sendall(state)
            while connection.recv(4096):
                pass

    threading.Thread(target=run, daemon=True).start()
    return server.getsockname()[1]


def new_host(folder, collections=COLLECTIONS):
    return ObsProcess(folder, MODULE, collections=collections, obs_websocket_port=free_port())


@pytest.fixture(scope="module")
def host(tmp_path_factory, request):
    """With the test file's COLLECTIONS, or the default ones."""
    with new_host(tmp_path_factory.mktemp("host"), getattr(request.module, "COLLECTIONS", COLLECTIONS)) as host:
        host.wait_until_listening()
        yield host
        host.assert_proper_end()


@pytest.fixture(scope="module")
def obs_websocket(host):
    with connect_to_obs(host) as client:
        yield client


@pytest.fixture
def controller(host):
    with CheckedController(host.port) as controller:
        yield controller
