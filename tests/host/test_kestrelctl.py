# SPDX-License-Identifier: GPL-2.0-or-later
"""The command line as people and scripts use it: its output, its exit status and its effect in OBS."""

import json
import os
import pathlib
import pty
import re
import shlex
import signal
import socket
import subprocess
import threading

import pytest

from conftest import assert_proper_end
from obskit.checkedcontroller import CheckedController, frame
from obskit.obsprocess import collection, free_port

CTL = os.environ["KESTREL_CTL"]
ROOT = pathlib.Path(__file__).resolve().parents[2]
CROWD = [f"P{number}" for number in range(1, 151)]  # more than a mask has bits, and than fits a frame


@pytest.fixture(scope="module")
def host(new_host):
    host = new_host(collections=[collection("Show", {
        "Opening": ["Title", "Clock", "Wall"],
        "Two words": ["[a]", "Twin", "2", "Twin"],
        "Crowd": CROWD,
        "-Odd": [],
    })])
    yield host
    assert_proper_end(host)


def arguments(host, line):
    return [CTL, "--port", str(host.port), *shlex.split(line)]


def run(host, line):
    return subprocess.run(arguments(host, line), capture_output=True, text=True, timeout=30)


# A command, its exit status, the first line that it prints, and what another controller then reads.
SCENARIOS = {
    "items": [
        ("scenes", 0, "Opening  program", {}),
        ("current", 0, "Opening", {}),
        ("current --json", 0, '{"name":"currentScene","value":"Opening"}', {}),
        ("hide Clock 3", 0, "Clock, Wall are hidden", {"sourceVisibles": 1}),
        ("hide 2", 0, "Clock is hidden already", {}),
        ("scenes", 0, ("  2  Clock  hidden", 2), {}),
        ("show Wall Clock --json", 0, '{"changed":true,"name":"sourceVisibles","value":7}', {"sourceVisibles": 7}),
        ("lock Title", 0, "Title is locked", {"sourceLocks": 1}),
        ("set sourceLocks 6", 0, "sourceLocks is 6", {"sourceLocks": 6}),
        ("unlock 2 3", 0, "Clock, Wall are unlocked", {"sourceLocks": 0}),
        ("toggle Clock 3", 0, "Clock, Wall are hidden", {"sourceVisibles": 1}),
        ("toggle Title Wall --json", 0, '{"changed":true,"name":"sourceVisibles","value":4}', {"sourceVisibles": 4}),
        ("toggle 1 2 3", 0, "Title, Clock are shown; Wall is hidden", {"sourceVisibles": 3}),
        ("toggle Wall", 0, "Wall is shown", {"sourceVisibles": 7}),
        ("hide Title Missing", 1, 'kestrelctl: the program scene has no item "Missing"', {"sourceVisibles": 7}),
        ("toggle 4", 1, 'kestrelctl: the program scene has no item "4"', {"sourceVisibles": 7}),
        ("set sourceVisibles 0x5", 2, "kestrelctl: sourceVisibles takes a number of 32 bits", {}),
    ],
    "names that look like something else": [
        ("scene 'Two words'", 0, "Two words is the program scene", {"currentScene": "Two words"}),
        ("hide [a]", 0, "[a] is hidden", {"sourceVisibles": 14}),
        ("hide 2", 0, "2 is hidden", {"sourceVisibles": 10}),
        ("hide Twin", 1, 'kestrelctl: 2 items are named "Twin"', {"sourceVisibles": 10}),
        ("hide 4", 0, "Twin is hidden", {"sourceVisibles": 2}),
        ("set currentScene Opening", 0, "Opening is the program scene", {"currentScene": "Opening"}),
    ],
    "more items than a mask has bits": [
        ("scene Crowd", 0, "Crowd is the program scene", {"currentScene": "Crowd"}),
        ("hide P33", 1, "kestrelctl: items 1 (P1) and 33 (P33) can only be changed together", {"sourceVisibles": -1}),
        ("hide P1 P33 P65 97 129", 0, "P1, P33, P65, P97, P129 are hidden", {"sourceVisibles": -2}),
        ("toggle P2", 1, "kestrelctl: items 2 (P2) and 34 (P34) can only be changed together", {"sourceVisibles": -2}),
        ("set sourceVisibles 4294967295", 0, "sourceVisibles is -1", {"sourceVisibles": -1}),
        ("scene Opening", 0, "Opening is the program scene", {}),
    ],
    "studio mode and transitions": [
        ("go", 1, "kestrelctl: there is no transition to run outside studio mode", {}),
        ("preview Crowd", 1, "kestrelctl: there is no preview scene outside studio mode", {}),
        ("transition Fade --duration 400", 0, "Fade is the transition already", {"transitionDuration": 400}),
        ("transition Cut --duration 20", 2, "kestrelctl: a transition takes 50 to 20000 ms",
         {"currentTransition": "Fade", "transitionDuration": 400}),
        ("set transitionDuration 20001", 2, "kestrelctl: a transition takes 50 to 20000 ms",
         {"transitionDuration": 400}),
        ("transition Wipe", 1, 'kestrelctl: there is no transition "Wipe"', {}),
        ("studio on", 0, "Studio mode is on", {"studioMode": True}),
        ("preview Crowd", 0, "Crowd is the preview scene", {"previewScene": "Crowd", "currentScene": "Opening"}),
        ("cut", 0, "Crowd is the program scene", {"currentScene": "Crowd", "currentTransition": "Fade"}),
        ("go --json", 0, '{"changed":true,"name":"currentScene","value":"Opening"}', {"currentScene": "Opening"}),
        ("studio toggle", 0, "Studio mode is off", {"studioMode": False}),
        ("studio toggle", 0, "Studio mode is on", {"studioMode": True}),
        ("studio", 0, "Studio mode is on", {}),
        ("set studioMode off", 0, "Studio mode is off", {"studioMode": False}),
        ("transition Cut", 0, "Cut is the transition", {"currentTransition": "Cut"}),
        ("transition --json", 0, re.compile(r'\{"name":"transitionsList","value":\[.*"Cut".*\]\}'), {}),
    ],
    "outputs and values": [
        ("record start", 0, "Recording is on", {"recording": True}),
        ("record start", 0, "Recording is on already", {}),
        ("record status", 0, re.compile(r"Recording is on, 00:00:\d\d"), {}),
        ("record", 0, re.compile(r"Recording is on, 00:00:\d\d"), {}),
        ("record toggle", 0, "Recording is off", {"recording": False}),
        ("record toggle --json", 0, '{"changed":true,"name":"recording","value":true}', {"recording": True}),
        ("set recording 0", 0, "Recording is off", {"recording": False}),
        ("stream status", 0, "Streaming is off", {}),
        ("get fps currentScene", 0, "fps           10.00 fps", {}),
        ("get currentScene", 0, "Opening", {}),
        ("get --json droppedFrames", 0, '{"name":"droppedFrames","value":0}', {}),
        ("get noSuchThing", 1, 'kestrelctl: there is no property "noSuchThing"', {}),
        ("set fps 5", 1, "kestrelctl: fps can only be read", {}),
        ("state", 0, ("fps                 10.00 fps", -1), {}),
        ("stats", 0, re.compile(r"CPU +[\d.e+]+%"), {}),
        ("wait", 0, "", {}),
        ("version", 0, re.compile(r"kestrelctl \d+\.\d+\.\d+"), {}),
    ],
    "wrong usage": [
        ("", 2, "kestrelctl: which command?", {}),
        ("toggel Title", 2, 'kestrelctl: unknown command "toggel"', {}),
        ("hide", 2, re.compile(".*ITEM.*"), {}),
        ("record perhaps", 2, re.compile(".*perhaps.*"), {}),
        ("set recording perhaps", 2, "kestrelctl: recording takes on or off", {"recording": False}),
        ("--port 0 state", 2, re.compile(".*--port.*"), {}),
    ],
}


