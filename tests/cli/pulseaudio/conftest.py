# The command-level tests run on the private servers of the backend's tests, under a
# fixture name of their own so that it can't clash with the fixtures of tests/cli: a
# private server of each installed kind, pointed at by os.environ, stopped afterwards.
import importlib.util
import shutil
import tempfile
from pathlib import Path

import pytest

_SOURCE = Path(__file__).resolve().parents[2] / "sound" / "pulseaudio" / "conftest.py"
_spec = importlib.util.spec_from_file_location("orvel_private_server", _SOURCE)
_module = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(_module)


@pytest.fixture(params=_module.KINDS)
def pulse_server(request, monkeypatch):
    if shutil.which(request.param) is None:
        pytest.skip(f"{request.param} is not installed")
    with tempfile.TemporaryDirectory(prefix="orvel-cli-pulse-") as folder:
        server = _module.PrivateServer(request.param, folder)
        try:
            for key, value in server.env.items():
                monkeypatch.setenv(key, value)
            yield server
        finally:
            server.stop()
