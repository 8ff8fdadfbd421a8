"""orvel-sound when its sound server hangs, dies or is missing, or a device goes away."""
import json
import os
import random
import signal
import subprocess
import tempfile
import time
from pathlib import Path

import pytest

from pulse_tool import (DEADLINE, NOT_ANSWERING, ORVEL, THIRTY, TOOL, WAIT, ending, error, put,
                        restore, restored, run, state)

RUNS = 12
TRIGGERS = [lambda p: p.stdin.write(b"restore\n"), lambda p: p.send_signal(signal.SIGTERM),
            lambda p: None]  # the last: communicate() ends the input


def switch_and_kill(server, folder, kill_at, trigger):
    # Writes orvel.json, starts a switch, SIGKILLs the server kill_at seconds later
    # (before the start when negative, never from WAIT on), triggers the restore;
    # gives the exit status.
    env = {**os.environ, **server.env}
    folder.mkdir()
    (folder / "orvel.json").write_text(json.dumps(ORVEL))
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
    lines = [json.loads(line) for line in out.splitlines()]
    types = [line["type"] for line in lines]
    assert err == b"" and (p.returncode, types) in [(0, ["switched", "restored"]), (1, ["error"])]
    # A switch is owed exactly while "switched" stays: an error comes before it is written.
    assert (folder / "switched").exists() == (p.returncode == 0 and not lines[1]["complete"])
    return p.returncode


def test_server_killed_at_any_instant_of_a_switch(pulse_server):
    rng, server, folder = random.Random(5), pulse_server, Path(pulse_server.folder)
    began, statuses = time.monotonic(), []
    assert switch_and_kill(server, folder / "measure", WAIT, TRIGGERS[0]) == 0
    span = time.monotonic() - began  # a whole switch and restore
    with tempfile.TemporaryDirectory(prefix="orvel-cli-pulse-") as servers:
        try:
            for attempt in range(RUNS):  # from before the start to after the switched line
                kill_at = span * (1.4 * attempt / (RUNS - 1) - 0.2 + rng.uniform(0, 0.1))
                statuses.append(switch_and_kill(server, folder / str(attempt), kill_at,
                                                rng.choice(TRIGGERS)))
                server.stop()
                try:  # a new server; on a loaded machine a start now and then fails
                    server = type(server)(server.kind, f"{servers}/{attempt}")
                except RuntimeError:
                    server = type(server)(server.kind, f"{servers}/{attempt}-again")
        finally:
            server.stop()
    assert set(statuses) == {0, 1}, statuses  # kills before and after the switch


def test_no_server_is_an_error_line_at_once(monkeypatch, tmp_path):
    # A missing socket fails the connect: no command waits for an answer, none changes a file.
    monkeypatch.setenv("PULSE_SERVER", f"unix:{tmp_path}/none")
    (tmp_path / "orvel.json").write_text(json.dumps(ORVEL))
    for args in [["--read"], ["--devices"], ["--save", tmp_path], ["--switch", tmp_path]]:
        assert run(*args, stdin=json.dumps(ORVEL) + "\n", timeout=DEADLINE) == (
            1, error(NOT_ANSWERING)), args
    assert sorted(p.name for p in tmp_path.iterdir()) == [".lock", "orvel.json"]


@pytest.mark.parametrize("fault, back_first", [
    ("SIGSTOP", False), ("SIGKILL", False), ("SIGKILL", True)], ids=["hung", "killed", "restarted"])
def test_a_restore_the_server_misses_stays_owed_until_one_answers(pulse_server, switch, tmp_path,
                                                                  fault, back_first):
    # The user's channel balance on the default sink, which Orvel sets to 30 % as a whole.
    pulse_server.pactl("set-sink-volume", "desk_speakers", "50%", "40%")
    before = state(pulse_server)
    running = switch(ORVEL)[0]
    left = state(pulse_server)
    assert left == ("tv_surround", "desk_mic",
                    {"desk_speakers": [THIRTY] * 2, "tv_surround": [THIRTY] * 6})
    server = pulse_server
    os.kill(server.pid(), getattr(signal, fault))

    def back():  # the server goes on, or a new one holds what the switch left, as a desktop's
        if fault == "SIGSTOP":
            os.kill(server.pid(), signal.SIGCONT)
            return server
        server.stop()
        fresh = type(server)(server.kind, server.folder)  # the same socket
        put(fresh, left)
        return fresh

    if back_first:  # the switch finds the new server itself
        server = back()
    running.p.stdin.close()
    first = ending(restored(running))
    if not back_first:
        assert first == (False, [NOT_ANSWERING], []) and (tmp_path / "switched").exists()
        assert run("--read") == (1, error(NOT_ANSWERING))
        server = back()
        first = restore(tmp_path)
    assert first == (True, [], []) and not (tmp_path / "switched").exists()
    assert state(server) == before


def unplug(server, sink):
    # Unloads the null sink's module, as a USB device goes; gives its arguments for plug().
    module = next(line.split("\t") for line in server.pactl("list", "short", "modules").splitlines()
                  if f"sink_name={sink} " in line)
    server.pactl("unload-module", module[0])
    return module[2]


@pytest.mark.parametrize("pulse_server", ["pulseaudio"], indirect=True)
@pytest.mark.parametrize("gone, defaults, entry", [  # the default once it's gone, once restored
    ("desk_speakers", ["tv_surround"] * 2, "the output Desk Speakers: not connected"),
    # The server moves the default itself; the user's comes back all the same.
    ("tv_surround", ["spare", "desk_speakers"], "Télé du Salon: not connected")],
    ids=["users", "orvels"])
def test_a_device_unplugged_during_the_switch_is_owed_until_it_is_back(pulse_server, switch,
                                                                       tmp_path, gone, defaults,
                                                                       entry):
    # As on a desktop, a device comes back with the volumes it had, and a sound card (the
    # spare sink) is the server's pick for the default before a null sink.
    pulse_server.pactl("load-module", "module-device-restore")
    pulse_server.pactl("load-module", "module-null-sink", "sink_name=spare",
                       "sink_properties=device.class=sound")
    pulse_server.pactl("set-sink-volume", "desk_speakers", "50%", "40%")
    before = state(pulse_server)
    running = switch(ORVEL)[0]
    plug = unplug(pulse_server, gone)
    moved = pulse_server.pactl("get-default-sink")
    running.p.stdin.close()
    owed = (False, [entry], [])
    assert ending(restored(running)) == owed
    assert [moved, pulse_server.pactl("get-default-sink")] == defaults
    assert restore(tmp_path) == owed  # still gone: still owed
    pulse_server.pactl("load-module", "module-null-sink", plug)
    assert restore(tmp_path) == (True, [], []) and state(pulse_server) == before
    assert not (tmp_path / "switched").exists()
