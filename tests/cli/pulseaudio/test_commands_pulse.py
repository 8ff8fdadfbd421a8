"""orvel-sound's commands on a private sound server, checked with pactl."""
import base64
import json
import os
import random
import signal
import subprocess
import time

import pytest

from pulse_tool import NORM, THIRTY, TOOL, ending, restored, run, state
from sim_tool import Running


def test_devices_read_and_names_of_no_device(pulse_server, tmp_path):
    assert run("--devices") == (0, [  # sinks, then sources; no monitors
        dict(zip(["uid", "name", "outputs", "inputs", "rate", "rates"], device)) for device in [
            ("desk_speakers", "Desk Speakers", 2, 0, 48000.0, [48000.0]),
            ("tv_surround", "Télé du Salon", 6, 0, 44100.0, [44100.0]),
            ("desk_mic", "Desk Microphone", 0, 1, 48000.0, [48000.0])]])
    pulse_server.pactl("set-sink-volume", "desk_speakers", "25%")
    assert run("--read") == (0, [{"type": "settings", "settings": {
        "input": {"uid": "desk_mic", "name": "Desk Microphone", "rate": 48000.0},
        "output": {"uid": "desk_speakers", "name": "Desk Speakers", "rate": 48000.0,
                   "layout": base64.b64encode(b"front-left,front-right").decode(),
                   "volume": {"0": pytest.approx(0.25, abs=1e-4)}}}}])
    for uid in ["no_such_device", "", "0", "1", "0x1", "@DEFAULT_SINK@"]:  # not even an index
        assert run("--save", tmp_path, stdin=json.dumps({"output": {"uid": uid}})) == (
            1, [{"message": f"{uid} isn't a connected output", "type": "error"}])


TRIGGERS = {"line": lambda p: p.stdin.write(b"restore\n"),
            "eof": lambda p: p.stdin.close(), "sigterm": lambda p: p.send_signal(signal.SIGTERM)}


@pytest.mark.parametrize("trigger", TRIGGERS)
def test_switch_then_every_trigger_restores_exactly(pulse_server, switch, trigger):
    before, tv = state(pulse_server), "the output tv_surround"  # no name given
    running, switched = switch({"input": {"uid": "desk_speakers.monitor"}, "output": {
        "uid": "tv_surround", "rate": 96000, "layout": "AAAA",
        "volume": {"0": 0.3, "1": 1.5, "2": 1e9, "7": 0.5}}})  # all, two too loud, none
    assert switched == {"type": "switched", "snapshot": "taken", "applied": [
        f"{tv} as the default", f"{tv}'s volume", f"{tv}'s volume", f"{tv}'s volume",
        "the input desk_speakers.monitor as the default"], "skipped": [  # no rate, no layout
        f"{tv} at 96000 Hz", f"{tv}'s channel layout", f"{tv}'s volume"]}
    sink, source, volumes = state(pulse_server)  # never beyond 100 %
    assert (sink, source, volumes["tv_surround"]) == (
        "tv_surround", "desk_speakers.monitor", [NORM, NORM] + [THIRTY] * 4)
    TRIGGERS[trigger](running.p)
    assert ending(restored(running)) == (True, [], []) and state(pulse_server) == before


def test_the_current_settings_switched_to_change_nothing(pulse_server, switch, tmp_path):
    # What --read gives matches the machine within the tolerances: nothing to apply or put back.
    before = state(pulse_server)
    running, switched = switch(run("--read")[1][0]["settings"])
    assert switched == {"type": "switched", "snapshot": "taken", "applied": [], "skipped": []}
    running.p.stdin.close()
    assert restored(running) == {"type": "restored", "applied": [], "skipped": [], "left": [],
                                 "complete": True}
    assert state(pulse_server) == before and not (tmp_path / "switched").exists()


def test_two_switches_of_one_folder_lose_nothing(pulse_server, tmp_path):
    # As by a host started twice: both switched and restored in a random order, the
    # user's settings come back whole and stay in snapshot.json.
    rng = random.Random(9)
    orvel = {"output": {"uid": "tv_surround", "volume": {"0": 0.3}}, "input": {"uid": "desk_mic"}}
    for attempt in range(int(os.environ.get("ORVEL_RACE_RUNS", "200")) // 8):
        # Never Orvel's 30 %: a volume within 0.001 of the one wanted is held, and stays.
        volumes = [f"{rng.randrange(35, 100)}%" for _ in range(7)]
        pulse_server.pactl("set-sink-volume", "desk_speakers", volumes[0])
        pulse_server.pactl("set-sink-volume", "tv_surround", *volumes[1:])
        before = state(pulse_server)
        folder = tmp_path / str(attempt)
        folder.mkdir()
        (folder / "orvel.json").write_text(json.dumps(orvel))
        runs = [Running(subprocess.Popen([TOOL, "--switch", folder], bufsize=0, **{
            stream: subprocess.PIPE for stream in ("stdin", "stdout", "stderr")}))
            for _ in range(2)]
        try:
            for one in runs:
                assert json.loads(one.read(1)[0])["type"] == "switched"
            for one in rng.sample(runs, 2):
                time.sleep(rng.uniform(0, 0.01))
                rng.choice(list(TRIGGERS.values()))(one.p)
            for one in runs:
                assert restored(one)["complete"]
        finally:
            for one in runs:
                one.close()
        assert state(pulse_server) == before, attempt
        # Its copy for reading shows the user's values: "0" is the loudest channel.
        tv = [level / NORM for level in before[2]["tv_surround"]]
        assert json.loads((folder / "snapshot.json").read_text()) == {
            "output": {"uid": "desk_speakers", "name": "Desk Speakers"},
            "input": {"uid": "desk_mic", "name": "Desk Microphone"},
            "others": [{"uid": "tv_surround", "name": "Télé du Salon", "volume": pytest.approx(
                {str(key): level for key, level in enumerate([max(tv), *tv])}, abs=1e-6)}]}
        assert sorted(p.name for p in folder.iterdir()) == [".lock", "orvel.json", "snapshot.json"]
