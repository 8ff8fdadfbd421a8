"""orvel-sound-sim started by unusual hosts: a non-blocking pipe, no room for threads,
signals from the first instant."""
import errno
import os
import re
import resource
import signal
import time

import pytest

from sim_tool import RESTORED, SWITCHED, WAIT


def test_a_non_blocking_stdin_is_no_end_of_input(desk):
    read_end, write_end = os.pipe()
    os.set_blocking(read_end, False)  # as some hosts hand their pipe over
    run = desk.switch(stdin=read_end)
    os.close(read_end)
    with open(write_end, "wb", 0) as host:
        assert run.read(1) == [SWITCHED]
        time.sleep(0.3)
        assert run.p.poll() is None
        host.write(b"restore\n")
        assert run.finish() == 0 and run.out == SWITCHED + RESTORED


def test_a_switch_that_cant_start_its_watch_restores_at_once(desk):
    # Each thread's stack would be as large as this limit: none fits in memory.
    run = desk.switch(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_STACK,
                                                            (1 << 40, 1 << 40)))
    assert run.read(1) == [SWITCHED]
    deadline = time.monotonic() + 2
    while run.p.poll() is None and time.monotonic() < deadline:
        if len(os.listdir(f"/proc/{run.p.pid}/task")) > 1:
            pytest.skip("threads start here whatever the limit (a sanitizer's runtime)")
        time.sleep(0.01)
    assert run.finish() == 0 and run.out == SWITCHED + RESTORED  # stdin still open
    assert desk.machine() == desk.original


def blocked(pid):  # the signals that the process blocks
    mask = int(re.search(r"SigBlk:\s*(\w+)", open(f"/proc/{pid}/status").read())[1], 16)
    return {s for s in signal.Signals if mask >> (s - 1) & 1}


def test_triggers_wait_from_before_the_sound_system_is_made(tool):
    # The simulated Mac is read from a FIFO: making the sound system, the tool's
    # first step, waits in it until something opens it and writes or closes.
    fifo = tool.tmp / "fifo"
    os.mkfifo(fifo)
    tool.env["ORVEL_SOUND_SIM_MACHINE"] = str(fifo)
    run = tool.switch()
    deadline = time.monotonic() + WAIT
    while True:
        try:
            writer = os.open(fifo, os.O_WRONLY | os.O_NONBLOCK)  # once the tool opens it
            break
        except OSError as e:
            assert e.errno == errno.ENXIO and time.monotonic() < deadline
            time.sleep(0.001)
    try:
        assert {signal.SIGTERM, signal.SIGINT, signal.SIGHUP} <= blocked(run.p.pid)
    finally:
        os.close(writer)
