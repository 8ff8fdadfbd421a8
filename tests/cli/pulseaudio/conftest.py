"""pytest fixture `pulse_server`: a private sound server per test, never the user's own.

It starts one with tests/sound/pulseaudio/private-server (once per installed server
kind), points os.environ at it while the test runs, and stops it afterwards. It yields
a PrivateServer: its `env` (PULSE_SERVER and friends), `pactl(*args)` and `stop()`.
"""

import os
import shutil
import subprocess
import tempfile
from pathlib import Path

import pytest

SCRIPT = Path(__file__).resolve().parents[2] / "sound" / "pulseaudio" / "private-server"
KINDS = ["pulseaudio", "pipewire"]


class PrivateServer:
    def __init__(self, kind, folder):
        self.kind = kind
        self.folder = folder
        out = subprocess.run([SCRIPT, "start", folder, kind], capture_output=True,
                             text=True, timeout=30)
        if out.returncode != 0:
            raise RuntimeError(f"private {kind} server did not start: {out.stderr}")
        pairs = (line.split("=", 1) for line in out.stdout.splitlines() if "=" in line)
        self.env = dict(pairs)

    def pactl(self, *args):
        env = {**os.environ, **self.env}
        return subprocess.run(["pactl", *args], env=env, capture_output=True, text=True,
                              timeout=10).stdout.strip()

    def stop(self):
        subprocess.run([SCRIPT, "stop", self.folder], timeout=30)


@pytest.fixture(params=KINDS)
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
