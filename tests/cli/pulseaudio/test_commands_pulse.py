"""orvel-sound's commands on a private sound server, checked with pactl."""

import base64
import json
import os
import queue
import re
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


def save(folder, settings):
    assert run("--save", str(folder), stdin=json.dumps(settings) + "\n") == \
        (0, [{"type": "saved"}])


def state(server):
    """The defaults and every sink's channel volumes, as pactl tells them."""
    volumes = {name: server.pactl("get-sink-volume", name).splitlines()[0]
               for name in ("desk_speakers", "tv_surround")}
    defaults = server.pactl("get-default-sink"), server.pactl("get-default-source")
    return defaults, volumes


class Switch:
    """A running `--switch DIR`, its lines read in the background."""

    def __init__(self, folder):
        self.proc = subprocess.Popen([TOOL, "--switch", str(folder)], stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, text=True)
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.proc.stdout:
            self.lines.put(json.loads(line))

    def line(self):
        return self.lines.get(timeout=WAIT)

    def finish(self):
        """The restored line, after checking the exit status and that nothing else came."""
        restored = self.line()
        assert self.proc.wait(timeout=WAIT) == 0
        time.sleep(0.1)
        assert self.lines.empty()
        return restored

    def kill(self):
        if self.proc.poll() is None:
            self.proc.kill()
        self.proc.wait(timeout=WAIT)


@pytest.fixture
def switches():
    """Starts `--switch DIR` runs and kills whichever still runs at the end."""
    started = []

    def start(folder):
        started.append(Switch(folder))
        return started[-1]

    yield start
    for switch in started:
        switch.kill()


def test_devices_lists_sinks_and_sources(pulse_server):
    status, lines = run("--devices")
    assert status == 0
    devices = {d["uid"]: d for d in lines}
    assert set(devices) == {"desk_speakers", "tv_surround", "desk_mic"}  # no monitors
    assert [d["uid"] for d in lines][:2] == ["desk_speakers", "tv_surround"]
    assert devices["desk_speakers"] == {"uid": "desk_speakers", "name": "Desk Speakers",
                                        "outputs": 2, "inputs": 0, "rate": 48000.0,
                                        "rates": [48000.0]}
    assert devices["tv_surround"] == {"uid": "tv_surround", "name": "Télé du Salon",
                                      "outputs": 6, "inputs": 0, "rate": 44100.0,
                                      "rates": [44100.0]}
    assert devices["desk_mic"] == {"uid": "desk_mic", "name": "Desk Microphone",
                                   "outputs": 0, "inputs": 1, "rate": 48000.0,
                                   "rates": [48000.0]}


def test_read_gives_the_defaults(pulse_server):
    assert pulse_server.pactl("set-sink-volume", "desk_speakers", "25%") == ""
    status, lines = run("--read")
    assert status == 0 and len(lines) == 1 and lines[0]["type"] == "settings"
    output, input_ = lines[0]["settings"]["output"], lines[0]["settings"]["input"]
    assert (output["uid"], output["name"], output["rate"]) == \
        ("desk_speakers", "Desk Speakers", 48000.0)
    assert output["volume"] == {"0": pytest.approx(0.25, abs=1e-4)}
    assert base64.b64decode(output["layout"]) == b"front-left,front-right"
    assert (input_["uid"], input_["name"], input_["rate"]) == \
        ("desk_mic", "Desk Microphone", 48000.0)


def test_read_gives_uneven_channel_volumes(pulse_server):
    pulse_server.pactl("set-default-sink", "tv_surround")
    time.sleep(0.1)
    output = run("--read")[1][0]["settings"]["output"]
    assert output["uid"] == "tv_surround"
    assert output["volume"] == {str(k): pytest.approx(v, abs=1e-4) for k, v in
                                enumerate([0.5, 0.6, 0.7, 0.8, 0.9, 1.0], start=1)}
    assert base64.b64decode(output["layout"]) == \
        b"front-left,front-right,rear-left,rear-right,front-center,lfe"


