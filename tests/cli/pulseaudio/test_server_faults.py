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
SETTINGS = {"output": {"uid": "tv_surround", "volume": {"0": 0.3}}, "input": {"uid": "desk_mic"}}
TRIGGERS = [lambda p: p.stdin.write(b"restore\n"), lambda p: p.send_signal(signal.SIGTERM),
            lambda p: None]  # the last: communicate() ends the input


def switch(server, folder, kill_at, trigger):
    # Writes orvel.json, starts a switch, SIGKILLs the server kill_at seconds later
    # (before the start when negative, never from WAIT on), triggers the restore;
    # gives the exit status.
    env = {**os.environ, **server.env}
    folder.mkdir()
    (folder / "orvel.json").write_text(json.dumps(SETTINGS))
    if kill_at < 0:
        os.kill(server.pid(), signal.SIGKILL)
    # Started with SIGTERM blocked, as the tool blocks it itself at once: one sent
    # before that (between exec and the switch's start) would end it by the signal.
    p = subprocess.Popen([TOOL, "--switch", folder], stdin=subprocess.PIPE,
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=env, bufsize=0,
                         preexec_fn=lambda: signal.pthread_sigmask(signal.SIG_BLOCK,
                                                                   {signal.SIGTERM}))
    try:
        if 0 <= kill_at < WAIT:
            time.sleep(kill_at)
            os.kill(server.pid(), signal.SIGKILL)
        try:
            trigger(p)
        except BrokenPipeError:
            pass  # the tool has ended already, after an error
        out, err = p.communicate(timeout=WAIT)  # never a hang
    finally:
        p.kill()
        p.wait(timeout=WAIT)
    types = [json.loads(line)["type"] for line in out.splitlines()]
    assert err == b"" and (p.returncode, types) in [(0, ["switched", "restored"]), (1, ["error"])]
    return p.returncode


def test_server_killed_at_any_instant_of_a_switch(pulse_server):
    rng, server, folder = random.Random(5), pulse_server, Path(pulse_server.folder)
    began, statuses = time.monotonic(), []
    assert switch(server, folder / "measure", WAIT, TRIGGERS[0]) == 0
    span = time.monotonic() - began  # a whole switch and restore
    with tempfile.TemporaryDirectory(prefix="orvel-cli-pulse-") as servers:
        try:
            for attempt in range(RUNS):  # from before the start to after the switched line
                kill_at = span * (1.4 * attempt / (RUNS - 1) - 0.2 + rng.uniform(0, 0.1))
                statuses.append(switch(server, folder / str(attempt), kill_at,
                                       rng.choice(TRIGGERS)))
                server.stop()
                try:  # a new server; on a loaded machine a start now and then fails
                    server = type(server)(server.kind, f"{servers}/{attempt}")
                except RuntimeError:
                    server = type(server)(server.kind, f"{servers}/{attempt}-again")
        finally:
            server.stop()
    assert set(statuses) == {0, 1}, statuses  # kills before and after the switch
