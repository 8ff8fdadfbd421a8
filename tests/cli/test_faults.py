"""orvel-sound-sim when its files can't be written or its stdout is gone."""
import os
import signal
import subprocess

import pytest

from sim_tool import WAIT, block_and_raise, error
from test_commands import DESK, MACHINE, desk, switched  # noqa: F401

YOURS = "couldn't keep your settings, so nothing was changed"
MARK = "couldn't mark the switch, so nothing was changed"
ORVELS = "couldn't keep Orvel's settings"
RESTORE = b"restore\n"


def entries(folder):
    # Every entry of the folder: a file's bytes, None for a folder.
    return {p.name: None if p.is_dir() else p.read_bytes() for p in folder.iterdir()}


def refused(tool, command, message, leftover=None):
    # The command fails with the message and changes neither the machine nor the
    # folder, but for the one temporary a failed rename may leave.
    before, machine = entries(tool.dir), tool.machine_path.read_bytes()
    if command == "--save":
        assert tool.save(dict(DESK, input={"uid": "mic-uid"})) == (error(message), 1)
    else:  # with SIGHUP pending, which must not turn the failure into a restore
        run = tool.switch(preexec_fn=block_and_raise(signal.SIGHUP))
        assert run.finish() == 1 and run.out == error(message)
    after = entries(tool.dir)
    after.pop(leftover, None)
    assert after == before and tool.machine_path.read_bytes() == machine


@pytest.mark.parametrize("command, blocked, message", [
    ("--switch", "snapshot.json", YOURS), ("--switch", ".snapshot.json.tmp", YOURS),
    ("--switch", "switched", MARK), ("--switch", ".switched.tmp", MARK),
    ("--save", "orvel.json", ORVELS), ("--save", ".orvel.json.tmp", ORVELS),
])
def test_unwritable_file_changes_nothing(desk, command, blocked, message):
    assert desk.run("--switch", desk.dir, stdin=RESTORE)[1] == 0  # an earlier snapshot
    (desk.dir / blocked).unlink(missing_ok=True)
    # A folder with something in it: not even root can replace it.
    (desk.dir / blocked / "inside").mkdir(parents=True)
    refused(desk, command, message, None if blocked[0] == "." else f".{blocked}.tmp")


@pytest.fixture
def small_disk(tool):
    # The working folder on a tmpfs of 256 KiB, unmounted afterwards.
    disk = tool.tmp / "disk"
    disk.mkdir()
    if os.geteuid() != 0:
        pytest.skip("mounting a small file system needs root")
    mount = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", disk],
                           capture_output=True, timeout=WAIT)
    if mount.returncode != 0:
        pytest.skip(f"can't mount a tmpfs here: {mount.stderr.decode().strip()}")
    tool.dir = disk / "work"
    yield tool
    subprocess.run(["umount", "-l", disk], check=True, timeout=WAIT)


@pytest.mark.parametrize("command", ["--switch", "--save"])
@pytest.mark.parametrize("killed", [False, True])  # a killed switch leaves Orvel's settings on
def test_full_disk_changes_nothing(small_disk, command, killed):
    small_disk.set_machine(MACHINE)
    assert small_disk.save(DESK)[1] == 0
    assert small_disk.run("--switch", small_disk.dir, stdin=RESTORE)[1] == 0
    if killed:
        switched(small_disk).close()
    with pytest.raises(OSError, match="No space"), open(small_disk.dir / "filler", "wb", 0) as f:
        while True:
            f.write(bytes(4096))
    refused(small_disk, command, ORVELS if command == "--save" else MARK if killed else YOURS)


@pytest.mark.parametrize("trigger", [lambda p: p.stdin.write(RESTORE),
                                     lambda p: p.send_signal(signal.SIGTERM)])
def test_closed_stdout_neither_kills_nor_cuts_the_restore(desk, trigger):
    run = switched(desk)
    run.p.stdout.close()  # the host is gone: every later write fails
    trigger(run.p)
    assert run.p.wait(timeout=WAIT) == 0 and desk.state() == desk.original
    assert not (desk.dir / "switched").exists()
