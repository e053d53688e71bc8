# SPDX-License-Identifier: GPL-2.0-or-later
"""Fixtures: OBS processes with the plug-in, one of its own for each test file."""

import contextlib
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


def serve(state, answer=lambda data: b""):
    """A server for one controller: sends the state, then what answer() returns for the bytes received. Its port."""
    server = socket.create_server(("127.0.0.1", 0))

    def run():
        with server, server.accept()[0] as connection:
            connection.sendall(state)
            while data := connection.recv(4096):
                connection.sendall(answer(data))

    threading.Thread(target=run, daemon=True).start()
    return server.getsockname()[1]


@pytest.fixture(scope="session")
def new_host(tmp_path_factory):
    """Starts OBS: new_host(collections=..., start=True)."""
    with contextlib.ExitStack() as hosts:
        def make(collections=COLLECTIONS, start=True):
            host = ObsProcess(tmp_path_factory.mktemp("host"), MODULE, collections=collections,
                              obs_websocket_port=free_port())
            hosts.callback(host.stop)
            if start:
                host.start()
                host.wait_until_listening()
            return host

        yield make


@pytest.fixture(scope="module")
def host(new_host, request):
    """With the test file's COLLECTIONS, or the default ones."""
    host = new_host(collections=getattr(request.module, "COLLECTIONS", COLLECTIONS))
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
