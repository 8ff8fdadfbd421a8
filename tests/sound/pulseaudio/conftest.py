"""pytest fixtures: a private sound server per test, never the user's own.

`private_server` starts one with the private-server script beside this file
(once per server kind that is installed), points os.environ at it while the
test runs, and stops it afterwards. It yields a PrivateServer: its `env`
(PULSE_SERVER and friends, for child processes such as the tool or pactl),
`pactl(*args)` and `stop()`.
"""

import os
import shutil
import subprocess
import tempfile
from pathlib import Path

import pytest

SCRIPT = Path(__file__).with_name("private-server")
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
def private_server(request, monkeypatch):
    kind = request.param
    if shutil.which(kind) is None:
        pytest.skip(f"{kind} is not installed")
    with tempfile.TemporaryDirectory(prefix="orvel-pulse-") as folder:
        server = PrivateServer(kind, folder)
        try:
            for key, value in server.env.items():
                monkeypatch.setenv(key, value)
            yield server
        finally:
            server.stop()