@pytest.mark.parametrize("trigger", ["line", "eof", "sigterm"])
def test_switch_then_every_trigger_restores_exactly(pulse_server, switches, tmp_path,
                                                    trigger):
    before = state(pulse_server)
    save(tmp_path, {"output": {"uid": "tv_surround", "volume": {"0": 0.3}}})
    switch = switches(tmp_path)
    switched = switch.line()
    assert switched["type"] == "switched" and switched["snapshot"] == "taken"
    assert switched["skipped"] == [] and len(switched["applied"]) == 2
    assert pulse_server.pactl("get-default-sink") == "tv_surround"
    assert pulse_server.pactl("get-sink-volume", "tv_surround").count("/  30% /") == 6
    if trigger == "line":
        switch.proc.stdin.write("restore\n")
        switch.proc.stdin.flush()
    elif trigger == "eof":
        switch.proc.stdin.close()
    else:
        switch.proc.send_signal(signal.SIGTERM)
    restored = switch.finish()
    assert restored["type"] == "restored" and restored["skipped"] == []
    assert state(pulse_server) == before


def test_single_channel_volumes_switch_and_restore(pulse_server, switches, tmp_path):
    before = state(pulse_server)
    save(tmp_path, {"output": {"uid": "tv_surround", "volume": {"1": 0.1, "3": 0.25}}})
    switch = switches(tmp_path)
    assert switch.line()["skipped"] == []
    volumes = pulse_server.pactl("get-sink-volume", "tv_surround").splitlines()[0]
    assert re.findall(r"(\d+)%", volumes) == ["10", "60", "25", "80", "90", "100"]
    switch.proc.stdin.write("restore\n")
    switch.proc.stdin.flush()
    assert switch.finish()["type"] == "restored"
    assert state(pulse_server) == before


def test_a_second_switch_after_a_crash_keeps_the_snapshot(pulse_server, switches, tmp_path):
    before = state(pulse_server)
    save(tmp_path, {"output": {"uid": "tv_surround", "volume": {"0": 0.3}}})
    first = switches(tmp_path)
    assert first.line()["snapshot"] == "taken"
    first.kill()  # a crash: no restore
    second = switches(tmp_path)
    assert second.line() == {"type": "switched", "snapshot": "kept", "applied": [],
                             "skipped": []}
    second.proc.stdin.close()
    assert second.finish()["type"] == "restored"
    assert state(pulse_server) == before


def test_the_current_settings_switched_to_are_kept(pulse_server, switches, tmp_path):
    before = state(pulse_server)
    save(tmp_path, run("--read")[1][0]["settings"])
    switch = switches(tmp_path)
    assert switch.line() == {"type": "switched", "snapshot": "kept", "applied": [],
                             "skipped": []}
    assert not (tmp_path / "snapshot.json").exists()
    switch.proc.stdin.close()
    assert switch.finish() == {"type": "restored", "applied": [],
                               "skipped": ["no snapshot to put back"]}
    assert state(pulse_server) == before


def test_rate_and_layout_the_server_cant_change_are_skipped(pulse_server, switches,
                                                            tmp_path):
    layout = base64.b64encode(b"front-left,front-right").decode()
    save(tmp_path, {"output": {"uid": "tv_surround", "rate": 96000, "layout": layout}})
    switch = switches(tmp_path)
    switched = switch.line()
    assert switched["type"] == "switched" and len(switched["skipped"]) == 2
    assert any("96000 Hz" in entry for entry in switched["skipped"])
    assert any("layout" in entry for entry in switched["skipped"])
    assert not any("Hz" in e or "layout" in e for e in switched["applied"])
    assert pulse_server.pactl("get-default-sink") == "tv_surround"
    switch.proc.stdin.close()
    assert switch.finish()["type"] == "restored"


def test_sigterm_restores_even_when_the_server_is_gone(pulse_server, switches, tmp_path):
    save(tmp_path, {"output": {"uid": "tv_surround", "volume": {"0": 0.3}}})
    switch = switches(tmp_path)
    assert switch.line()["snapshot"] == "taken"
    pulse_server.stop()
    started = time.monotonic()
    switch.proc.send_signal(signal.SIGTERM)
    assert switch.finish()["type"] == "restored"
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
