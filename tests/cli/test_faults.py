"""orvel-sound-sim when its files can't be written or its stdout is gone."""
import os
import signal
import subprocess

import pytest

from sim_tool import DESK, WAIT, error, switched

YOURS = "couldn't keep your settings, so nothing was changed"
MARK = "couldn't mark the switch, so nothing was changed"
ORVELS = "couldn't keep Orvel's settings"


def refused(tool, command, message, leftover=None):
    # The command fails with the message and changes neither the machine nor the
    # folder, but for the one temporary a failed rename may leave.
    before, machine = tool.entries(), tool.machine_path.read_bytes()
    if command == "--save":
        assert tool.save(dict(DESK, input={"uid": "mic-uid"})) == (error(message), 1)
    else:  # started with SIGHUP blocked and pending: it must not turn the failure into a restore
        run = tool.switch(preexec_fn=lambda: (signal.pthread_sigmask(
            signal.SIG_BLOCK, {signal.SIGHUP}), os.kill(os.getpid(), signal.SIGHUP)))
        assert run.finish() == 1 and run.out == error(message)
    after = {name: text for name, text in tool.entries().items() if name != leftover}
    assert after == before and tool.machine_path.read_bytes() == machine


@pytest.mark.parametrize("command, blocked, message", [
    ("--switch", "snapshot.json", YOURS), ("--switch", ".snapshot.json.tmp", YOURS),
    ("--switch", "switched", YOURS), ("--switch", ".switched.tmp", MARK),
    ("--save", "orvel.json", ORVELS), ("--save", ".orvel.json.tmp", ORVELS),
])
def test_unwritable_file_changes_nothing(desk, command, blocked, message):
    assert desk.run("--switch", desk.dir, stdin=b"restore\n")[1] == 0  # an earlier snapshot
    (desk.dir / blocked).unlink(missing_ok=True)
    # A folder with something in it: not even root can replace it.
    (desk.dir / blocked / "inside").mkdir(parents=True)
    refused(desk, command, message, None if blocked[0] == "." else f".{blocked}.tmp")


@pytest.mark.parametrize("command, killed, message", [  # a killed switch leaves Orvel's on
    ("--switch", False, YOURS), ("--switch", True, YOURS), ("--save", False, ORVELS)])
def test_full_disk_changes_nothing(tool, command, killed, message):
    # The working folder on a tmpfs of 256 KiB, filled up.
    if os.geteuid() != 0:
        pytest.skip("mounting a small file system needs root")
    (tool.tmp / "disk").mkdir()
    mount = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", tool.tmp / "disk"],
                           capture_output=True, timeout=WAIT)
    if mount.returncode != 0:
        pytest.skip(f"can't mount a tmpfs here: {mount.stderr.decode().strip()}")
    try:
        tool.dir = tool.tmp / "disk" / "work"
        assert tool.save(DESK)[1] == 0
        assert tool.run("--switch", tool.dir, stdin=b"restore\n")[1] == 0
        if killed:
            switched(tool).close()
        with pytest.raises(OSError, match="No space"), open(tool.dir / "filler", "wb", 0) as f:
            while True:
                f.write(bytes(4096))
        refused(tool, command, message)
    finally:
        subprocess.run(["umount", "-l", tool.tmp / "disk"], check=True, timeout=WAIT)


@pytest.mark.parametrize("trigger", [lambda p: p.stdin.write(b"restore\n"),
                                     lambda p: p.send_signal(signal.SIGTERM)])
def test_closed_stdout_neither_kills_nor_cuts_the_restore(desk, trigger):
    run = switched(desk)
    run.p.stdout.close()  # the host is gone: every later write fails
    trigger(run.p)
    assert run.p.wait(timeout=WAIT) == 0 and desk.machine() == desk.original
    assert not (desk.dir / "switched").exists()
