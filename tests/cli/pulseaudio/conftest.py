"""Fixtures: `pulse_server`, a private sound server of each installed kind per test, never
the user's own, started by tests/sound/pulseaudio/private-server (os.environ points at it);
`switch`, running switches."""
import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import pytest

SCRIPT = Path(__file__).resolve().parents[2] / "sound" / "pulseaudio" / "private-server"
sys.path.append(str(Path(__file__).resolve().parents[1]))  # the helpers in sim_tool
from sim_tool import Running  # noqa: E402
from pulse_tool import TOOL  # noqa: E402


class PrivateServer:
    # `env`: PULSE_SERVER and friends; `folder`: the script's DIR.
    def __init__(self, kind, folder):
        self.kind, self.folder = kind, folder
        out = subprocess.run([SCRIPT, "start", folder, kind], capture_output=True, text=True,
                             timeout=30)
        if out.returncode != 0:
            raise RuntimeError(f"private {kind} server did not start: {out.stderr}")
        self.env = dict(line.split("=", 1) for line in out.stdout.splitlines() if "=" in line)

    def pactl(self, *args):  # its output; a refusal fails the test
        out = subprocess.run(["pactl", *args], env={**os.environ, **self.env}, text=True,
                             capture_output=True, timeout=10)
        assert out.returncode == 0, f"pactl {args}: {out.stderr}"
        return out.stdout.strip()

    def stop(self):
        subprocess.run([SCRIPT, "stop", self.folder], timeout=30)

    def pid(self):  # of the process that speaks the pulse protocol, the script's last
        return int(Path(self.folder, "pids").read_text().split()[-1])


@pytest.fixture(params=["pulseaudio", "pipewire"])
def pulse_server(request, monkeypatch):
    if shutil.which(request.param) is None:
        pytest.skip(f"{request.param} is not installed")
    with tempfile.TemporaryDirectory(prefix="orvel-cli-pulse-") as folder:
        server = PrivateServer(request.param, folder)
        try:
            for key, value in server.env.items():
                monkeypatch.setenv(key, value)
            yield server
        finally:
            server.stop()


@pytest.fixture
def switch(tmp_path):
    # Writes the settings given as orvel.json (as by hand: no --save check), starts
    # `--switch DIR` and gives it with its first line; it is killed at the end.
    started = []

    def start(settings):
        (tmp_path / "orvel.json").write_text(json.dumps(settings))
        started.append(Running(subprocess.Popen([TOOL, "--switch", tmp_path], bufsize=0, **{
            stream: subprocess.PIPE for stream in ("stdin", "stdout", "stderr")})))
        return started[-1], json.loads(started[-1].read(1)[0])

    yield start
    for running in started:
        running.close()
