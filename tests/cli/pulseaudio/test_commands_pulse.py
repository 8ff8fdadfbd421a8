"""orvel-sound's commands on a private sound server, checked with pactl."""
import base64
import json
import os
import queue
import signal
import subprocess
import threading
import time

import pytest

TOOL = os.path.join(os.environ.get("ORVEL_BUILD", "/work/main/build"), "orvel-sound")
WAIT = 5  # seconds, the bound of every wait


def run(*args, stdin=""):
    out = subprocess.run([TOOL, *args], input=stdin, capture_output=True, text=True,
                         timeout=WAIT)
    return out.returncode, [json.loads(line) for line in out.stdout.splitlines()]


def state(server):
    # The defaults and every sink's channel volumes, as pactl tells them.
    return (server.pactl("get-default-sink"), server.pactl("get-default-source"),
            [server.pactl("get-sink-volume", name) for name in ("desk_speakers", "tv_surround")])


@pytest.fixture
def switch(tmp_path):
    # Saves the settings given, starts `--switch DIR` and returns it with its first line;
    # its lines are read in the background and it is killed at the end if it still runs.
    started = []

    def start(settings):
        assert run("--save", str(tmp_path), stdin=json.dumps(settings) + "\n") == \
            (0, [{"type": "saved"}])
        proc = subprocess.Popen([TOOL, "--switch", str(tmp_path)], stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, text=True)
        proc.lines = queue.Queue()
        threading.Thread(target=lambda: [proc.lines.put(json.loads(line))
                                         for line in proc.stdout], daemon=True).start()
        started.append(proc)
        return proc, proc.lines.get(timeout=WAIT)

    yield start
    for proc in started:
        proc.kill()
        proc.wait(timeout=WAIT)


def restored(proc):
    # The restored line, after checking the exit status and that nothing else came.
    line = proc.lines.get(timeout=WAIT)
    assert proc.wait(timeout=WAIT) == 0 and line["type"] == "restored"
    time.sleep(0.1)
    assert proc.lines.empty()
    return line


def test_devices_and_read(pulse_server):
    assert run("--devices") == (0, [  # sinks, then sources; no monitors
        dict(zip(["uid", "name", "outputs", "inputs", "rate", "rates"], device)) for device in [
            ("desk_speakers", "Desk Speakers", 2, 0, 48000.0, [48000.0]),
            ("tv_surround", "Télé du Salon", 6, 0, 44100.0, [44100.0]),
            ("desk_mic", "Desk Microphone", 0, 1, 48000.0, [48000.0])]])
    assert pulse_server.pactl("set-sink-volume", "desk_speakers", "25%") == ""
    status, lines = run("--read")
    assert status == 0 and len(lines) == 1 and lines[0]["type"] == "settings"
    output, input_ = lines[0]["settings"]["output"], lines[0]["settings"]["input"]
    assert (output["uid"], output["name"], output["rate"]) == \
        ("desk_speakers", "Desk Speakers", 48000.0)
    assert output["volume"] == {"0": pytest.approx(0.25, abs=1e-4)}
    assert base64.b64decode(output["layout"]) == b"front-left,front-right"
    assert (input_["uid"], input_["name"], input_["rate"]) == ("desk_mic", "Desk Microphone", 48e3)


@pytest.mark.parametrize("trigger", ["line", "eof", "sigterm"])
def test_switch_then_every_trigger_restores_exactly(pulse_server, switch, trigger):
    before = state(pulse_server)
    proc, switched = switch({"output": {"uid": "tv_surround", "volume": {"0": 0.3}}})
    assert switched["type"] == "switched" and switched["snapshot"] == "taken"
    assert switched["skipped"] == [] and len(switched["applied"]) == 2
    assert pulse_server.pactl("get-default-sink") == "tv_surround"
    assert pulse_server.pactl("get-sink-volume", "tv_surround").count("/  30% /") == 6
    if trigger == "line":
        proc.stdin.write("restore\n")
        proc.stdin.flush()
    elif trigger == "eof":
        proc.stdin.close()
    else:
        proc.send_signal(signal.SIGTERM)
    assert restored(proc)["skipped"] == [] and state(pulse_server) == before


def test_the_current_settings_switched_to_are_kept(pulse_server, switch, tmp_path):
    before = state(pulse_server)
    proc, switched = switch(run("--read")[1][0]["settings"])
    assert switched == {"type": "switched", "snapshot": "kept", "applied": [], "skipped": []}
    assert not (tmp_path / "snapshot.json").exists()
    proc.stdin.close()
    assert restored(proc)["skipped"] == ["no snapshot to put back"]
    assert state(pulse_server) == before


def test_rate_and_layout_the_server_cant_change_are_skipped(pulse_server, switch):
    layout = base64.b64encode(b"front-left,front-right").decode()
    proc, switched = switch({"output": {"uid": "tv_surround", "rate": 96000, "layout": layout}})
    assert switched["type"] == "switched" and len(switched["skipped"]) == 2
    assert [any(w in e for e in switched["skipped"]) for w in ("96000 Hz", "layout")] == [1, 1]
    assert not any("Hz" in e or "layout" in e for e in switched["applied"])
    assert pulse_server.pactl("get-default-sink") == "tv_surround"
    proc.stdin.close()
    restored(proc)


def test_sigterm_restores_even_when_the_server_is_gone(pulse_server, switch):
    proc, switched = switch({"output": {"uid": "tv_surround", "volume": {"0": 0.3}}})
    assert switched["snapshot"] == "taken"
    pulse_server.stop()
    started = time.monotonic()
    proc.send_signal(signal.SIGTERM)
    restored(proc)
    assert time.monotonic() - started < WAIT


def test_no_server_reads_nothing_quickly(tmp_path, monkeypatch):
    # A socket that isn't there; the folders lie in tmp_path, away from the user's server.
    monkeypatch.setenv("PULSE_SERVER", f"unix:{tmp_path}/none")
    for key, folder in [("HOME", "home"), ("XDG_RUNTIME_DIR", "run"),
                        ("PULSE_RUNTIME_PATH", "run/pulse"), ("PULSE_STATE_PATH", "state")]:
        (tmp_path / folder).mkdir(parents=True, exist_ok=True)
        monkeypatch.setenv(key, str(tmp_path / folder))
    started = time.monotonic()
    assert run("--read") == (0, [{"settings": {}, "type": "settings"}])
    assert run("--devices") == (0, [])
    assert time.monotonic() - started < 3
