"""The command-level tests run on the private servers of the backend's tests.

`pulse_server` is that fixture under a name of its own, so that it can't clash
with the fixtures of tests/cli: it starts a private server of each installed
kind, points os.environ at it, and stops it afterwards.
"""

import importlib.util
import shutil
import tempfile
from pathlib import Path

import pytest

_SOURCE = Path(__file__).resolve().parents[2] / "sound" / "pulseaudio" / "conftest.py"
_spec = importlib.util.spec_from_file_location("orvel_private_server", _SOURCE)
_module = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(_module)
PrivateServer = _module.PrivateServer


@pytest.fixture(params=_module.KINDS)
def pulse_server(request, monkeypatch):
    kind = request.param
    if shutil.which(kind) is None:
        pytest.skip(f"{kind} is not installed")
    with tempfile.TemporaryDirectory(prefix="orvel-cli-pulse-") as folder:
        server = PrivateServer(kind, folder)
        try:
            for key, value in server.env.items():
                monkeypatch.setenv(key, value)
            yield server
        finally:
            server.stop()
