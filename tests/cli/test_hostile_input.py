"""orvel-sound-sim against hostile input: huge, deep, broken or out-of-range."""
import json
import os
import re
import select

import pytest

from sim_tool import (DESK, NO_SWITCH, NOT_A_LINE, RESTORED, SAVED, SWITCHED, WAIT, error, line,
                      switched)
from test_faults import YOURS

NOT_ANSWERING = "the sound system isn't answering"

MB = 1 << 20
DEEP = b"[" * 100000 + b"]" * 100000


def settings(**output):
    return json.dumps({"output": dict(DESK["output"], **output)}, ensure_ascii=False).encode()


NEAR = settings(name="é" * (MB // 2 - 100))  # just under the 1 MiB a line may hold
LINES = {  # a line for --save, without its line feed, and what it stores (None: refused)
    "a string up to 1 MiB": (NEAR, NEAR),
    "10 MB in a string": (settings(name="é" * 5 * MB), None),
    "100000 levels open": (b'{"output":' * 100000, None),
    "100000 levels in an unknown key": (b'{"x":' + DEEP + b"," + settings()[1:], settings()),
}


@pytest.mark.parametrize("case", LINES)
def test_hostile_lines_are_taken_whole_or_change_nothing(desk, case):
    # By --save; and those it refuses, written by hand over the files.
    text, stores = LINES[case]
    assert desk.save(dict(DESK, input={"uid": "mic-uid"})) == (SAVED, 0)
    before = desk.entries()
    out = desk.run("--save", desk.dir, stdin=text + b"\n")
    if stores:
        assert out == (SAVED, 0) and json.loads(desk.entries()["orvel.json"]) == json.loads(stores)
        return
    assert out == (error(NOT_A_LINE), 1) and desk.entries() == before
    if case == "10 MB in a string":
        return  # a file may hold more than a line
    for name, command, out, status in [  # a switch's state that doesn't read: no user values
            ("snapshot.json", "--restore", NO_SWITCH, 0),
            ("switched", "--switch", error(YOURS), 1),
            ("orvel.json", "--switch", error("Orvel's sound isn't set up yet"), 1)]:
        (desk.dir / name).write_bytes(text)
        before, machine = desk.entries(), desk.machine_path.read_bytes()
        assert desk.run(command, desk.dir, stdin=b"restore\n") == (out, status)
        assert desk.entries() == before and desk.machine_path.read_bytes() == machine


def test_an_unreadable_machine_is_a_sound_system_that_doesnt_answer(desk):
    switched(desk).close()  # SIGKILL: the switch stays in effect
    machine = desk.machine_path.read_text()
    desk.machine_path.write_text(machine.replace('"1": 0.25', '"1": 1e400', 1))
    broken = desk.machine_path.read_bytes()
    for args in (["--read"], ["--devices"], ["--switch", desk.dir]):
        assert desk.run(*args, stdin=b"restore\n") == (error(NOT_ANSWERING), 1)
    assert desk.run("--restore", desk.dir) == (line({
        "applied": [], "complete": False, "left": [], "skipped": [NOT_ANSWERING],
        "type": "restored"}), 0)
    assert (desk.dir / "switched").exists() and desk.machine_path.read_bytes() == broken
    desk.machine_path.write_text(machine)  # it answers again: what was owed comes back
    assert desk.run("--restore", desk.dir) == (RESTORED, 0) and desk.machine() == desk.original


def feed(run, data):
    # Writes to the switch's stdin; fails rather than hangs when the tool stops reading.
    fd, view = run.p.stdin.fileno(), memoryview(data)
    os.set_blocking(fd, False)
    while view:
        assert select.select([], [fd], [], WAIT)[1]
        view = view[os.write(fd, view):]


def test_endless_line_during_switch_keeps_memory_bounded_and_restores(desk):
    run = switched(desk)

    def peak_kib():
        return int(re.search(rb"VmHWM:\s*(\d+)", open(f"/proc/{run.p.pid}/status", "rb").read())[1])
    before = peak_kib()
    feed(run, b"restore " * (6 * MB))  # 48 MB without a line feed: no restore
    assert peak_kib() - before < 16 * 1024 and run.p.poll() is None
    feed(run, b"\nrestore\n")
    assert run.finish() == 0 and run.out == SWITCHED + RESTORED and desk.machine() == desk.original


@pytest.mark.parametrize("planted", [".orvel.json.tmp", "orvel.json", ".snapshot.json.tmp",
                                     "snapshot.json", ".switched.tmp", "switched"])
@pytest.mark.parametrize("target", [b"outside", None])  # None: the link dangles
def test_planted_links_are_replaced_never_followed(desk, planted, target):
    outside = desk.tmp / "outside"
    if target:
        outside.write_bytes(target)
    (desk.dir / planted).unlink(missing_ok=True)
    (desk.dir / planted).symlink_to(outside)
    if planted == "switched":  # no state a switch can read: it won't guess the user's values
        assert desk.run("--switch", desk.dir, stdin=b"restore\n") == (error(YOURS), 1)
        assert desk.run("--restore", desk.dir) == (NO_SWITCH, 0)
    if "orvel" in planted:
        assert desk.save(dict(DESK, input={"uid": "mic-uid"})) == (SAVED, 0)
        assert json.loads((desk.dir / "orvel.json").read_bytes())["input"] == {"uid": "mic-uid"}
    else:
        run = switched(desk)
        assert not (desk.dir / "switched").is_symlink() and (desk.dir / "switched").is_file()
        run.p.stdin.write(b"restore\n")
        assert run.finish() == 0 and desk.machine() == desk.original
        assert json.loads((desk.dir / "snapshot.json").read_bytes())["output"]["uid"] == "hp-uid"
    assert (outside.read_bytes() == target) if target else not outside.exists()
    assert [(p.name, p.is_symlink()) for p in sorted(desk.dir.iterdir())] == [
        (name, False) for name in [".lock", "orvel.json", "snapshot.json"][:3 - ("orvel" in planted)]]
