# SPDX-License-Identifier: GPL-2.0-or-later
"""Fixtures: real hosts with the plug-in, each test file with one of its own."""

import os
import pathlib
import signal
import sys
import warnings

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))

from controller import Controller, connect_witness  # noqa: E402
from privatehost import PrivateHost, collection, free_port  # noqa: E402

MODULE = os.environ["KESTREL_MODULE"]

SHOW = collection("Show", {
    "Opening": ["Title", "Clock", "Wall"],
    "Interview": ["Lower third", "Guest", "Host", "Backdrop"],
    "Überblick": [],
})
REHEARSAL = collection("Rehearsal", {"Stage": ["Lights", "Floor"], "Off": []}, transition="Cut")


@pytest.fixture(scope="session")
def new_host(tmp_path_factory):
    """Makes hosts: new_host(collections=..., module=..., start=True)."""
    hosts = []

    def make(module=MODULE, collections=(SHOW, REHEARSAL), start=True, **options):
        host = PrivateHost(tmp_path_factory.mktemp("host"), module=module, collections=collections,
                           witness_port=free_port(), **options)
        hosts.append(host)
        if start:
            host.start()
            if module:
                host.wait_until_listening()
        return host

    yield make
    for host in hosts:
        host.stop()


def assert_proper_end(host):
    """Closes the host; a crash that its own handler caught also ends with status 0, but without the count of leaks.

    Version 32.2 crashes by itself in one of ten to twenty ends, with and without a plug-in: its destruction thread
    releases an item whose source is gone. What came before has been checked by then.
    """
    status = host.stop()
    if status == -signal.SIGSEGV and "OBS 32." in host.log():
        warnings.warn("the host crashed at its end, as it does by itself")
        return
    assert status == 0
    assert host.leaks() is not None


@pytest.fixture(scope="module")
def host(new_host, request):
    """With the collections that the test file names, or the usual ones."""
    host = new_host(collections=getattr(request.module, "COLLECTIONS", (SHOW, REHEARSAL)))
    yield host
    assert_proper_end(host)


@pytest.fixture(scope="module")
def witness(host):
    witness = connect_witness(host)
    yield witness
    witness.close()


@pytest.fixture
def controller(host):
    with Controller(host.port) as controller:
        yield controller
