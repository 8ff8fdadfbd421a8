"""Helpers for runs of orvel-sound on a private sound server, checked with pactl."""
import json
import os
import re
import subprocess
import time

from sim_tool import BUILD

TOOL = os.path.join(BUILD, "orvel-sound")
WAIT = 5  # seconds, the bound of every wait
DEADLINE = 2  # seconds the tool waits for one answer: a missing socket costs none of it
NOT_ANSWERING = "the sound system isn't answering"
NORM = 0x10000  # a pulse volume of 100 %
THIRTY = round(0.3 * NORM)  # the tool's 30 %; pactl's "30%" is one step lower
# Orvel's: the television as the default at 30 %, and the user's desk speakers at 30 % too.
ORVEL = {"output": {"uid": "tv_surround", "volume": {"0": 0.3}},
         "others": [{"uid": "desk_speakers", "volume": {"0": 0.3}}]}


def run(*args, stdin="", timeout=WAIT):
    out = subprocess.run([TOOL, *map(str, args)], input=stdin, capture_output=True, text=True,
                         timeout=timeout)
    assert out.stderr == ""
    return out.returncode, [json.loads(line) for line in out.stdout.splitlines()]


def error(message):
    return [{"message": message, "type": "error"}]


def state(server):
    # The default sink and source, and each sink's channel volumes (raw), as pactl tells them.
    return (server.pactl("get-default-sink"), server.pactl("get-default-source"),
            {name: [int(level) for level in re.findall(r"(\d+) /", server.pactl(
                "get-sink-volume", name))] for name in ("desk_speakers", "tv_surround")})


def until(check, what):
    # Polls until check() holds: PipeWire's session manager takes a change a moment later.
    deadline = time.monotonic() + WAIT
    while not check():
        assert time.monotonic() < deadline, what
        time.sleep(0.02)


def put(server, held):
    # Makes the server hold a state() as a desktop's memory of it would after a restart.
    sink, source, volumes = held
    for change in [("set-default-sink", sink), ("set-default-source", source),
                   *[("set-sink-volume", name, *map(str, levels))
                     for name, levels in volumes.items()]]:
        server.pactl(*change)
    until(lambda: state(server) == held, f"the server never held {held}")


def restored(running):
    # The one line after the first, restored, and the exit status 0.
    assert running.finish() == 0 and len(running.read()) == 2
    return json.loads(running.out.splitlines()[1])


def ending(line):
    # What a restored line leaves owed: (complete, skipped, left).
    assert line["type"] == "restored"
    return line["complete"], line["skipped"], line["left"]


def restore(folder):
    # What a --restore leaves owed: (complete, skipped, left).
    status, lines = run("--restore", folder)
    assert status == 0 and len(lines) == 1
    return ending(lines[0])
