# SPDX-License-Identifier: GPL-2.0-or-later
"""The protocol guide: its tables agree with the plug-in, and its example programs work."""

import json
import pathlib
import re
import subprocess
import sys

import pytest

from conftest import serve
from obskit.checkedcontroller import DOCS, MESSAGE, REQUEST, CheckedController, push
from obskit.obsprocess import collection

GUIDE = (DOCS / "protocol.md").read_text()
MODULE_TESTS = pathlib.Path(__file__).resolve().parents[1] / "module"

# Its sceneList is too long for an ordinary frame.
ARCHIVE = [f"Item {number}" for number in range(150)]
COLLECTIONS = [collection("Large", {"Opening": ["Title", "Clock", "Wall"], "Archive": ARCHIVE})]


def table(first_column):
    rows = re.search(rf"^\| {first_column}.*\n\|.*\n((?:\|.*\n)+)", GUIDE, re.M).group(1)
    return [[cell.strip() for cell in row.split("|")[1:-1]] for row in rows.splitlines()]


def blocks(language):
    return re.findall(rf"^```{language}\n(.*?)^```", GUIDE, re.M | re.S)


def quoted(cell):
    return re.findall("`(.*?)`", cell)


def test_the_table_of_properties():
    properties = {quoted(name)[0]: cells for name, *cells in table("property")}
    settable = [name for name, cells in properties.items() if cells[2]]
    slots = re.findall(r" ([gs]et)([A-Z]\w+)\(\S*\)", (MODULE_TESTS / "slots.txt").read_text())
    for kind, names in ("get", properties), ("set", settable):
        assert sorted(names) == sorted(name[0].lower() + name[1:] for slot, name in slots if slot == kind)
    for name, (_, example, written, _) in properties.items():
        entry = {"name": name, "type": "set"}
        MESSAGE.validate({"values": [entry | {"value": json.loads(*quoted(example))}]})
        sets = [entry | {"value": json.loads(value)} for value in quoted(written)]
        REQUEST.validate({"values": [{"name": name}, *sets]})
        assert (name in settable) == any(REQUEST.is_valid({"values": [entry | {"value": value}]}) for value in (1, "x"))
        for value in None, {}, 2 ** 31, [{"name": "", "sortIndex": 0, "isCurrent": True}]:
            assert not MESSAGE.is_valid({"values": [entry | {"value": value}]}), (name, value)
    for entry in {}, {"name": "Streaming"}, {"name": "studioMode", "type": "set", "value": True}:
        assert not REQUEST.is_valid({"values": [entry]})


def test_the_table_of_pushes():
    rows = {tuple(quoted(pushes)) for _, pushes in table("what happens")}
    golden = "".join((MODULE_TESTS / name).read_text() for name in ("pushes.txt", "sets.txt"))
    assert rows <= {tuple(line.split("|")[-1].split()) for line in golden.splitlines()}
    assert {name for pushes in rows for name in pushes} == {
        quoted(name)[0] for name, _, _, _, pushed in table("property") if pushed}


def test_messages_and_frames_in_the_text():
    frames = re.findall(r"^(?:####)?(\d+)({.*)$", "".join(blocks("frames")), re.M)
    assert [int(length) for length, _ in frames] == [len(body.encode()) for _, body in frames]
    messages = [json.loads(text) for text in blocks("json") + [body for _, body in frames]]
    assert len(messages) == 7
    for message in messages:
        assert REQUEST.is_valid(message) or MESSAGE.is_valid(message)
        assert not REQUEST.is_valid(message | {"id": 1}) and not MESSAGE.is_valid(message | {"id": 1})


def run_example(name, interpreter, port):
    return subprocess.run([interpreter, DOCS / "examples" / name, "Clock", str(port)], capture_output=True, text=True,
                          timeout=20, check=True)


def test_its_programs(host):
    refusal = "NetworkWriter refusing to write"
    with CheckedController(host.port) as plain, CheckedController(host.port, long_frames=True) as watcher:
        assert {} in plain.full_state and len(plain.full_state) == 20
        refused = host.log().count(refusal)
        for name, interpreter, hidden, outcome, mask in [
                ("controller.py", sys.executable, "", "is hidden", 5),
                ("controller.js", "node", " (hidden)", "is visible", 7)]:
            assert (DOCS / "examples" / name).read_text() in blocks("python") + blocks("js")
            shown = run_example(name, interpreter, host.port)
            assert shown.stdout == f"on air: Opening\n  Title\n  Clock{hidden}\n  Wall\nClock {outcome}\n"
            assert watcher.expect("sceneList", "sourceVisibles")[1] == mask
            assert plain.expect("sourceVisibles") == [mask]
        # The list in the two full states and in the two pushes; a line each.
        assert host.log().count(refusal) == refused + 4


@pytest.mark.parametrize("name, interpreter", [("controller.py", sys.executable), ("controller.js", "node")])
def test_its_programs_during_a_change_of_the_scene_collection(name, interpreter):
    """The list of scenes is empty at first, and the mask is not pushed with the new scene."""
    item = {"name": "Clock", "sortIndex": 0, "isVisible": True, "isLocked": False}
    scene = {"name": "Opening", "sortIndex": 0, "isCurrent": True, "sourceList": [item]}
    shown = run_example(name, interpreter, serve(
        push(sceneList=[], currentScene="", sourceVisibles="", transitionDuration=300) + push(fps="", sceneList=[])
        + push(sceneList=[scene]) + push(currentScene="Opening") + push(fps="", sourceVisibles=1)
        + push(sourceVisibles=0)))
    assert shown.stdout == "on air: Opening\n  Clock\nClock is hidden\n"