@pytest.mark.parametrize("name", SCENARIOS)
def test_commands(host, name):
    with CheckedController(host.port, long_frames=True) as other:
        for line, status, expected, state in SCENARIOS[name]:
            done = run(host, line)
            text, place = expected if isinstance(expected, tuple) else (expected, 0)
            printed = ((done.stdout if status == 0 else done.stderr).splitlines() or [""])[place]
            matches = text.fullmatch(printed) if isinstance(text, re.Pattern) else text == printed
            assert (done.returncode, bool(matches)) == (status, True), (line, done)
            hint = done.stderr.splitlines()[1:]
            assert status == 0 or done.stdout == "" and (hint or "can only be read" in text), done
            for property_name, value in state.items():
                assert other.get(property_name) == value, line


def test_a_script_that_watches(host):
    with subprocess.Popen(arguments(host, "watch --json recording fps"), stdout=subprocess.PIPE, text=True) as watcher:
        seen = [json.loads(watcher.stdout.readline()) for _ in range(2)]
        for command in ("start", "stop"):
            assert run(host, f"record {command}").returncode == 0
            seen.append(json.loads(watcher.stdout.readline()))
        watcher.send_signal(signal.SIGINT)
        assert watcher.wait(20) == 0
    assert [tuple(entry.values()) for entry in seen] == [
        ("recording", False), ("fps", "10.00 fps"), ("recording", True), ("recording", False)]


