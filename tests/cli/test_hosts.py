"""orvel-sound-sim started by unusual hosts: a non-blocking pipe, no room for threads,
signals from the first instant, a stdout nobody reads."""
import errno
import fcntl
import json
import os
import re
import resource
import signal
import socket
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


def ignored(pid):  # the signals whose action is "ignore"
    mask = int(re.search(r"SigIgn:\s*(\w+)", open(f"/proc/{pid}/status").read())[1], 16)
    return {s for s in signal.Signals if mask >> (s - 1) & 1}


def test_triggers_wait_from_before_the_sound_system_is_made(tool):
    # The simulated Mac is read from a FIFO: making the sound system, the tool's
    # first step, waits in it until something opens it and writes or closes. By
    # then the triggers are blocked, and no longer ignored: macOS would discard
    # an ignored one, even blocked (a host that started us under nohup).
    fifo = tool.tmp / "fifo"
    os.mkfifo(fifo)
    tool.env["ORVEL_SOUND_SIM_MACHINE"] = str(fifo)
    triggers = {signal.SIGTERM, signal.SIGINT, signal.SIGHUP}
    run = tool.switch(preexec_fn=lambda: [signal.signal(s, signal.SIG_IGN) for s in triggers])
    deadline = time.monotonic() + WAIT
    while True:
        try:
            writer = os.open(fifo, os.O_WRONLY | os.O_NONBLOCK)  # once the tool opens it
            break
        except OSError as e:
            assert e.errno == errno.ENXIO and time.monotonic() < deadline
            time.sleep(0.001)
    try:
        assert triggers <= blocked(run.p.pid) and not triggers & ignored(run.p.pid)
    finally:
        os.close(writer)



def until(done, seconds):  # whether `done()` holds within the time
    deadline = time.monotonic() + seconds
    while not done() and time.monotonic() < deadline:
        time.sleep(0.01)
    return done()


def unread_pipe():
    # Orvel's output named at length makes a "switched" line of about 6 kB: it fits
    # the pipe, but not beside the 4 kB line the host left unread in it.
    read_end, write_end = os.pipe()
    fcntl.fcntl(write_end, 1031, 8192)  # F_SETPIPE_SZ
    os.write(write_end, json.dumps({"unread": "y" * 3985}).encode() + b"\n")
    return read_end, write_end


def unread_socket():
    # A socket (as Node gives its children) whose buffer the host's unread lines fill.
    host, ours = socket.socketpair()
    ours.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4096)
    ours.setblocking(False)
    try:
        while True:
            ours.send(json.dumps({"unread": "y" * 80}).encode() + b"\n")
    except BlockingIOError:
        pass
    ours.setblocking(True)
    return host.detach(), ours.detach()


@pytest.mark.parametrize("stdout", [unread_pipe, unread_socket])
def test_a_host_that_never_reads_stdout_holds_no_restore_up(tool, stdout):
    assert tool.save({"output": {"uid": "desk-uid", "name": "x" * 3000, "rate": 48000}})[1] == 0
    read_end, write_end = stdout()
    run = tool.switch(stdout=write_end)
    os.close(write_end)
    with open(read_end, "rb", 0) as host:
        assert until(lambda: tool.machine()["defaultOutput"] == 2, WAIT)
        run.p.send_signal(signal.SIGTERM)
        assert until(lambda: tool.machine()["defaultOutput"] == 3
                     and tool.machine()["devices"][0]["rate"] == 44100, 2)
        assert until(lambda: run.p.poll() is not None, 2)
        lines = host.read().split(b"\n")  # never read before the tool ended
    assert lines[-1] == b"" and all(isinstance(json.loads(x), dict) for x in lines[:-1])
