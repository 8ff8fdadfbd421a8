"""Helpers for black-box runs of orvel-sound-sim over a machine file."""
import json
import os
import select
import signal
import subprocess
import time

import pytest

EXE = os.path.join(os.environ.get("ORVEL_BUILD", "/work/main/build"), "orvel-sound-sim")
WAIT = 10  # seconds: the most any single run may take


def line(obj):
    # The tool's form of a message: compact, sorted keys, solidus escaped.
    text = json.dumps(obj, sort_keys=True, separators=(",", ":"), ensure_ascii=False)
    return (text.replace("/", "\\/") + "\n").encode()


def error(message):
    return line({"message": message, "type": "error"})


def drain(stream, out=b"", lines=None):
    # Adds to `out` until it holds `lines` lines, or (lines=None) until the stream
    # closes or WAIT passes.
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
        # Until stdout holds `lines` lines, or (lines=None) until it closes or WAIT passes.
        self.out = drain(self.p.stdout, self.out, lines)
        return self.out.splitlines(keepends=True)

    def finish(self):
        self.read()
        return self.p.wait(timeout=WAIT)

    def close(self):
        self.p.kill()  # if it still runs
        self.p.wait(timeout=WAIT)
        if not self.p.stderr.closed:  # read until the tool (a grandchild, too) is gone
            assert drain(self.p.stderr) == b""
        self.p.stderr.close()
        self.p.stdin.close()
        self.p.stdout.close()


class Tool:
    # A temporary folder with a machine file, a working folder and runs of the tool.

    def __init__(self, tmp_path):
        self.tmp, self.dir = tmp_path, tmp_path / "work"
        self.machine_path = tmp_path / "machine.json"
        self.env = dict(os.environ, ORVEL_SOUND_SIM_MACHINE=str(self.machine_path))
        self.running = []

    def set_machine(self, machine):
        self.machine_path.write_text(json.dumps(machine, ensure_ascii=False))

    def machine(self):
        return json.loads(self.machine_path.read_text())

    def state(self):
        # What a restore must bring back: defaults, and each device's rate, layout, volume.
        m = self.machine()
        return m.get("defaultOutput"), m.get("defaultInput"), {
            d["id"]: (d.get("rate"), d.get("layout"), d.get("volume")) for d in m["devices"]}

    def run(self, *args, stdin=b""):
        done = subprocess.run([EXE, *map(str, args)], input=stdin, capture_output=True,
                              env=self.env, timeout=WAIT)
        assert done.stderr == b""
        return done.stdout, done.returncode

    def save(self, settings):
        return self.run("--save", self.dir, stdin=json.dumps(settings).encode() + b"\n")

    def switch(self, argv=None, preexec_fn=None):
        # `--switch DIR`, or argv; started with `preexec_fn`.
        run = Running(subprocess.Popen(argv or [EXE, "--switch", str(self.dir)],
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, bufsize=0, env=self.env,
                                       preexec_fn=preexec_fn))
        self.running.append(run)
        return run


def block_and_raise(signum):
    # For preexec_fn: the tool starts with `signum` blocked and already pending.
    return lambda: (signal.pthread_sigmask(signal.SIG_BLOCK, {signum}),
                    os.kill(os.getpid(), signum))


@pytest.fixture
def tool(tmp_path):
    t = Tool(tmp_path)
    yield t
    for r in t.running:
        r.close()