def exit_status(shell_line, **environment):
    """Of the first program of a pipeline, which must end without an error message."""
    done = subprocess.run(["bash", "-c", f"{shell_line}; exit ${{PIPESTATUS[0]}}"], env=os.environ | environment,
                          capture_output=True, text=True, timeout=30)
    assert done.stderr == "", done
    return done.returncode


def test_a_reader_that_ends(host):
    ctl = f"{CTL} --port {host.port}"
    assert exit_status(f"{ctl} scenes | true") == 128 + signal.SIGPIPE
    assert exit_status(f"{ctl} watch recording | head -n 1") == 128 + signal.SIGPIPE  # although nothing changes
    full = subprocess.run(f"{ctl} scenes >/dev/full", shell=True, capture_output=True, text=True, timeout=30)
    assert full.returncode == 1 and "could not be written" in full.stderr


@pytest.mark.parametrize("locale", ["C", "", "POSIX"])
def test_a_locale_without_utf_8(host, locale):
    environment = os.environ | {"LC_ALL": "", "LANG": locale}
    done = subprocess.run(arguments(host, "set currentScene Bühne"), env=environment, capture_output=True, timeout=30)
    assert done.returncode == 1
    assert done.stderr.decode().splitlines()[0] == 'kestrelctl: there is no scene "Bühne"'


def test_the_port_of_the_environment(host):
    for port, status in ((str(host.port), 0), (str(free_port()), 3), ("x", 2)):
        done = subprocess.run([CTL, "current"], env=os.environ | {"KESTREL_PORT": port}, capture_output=True, timeout=30)
        assert done.returncode == status, done


