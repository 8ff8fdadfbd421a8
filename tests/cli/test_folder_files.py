"""orvel-sound-sim in a working folder where others left things: a FIFO at a file's
path, a folder or another user's file at .lock, a file system without locks."""
import fcntl
import json
import os
import shutil
import tempfile
from pathlib import Path

import pytest

from sim_tool import BUILD, DESK, EXE, SAVED, error

BUSY = error("another orvel-sound is using the folder, so nothing was changed")
REFUSED = error("couldn't lock the folder, so nothing was changed")
PATIENCE = {"ORVEL_SOUND_LOCK_PATIENCE_MS": "300"}
NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]


class Held:
    # The file locked by this process, as another orvel-sound would hold it.

    def __init__(self, path):
        self.fd = os.open(path, os.O_RDONLY | os.O_CREAT, 0o644)

    def __enter__(self):
        fcntl.flock(self.fd, fcntl.LOCK_EX)

    def __exit__(self, *_):
        os.close(self.fd)


def json_lines(out):
    lines = [json.loads(text) for text in out.splitlines()]
    assert lines
    return lines


def test_a_folder_at_the_lock_refuses_the_save(desk):
    (desk.dir / ".lock").unlink()
    (desk.dir / ".lock").mkdir()
    before = desk.entries()
    assert desk.save(dict(DESK, input={"uid": "mic-uid"})) == (REFUSED, 1)
    assert desk.entries() == before


def test_roots_lock_serves_another_user(tool):
    if os.geteuid() != 0:
        pytest.skip("running as another user needs root")
    home = Path(tempfile.mkdtemp())  # where nobody may look, unlike pytest's own folders
    try:
        home.chmod(0o755)
        shutil.copy(tool.machine_path, home / "machine.json")
        tool.env.update(PATIENCE, ORVEL_SOUND_SIM_MACHINE=str(home / "machine.json"))
        tool.dir = home / "work"
        tool.dir.mkdir()
        os.chown(tool.dir, 65534, 65534)
        (tool.dir / ".lock").touch(0o644)  # root's: others may only read it

        def save():
            run = tool.start(argv=[*NOBODY, EXE, "--save", tool.dir],
                             stdin=json.dumps(DESK).encode() + b"\n")
            return run.finish(), run.out

        with Held(tool.dir / ".lock"):
            assert save() == (1, BUSY)
        assert save() == (0, SAVED)
    finally:
        shutil.rmtree(home)


def test_without_locks_the_runtime_folder_holds_the_lock(tool):
    shim = Path(BUILD) / "liborvel-nolock.so"
    assert shim.exists(), "the build makes the shim on Linux"
    runtime = tool.tmp / "runtime"
    runtime.mkdir(mode=0o700)
    tool.env.update(PATIENCE, LD_PRELOAD=str(shim), XDG_RUNTIME_DIR=str(runtime))
    assert tool.save(DESK) == (SAVED, 0)
    [lock] = runtime.iterdir()
    with Held(lock):
        assert tool.save(DESK) == (BUSY, 1)


@pytest.mark.parametrize("planted", ["orvel.json", "snapshot.json", ".switched.tmp"])
def test_no_fifo_makes_a_command_wait(desk, planted):
    # Each run must end in time, with 0 or 1 and nothing on stderr (sim_tool checks).
    def plant():
        (desk.dir / planted).unlink(missing_ok=True)
        os.mkfifo(desk.dir / planted)

    plant()
    run = desk.switch()
    run.p.stdin.close()
    assert run.finish() in (0, 1) and json_lines(run.out)
    plant()
    assert json_lines(desk.run("--restore", desk.dir)[0])
    plant()
    assert desk.save(DESK) == (SAVED, 0)
