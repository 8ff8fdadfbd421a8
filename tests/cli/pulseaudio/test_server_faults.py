"""orvel-sound's switch when its sound server dies at any instant."""
import json
import os
import random
import signal
import subprocess
import tempfile
import time
from pathlib import Path

from test_commands_pulse import TOOL, WAIT

RUNS = 12
TERM = {signal.SIGTERM}
SETTINGS = {"output": {"uid": "tv_surround", "volume": {"0": 0.3}}, "input": {"uid": "desk_mic"}}
TRIGGERS = [lambda p: p.stdin.write(b"restore\n"), lambda p: p.send_signal(signal.SIGTERM),
            lambda p: None]  # the last: communicate() ends the input


def switch(server, folder, kill_at, trigger):
    # Saves, starts a switch, SIGKILLs the server kill_at seconds later (before the
    # start when negative), triggers the restore; gives the exit status and the lines.
    env = {**os.environ, **server.env}
    saved = subprocess.run([TOOL, "--save", folder], input=json.dumps(SETTINGS).encode() + b"\n",
                           capture_output=True, env=env, timeout=WAIT)
    assert (saved.returncode, saved.stdout, saved.stderr) == (0, b'{"type":"saved"}\n', b"")
    pulse = int(Path(server.folder, "pids").read_text().split()[-1])  # speaks the protocol
    if kill_at is not None and kill_at < 0:
        os.kill(pulse, signal.SIGKILL)
    # Started with SIGTERM blocked, as the tool blocks it itself at once: one sent
    # before that (between exec and the switch's start) would end it by the signal.
    p = subprocess.Popen([TOOL, "--switch", folder], stdin=subprocess.PIPE,
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=env, bufsize=0,
                         preexec_fn=lambda: signal.pthread_sigmask(signal.SIG_BLOCK, TERM))
    try:
        if kill_at is not None and kill_at >= 0:
            time.sleep(kill_at)
            os.kill(pulse, signal.SIGKILL)
        try:
            trigger(p)
        except BrokenPipeError:
            pass  # the tool has ended already, after an error
        out, err = p.communicate(timeout=WAIT)  # never a hang
    finally:
        p.kill()
        p.wait(timeout=WAIT)
    assert err == b"" and p.returncode in (0, 1)
    lines = [json.loads(line) for line in out.splitlines()]
    assert [line["type"] for line in lines] == (["error"], ["switched", "restored"])[
        p.returncode == 0], lines
    return p.returncode


def restarted(server, folder):
    # A new server of the same kind; on a loaded machine a start now and then fails.
    try:
        return type(server)(server.kind, folder)
    except RuntimeError:
        return type(server)(server.kind, folder + "-again")


def test_server_killed_at_any_instant_of_a_switch(pulse_server):
    rng, server, folder = random.Random(5), pulse_server, Path(pulse_server.folder)
    began = time.monotonic()
    assert switch(server, folder / "measure", None, TRIGGERS[0]) == 0
    span = time.monotonic() - began  # a whole switch and restore
    statuses = []
    with tempfile.TemporaryDirectory(prefix="orvel-cli-pulse-") as servers:
        try:
            for attempt in range(RUNS):  # from before the start to after the switched line
                kill_at = span * (1.4 * attempt / (RUNS - 1) - 0.2 + rng.uniform(0, 0.1))
                statuses.append(switch(server, folder / str(attempt), kill_at,
                                       rng.choice(TRIGGERS)))
                server.stop()
                server = restarted(server, f"{servers}/{attempt}")
        finally:
            server.stop()
    assert set(statuses) == {0, 1}, statuses  # kills before and after the switch