def on_terminal(host, line, until, **environment):
    """What the command prints on a terminal, up to a text."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.execve(CTL, arguments(host, line), os.environ | {"TERM": "xterm"} | environment)
    output = b""
    while until not in output:
        output += os.read(terminal, 4096)
    os.kill(pid, signal.SIGTERM)
    os.waitpid(pid, 0)
    os.close(terminal)
    return output.decode()


def test_a_terminal(host):
    assert "\x1b[" in on_terminal(host, "scenes", b"P150")
    assert "\x1b[" not in on_terminal(host, "scenes", b"P150", NO_COLOR="1")
    assert "\x1b[" not in run(host, "scenes").stdout
    drawn = on_terminal(host, "stats --watch", b"\x1b[?7h", NO_COLOR="1").replace("\r", "")
    first, again = drawn.split("\x1b[9A")
    assert len(first.splitlines()) == len(again.splitlines()[:9]) == 9 and "Congestion" in again


def serve_once(answer):
    """A server that sends one answer, then nothing, and takes what comes; its port."""
    server = socket.create_server(("127.0.0.1", 0))

    def serve():
        connection, _ = server.accept()
        connection.sendall(answer)
        while connection.recv(4096):
            pass

    threading.Thread(target=serve, daemon=True).start()
    return server.getsockname()[1]


def test_what_does_not_come(controller):
    values = dict(controller.state) | {"sceneList": [{"name": "Opening", "sourceList": [{"name": "Title"}]}]}
    values.pop(None, None)  # a list that is too long for who has not agreed to long frames
    state = frame({"values": [{"name": name, "type": "set", "value": value} for name, value in values.items()]})
    rows = [
        (free_port(), "state", 3, "no connection to the plug-in on port"),
        (free_port(), "wait --timeout 0.3", 3, "Connection refused"),
        (serve_once(b""), "state --timeout 0.3", 3, "a server answered on this port but did not send the initial state"),
        (serve_once(b"HTTP/1.1 400"), "state", 3, "received a frame whose length is not a number"),
        (serve_once(state), "show 1 --timeout 0.3", 1, "not confirmed within 0.3 s: Title is shown"),
        (serve_once(state + b"bye!"), "show 1", 1, "the connection ended"),
    ]
    for port, line, status, message in rows:
        done = subprocess.run([CTL, *shlex.split(line), "--port", str(port)], capture_output=True, text=True, timeout=30)
        assert done.returncode == status and message in done.stderr, done


@pytest.mark.parametrize("line, offered", [
    ("kestrelctl scene T", ["Two\\ words"]),
    ("kestrelctl --json scene Two\\ w", ["Two\\ words"]),
    ("kestrelctl preview \"Tw", ["Two words"]),
    ("kestrelctl hide C", ["Clock"]),
    ("kestrelctl transition --duration 300 F", ["Fade"]),
    ("kestrelctl go --with C", ["Cut"]),
    ("kestrelctl hide ", ["Title", "Clock", "Wall"]),
    ("kestrelctl scene ", ["Opening", "Two\\ words", "Crowd"]),
    ("kestrelctl scene -- -", ["-Odd"]),
    ("kestrelctl hide -", ["--", "--port", "--timeout", "--json", "--help", "--version"]),
    ("kestrelctl set cpu", []),
    ("kestrelctl set current", ["currentScene", "currentTransition"]),
    ("kestrelctl set recording o", ["on", "off"]),
    ("kestrelctl get fp", ["fps"]),
    ("kestrelctl st", ["state", "stats", "stream", "studio"]),
])
def test_completion(host, line, offered):
    """As bash calls it. The port comes from the plug-in's configuration file."""
    words = re.findall(r"(?:\\.|\"[^\"]*|\S)+", line) + ([""] if line.endswith(" ") else [])
    script = f"""source {ROOT}/tools/completions/kestrelctl
        COMP_WORDS=({" ".join(map(shlex.quote, words))}); COMP_CWORD={len(words) - 1}
        _kestrelctl kestrelctl; printf '%s\\n' "${{COMPREPLY[@]}}" """
    path = f"{pathlib.Path(CTL).parent}:{os.environ['PATH']}"
    shown = subprocess.run(["bash", "-c", script], env=os.environ | {"PATH": path, "HOME": str(host.folder)},
                           capture_output=True, text=True, timeout=20, check=True)
    assert shown.stdout.split("\n")[:-1] == (offered or [""])


def test_the_manual_has_the_summaries_of_the_help(host):
    manual = re.sub(r"^\.\w+ ?|\\f.", "", (ROOT / "docs/kestrelctl.1").read_text(), flags=re.M)
    manual = " ".join(manual.replace("\\-", "-").replace('"', "").split())
    listed = run(host, "--help").stdout.split("Examples:")[0]
    entries = re.findall(r"^  (?:-h, )?(\S+) .*?  +(\S.*)", listed, re.M)
    assert len(entries) == 5 + 22
    for name, summary in entries:
        assert name in manual, name
        assert name.startswith("-") or summary.replace('"', "") in manual, (name, summary)
