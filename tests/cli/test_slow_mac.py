"""orvel-sound-sim on a Mac that applies changes late, as real ones do: a switch waits
for its changes within one budget, a restore owes what doesn't show, the host may die
during the wait, and other processes read the machine all the while."""
import json
import os
import signal
import subprocess
import threading
import time

from sim_tool import EXE, HP, RESTORED, SWITCHED, WAIT, line

BUDGET = 5  # seconds: how long a command's changes together may take to show


def lag(tool, **ms):  # the desk's lags, and Haut-parleurs' as a default
    machine = tool.machine()
    machine["devices"][0]["lag"] = ms
    tool.set_machine(machine)


def test_changes_that_show_within_the_budget_are_applied_and_put_back(desk):
    lag(desk, rate=2000, default=2000)
    desk.original = desk.machine()
    run = desk.switch()
    assert run.read(1) == [SWITCHED]  # both applied, once they showed
    assert (desk.machine()["defaultOutput"], desk.machine()["devices"][0]["rate"]) == (2, 48000)
    run.p.stdin.write(b"restore\n")
    assert run.finish() == 0 and run.out == SWITCHED + RESTORED
    assert desk.machine() == desk.original


def test_a_restore_owes_a_change_that_shows_after_the_budget(desk):
    run = desk.switch()
    assert run.read(1) == [SWITCHED]
    lag(desk, rate=(BUDGET + 1) * 1000)  # the desk now relocks slowly
    run.p.stdin.write(b"restore\n")
    assert run.finish() == 0 and json.loads(run.out.splitlines()[1]) == {
        "applied": [f"the output {HP} as the default"],
        "complete": False, "left": [], "skipped": ["Desk Speakers at 44100 Hz"],
        "type": "restored"}
    time.sleep(1.2)  # the rate the restore asked for shows now
    assert desk.run("--restore", desk.dir) == (line({
        "applied": [], "complete": True, "left": [], "skipped": [], "type": "restored"}), 0)
    machine = desk.machine()
    machine["devices"][0].pop("lag")
    assert machine == desk.original


def test_a_host_that_dies_during_the_wait_is_seen_once_switched(desk):
    lag(desk, default=3000)
    run = desk.start(argv=["sh", "-c", '"$0" --switch "$1" </dev/null & wait', EXE, desk.dir])
    time.sleep(0.5)
    run.p.kill()  # the host goes while the switch waits for its default to show
    assert run.read(1) == [SWITCHED]
    started = time.monotonic()
    assert run.read(2)[1:] == [RESTORED]
    assert time.monotonic() - started < 1 and desk.machine()["defaultOutput"] == 3


def test_a_reader_beside_switches_loses_nothing(desk):
    stop = threading.Event()

    def read_all_the_while():
        while not stop.is_set():
            subprocess.run([EXE, "--read"], env=desk.env, capture_output=True, timeout=WAIT)
    readers = [threading.Thread(target=read_all_the_while) for _ in range(2)]
    for reader in readers:
        reader.start()
    try:
        for cycle in range(int(os.environ.get("ORVEL_READ_CYCLES", "100"))):
            out, status = desk.run("--switch", desk.dir, stdin=b"restore\n")
            assert (status, out) == (0, SWITCHED + RESTORED), cycle
            assert desk.machine() == desk.original, cycle
    finally:
        stop.set()
        for reader in readers:
            reader.join()


def test_a_roomy_layout_is_taken_and_put_back(tool):
    # sizeof(AudioChannelLayout), 32 bytes with a stereo tag and no description, as
    # drivers report it, and Orvel's 12-byte one.
    machine = tool.machine()
    machine["devices"][0]["layout"] = "AgBlAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA="
    tool.set_machine(machine)
    assert tool.save({"output": {"uid": "desk-uid", "layout": "AgBlAAAAAAAAAAAA"}})[1] == 0
    out, status = tool.run("--switch", tool.dir, stdin=b"restore\n")
    assert status == 0 and b"Desk Speakers's channel layout" in out.splitlines()[1]
    assert tool.machine() == machine
