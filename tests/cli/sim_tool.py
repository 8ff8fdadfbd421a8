"""Helpers and fixtures for black-box runs of orvel-sound-sim over a machine file."""
import json
import os
import re
import select
import subprocess
import time
from pathlib import Path

import pytest

# The build folder of this checkout, unless ORVEL_BUILD names another.
BUILD = os.environ.get("ORVEL_BUILD", str(Path(__file__).resolve().parents[2] / "build"))
EXE = os.path.join(BUILD, "orvel-sound-sim")
WAIT = 10  # seconds: the most any single run may take
HP = "Haut-parleurs intégrés"
# The user is on the built-in speakers and the microphone; some devices lack
# properties (no name, no UID, nothing at all). "AP/A" is a layout with a solidus.
MACHINE = {"defaultOutput": 3, "defaultInput": 4, "devices": [
    {"id": 2, "uid": "desk-uid", "name": "Desk Speakers", "output": [2], "input": [],
     "rate": 44100, "rateRanges": [[44100, 44100], [48000, 48000]],
     "layout": "AgBlAAAAAAAAAAAA", "volume": {"0": 0.5, "1": 0.25}},
    {"id": 3, "uid": "hp-uid", "name": HP, "output": [2], "rate": 44100, "layout": "AP/A",
     "rateRanges": [[44100, 44100], [48000, 96000]], "volume": {"1": 0.25, "2": 0.75}},
    {"id": 4, "uid": "mic-uid", "input": [1], "rate": 16000, "rateRanges": [[16000, 48000]]},
    {"id": 5, "name": "no uid", "output": [2]}, {"id": 6, "uid": "bare-uid"}]}
DESK = {"output": {"uid": "desk-uid", "name": "Desk Speakers", "rate": 48000}}  # Orvel's


def line(obj):
    # The tool's form of a message: compact, sorted keys, solidus escaped.
    text = json.dumps(obj, sort_keys=True, separators=(",", ":"), ensure_ascii=False)
    return (text.replace("/", "\\/") + "\n").encode()


def error(message):
    return line({"message": message, "type": "error"})


NOT_A_LINE = "Orvel's settings are one JSON line on stdin"
SAVED = line({"type": "saved"})
SWITCHED = line({"applied": ["the output Desk Speakers as the default",
                             "the output Desk Speakers at 48000 Hz"],
                 "skipped": [], "snapshot": "taken", "type": "switched"})
RESTORED = line({"applied": ["Desk Speakers at 44100 Hz", f"the output {HP} as the default"],
                 "complete": True, "left": [], "skipped": [], "type": "restored"})
NO_SWITCH = line({"applied": [], "complete": True, "left": [], "skipped": ["no switch to put back"],
                  "type": "restored"})


def drain(stream, out=b"", lines=None):
    # Adds to `out` until it holds `lines` lines, or (None) until the stream closes or WAIT passes.
    deadline = time.monotonic() + WAIT
    while (lines is None or out.count(b"\n") < lines) and select.select(
            [stream], [], [], max(0, deadline - time.monotonic()))[0]:
        chunk = os.read(stream.fileno(), 65536)
        if not chunk:
            break
        out += chunk
    return out


class Running:
    # A process whose stdout is read without ever blocking past a deadline.

    def __init__(self, popen):
        self.p, self.out = popen, b""

    def read(self, lines=None):
        self.out = drain(self.p.stdout, self.out, lines)
        return self.out.splitlines(keepends=True)

    def finish(self):  # the exit status, once stdout has closed
        self.read()
        return self.p.wait(timeout=WAIT)

    def close(self):
        # Kills it if it still runs; its stderr (a grandchild's, too) must stay empty.
        self.p.kill()
        self.p.wait(timeout=WAIT)
        if self.p.stdout and not self.p.stdout.closed:
            self.read()
        if not self.p.stderr.closed:
            assert drain(self.p.stderr) == b""
        for stream in (self.p.stdin, self.p.stdout, self.p.stderr):
            if stream:
                stream.close()
        return self.out


class Tool:
    # A folder with MACHINE in the machine file, the working folder `dir` and runs of the tool.

    def __init__(self, tmp_path):
        tmp_path.mkdir(exist_ok=True)
        self.tmp, self.dir = tmp_path, tmp_path / "orvel" / "work"  # made with its parent
        self.machine_path = tmp_path / "machine.json"
        self.env = dict(os.environ, ORVEL_SOUND_SIM_MACHINE=str(self.machine_path))
        self.running = []
        self.set_machine(MACHINE)

    def set_machine(self, machine):
        self.machine_path.write_text(json.dumps(machine, ensure_ascii=False))

    def machine(self):
        return json.loads(self.machine_path.read_text())

    def entries(self):
        # Every entry of the working folder but the lock's empty file: a file's bytes,
        # None for a folder.
        return {p.name: None if p.is_dir() else p.read_bytes() for p in self.dir.iterdir()
                if p.name != ".lock"}

    def run(self, *args, stdin=b""):
        done = subprocess.run([EXE, *map(str, args)], input=stdin, capture_output=True,
                              env=self.env, timeout=WAIT)
        assert done.stderr == b"" and done.returncode in (0, 1)
        return done.stdout, done.returncode

    def save(self, settings):
        return self.run("--save", self.dir, stdin=json.dumps(settings).encode() + b"\n")

    def start(self, *args, stdin=b"", argv=None, preexec_fn=None, stdout=subprocess.PIPE):
        # The tool with `args` (or the command `argv`) running, `stdin` written to it,
        # or, for a file descriptor, handed to it as stdin; `stdout` as Popen takes it.
        pipe = not isinstance(stdin, int)
        run = Running(subprocess.Popen(argv or [EXE, *map(str, args)],
                                       stdin=subprocess.PIPE if pipe else stdin,
                                       stdout=stdout, stderr=subprocess.PIPE,
                                       bufsize=0, env=self.env, preexec_fn=preexec_fn))
        if pipe:
            run.p.stdin.write(stdin)
        self.running.append(run)
        return run

    def switch(self, **options):
        return self.start("--switch", self.dir, **options)


def switched(tool):
    # A switch to DESK that has said so.
    run = tool.switch()
    assert run.read(1)[0] == SWITCHED
    return run


@pytest.fixture
def tool(tmp_path):
    t = Tool(tmp_path)
    yield t
    for run in t.running:
        run.close()


@pytest.fixture
def desk(tool):
    # DESK saved, and `original`: the user's machine, what a restore brings back.
    assert tool.save(DESK) == (SAVED, 0)
    tool.original = tool.machine()
    return tool
