# SPDX-License-Identifier: GPL-2.0-or-later
"""The command line as people and scripts use it: its output, its exit status and its effect in OBS."""

import json
import os
import pathlib
import re
import shlex
import signal
import subprocess

import pexpect
import pytest

from conftest import serve
from obskit.checkedcontroller import CheckedController, push
from obskit.obsprocess import collection, free_port

CTL = os.environ["KESTREL_CTL"]
ROOT = pathlib.Path(__file__).resolve().parents[2]
COLLECTIONS = [collection("Show", {
    "Opening": ["Title", "Clock", "Wall"],
    "Two words": ["[a]", "Twin", "2", "Twin"],
    "Crowd": [f"P{number}" for number in range(1, 151)],  # more than a mask has bits, and than fits a frame
    "-Odd": [],
})]


def environment(port, **variables):
    return os.environ | {"KESTREL_PORT": str(port), "CTL": CTL} | variables


def run(port, line, **variables):
    return subprocess.run([CTL, *shlex.split(line)], env=environment(port, **variables), capture_output=True,
                          text=True, timeout=30)


def test_commands(host):
    table = pathlib.Path(__file__).with_name("kestrelctl.txt").read_text()
    with CheckedController(host.port, long_frames=True) as other:
        for line in re.findall("^[^#\n].*", table, re.M):
            command, status, pattern, read = (cell.strip() for cell in line.split("|"))
            done = run(host.port, command)
            first = (done.stderr if done.returncode else done.stdout).partition("\n")[0]
            assert done.returncode == int(status) and re.fullmatch(pattern, first), (line, done)
            assert done.returncode == 0 or done.stdout == "", done
            if read:
                name, value = read.split(" ", 1)
                assert other.get(name) == json.loads(value), line


def test_a_script_that_watches(host):
    with subprocess.Popen([CTL, "watch", "--json", "recording", "fps"], env=environment(host.port),
                          stdout=subprocess.PIPE, text=True) as watcher:
        seen = [json.loads(watcher.stdout.readline()) for _ in range(2)]
        for command in ("start", "stop"):
            assert run(host.port, f"record {command}").returncode == 0
            seen.append(json.loads(watcher.stdout.readline()))
        watcher.send_signal(signal.SIGINT)
        assert watcher.wait(20) == 0
    assert [tuple(entry.values()) for entry in seen] == [
        ("recording", False), ("fps", "10.00 fps"), ("recording", True), ("recording", False)]


@pytest.mark.parametrize("pipeline, status, error", [
    ("$CTL watch recording | head -n 1", 128 + signal.SIGPIPE, ""),  # although nothing changes
    ("$CTL scenes >/dev/full", 1, ".*could not be written.*"),
    ("LC_ALL= LANG=C $CTL scene Bühne", 1, 'kestrelctl: there is no scene "Bühne"\n.*'),
])
def test_in_a_shell(host, pipeline, status, error):
    done = subprocess.run(["bash", "-c", f"{pipeline}; exit ${{PIPESTATUS[0]}}"], env=environment(host.port),
                          capture_output=True, text=True, timeout=30)
    assert done.returncode == status and re.fullmatch(error, done.stderr, re.S), done


def on_terminal(host, line, until, **variables):
    """What the command prints on a terminal, up to a text."""
    variables = environment(host.port, TERM="xterm", **variables)
    with pexpect.spawn(CTL, line.split(), env=variables, encoding="utf-8") as terminal:
        terminal.expect_exact(until)
        return terminal.before + until


def test_a_terminal(host):
    assert "\x1b[" in on_terminal(host, "scenes", "P150")
    assert "\x1b[" not in on_terminal(host, "scenes", "P150", NO_COLOR="1") + run(host.port, "scenes").stdout
    drawn = on_terminal(host, "stats --watch", "\x1b[?7h", NO_COLOR="1").replace("\r", "")
    first, again = drawn.split("\x1b[9A")
    assert len(first.splitlines()) == len(again.splitlines()[:9]) == 9 and "Congestion" in again


def test_what_does_not_come(controller):
    values = controller.state | {"sceneList": [{"name": "Opening", "sourceList": [{"name": "Title"}]}]}
    state = push(**values)
    for port, line, status, message in [
            (free_port(), "state", 3, "no connection to the plug-in on port"),
            (free_port(), "wait --timeout 0.3", 3, "Connection refused"),
            (serve(b""), "state --timeout 0.3", 3, "answered on this port but did not send the initial state"),
            (serve(b"HTTP/1.1 400"), "state", 3, "received a frame whose length is not a number"),
            (serve(state), "show 1 --timeout 0.3", 1, "not confirmed within 0.3 s: Title is shown"),
            (serve(state + b"bye!"), "show 1", 1, "the connection ended")]:
        done = run(port, line)
        assert done.returncode == status and message in done.stderr, done


@pytest.mark.parametrize("line, offered", [
    ("kestrelctl --json scene Two\\ w", ["Two\\ words"]),
    ("kestrelctl preview \"Tw", ["Two words"]),
    ("kestrelctl transition --duration 300 F", ["Fade"]),
    ("kestrelctl hide ", ["Title", "Clock", "Wall"]),
    ("kestrelctl scene ", ["Opening", "Two\\ words", "Crowd"]),
    ("kestrelctl scene -- -", ["-Odd"]),
    ("kestrelctl set cpu", [""]),
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
    assert shown.stdout.split("\n")[:-1] == offered


def test_the_manual_has_the_summaries_of_the_help():
    manual = re.sub(r"^\.\w+ ?|\\f.", "", (ROOT / "docs/kestrelctl.1").read_text(), flags=re.M)
    manual = " ".join(manual.replace("\\-", "-").replace('"', "").split())
    listed = run(0, "--help", KESTREL_PORT="").stdout.split("Examples:")[0]
    entries = re.findall(r"^  (?:-h, )?(\S+) .*?  +(\S.*)", listed, re.M)
    assert len(entries) == 5 + 22
    for name, summary in entries:
        assert name in manual, name
        assert name.startswith("-") or summary.replace('"', "") in manual, (name, summary)
