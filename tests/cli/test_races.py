"""Races: the four triggers of a switch, always exactly one restore."""
import concurrent.futures
import ctypes
import json
import os
import random
import signal
import time

from sim_tool import EXE, WAIT, Tool, line

RUNS = int(os.environ.get("ORVEL_RACE_RUNS", "200"))
ORVEL = {"output": {"uid": "desk-uid", "rate": 48000, "volume": {"0": 0.9}},
         "input": {"uid": "mic-uid", "rate": 48000}}
AT_ONCE = 10  # runs in flight together
# Orphans come back to this process, so the tool's own exit status can be read
# after its parent (a shell) is killed.
PR_SET_CHILD_SUBREAPER = 36


def one_run(tool, rng):
    assert tool.save(ORVEL)[1] == 0
    original = tool.machine()
    # fd 3 carries stdin past the shell's /dev/null for background jobs.
    run = tool.start(argv=["sh", "-c", 'exec 3<&0; "$0" --switch "$1" <&3 & echo $!; wait $!',
                           EXE, tool.dir])
    shell, (pid, switched) = run.p, run.read(2)
    assert json.loads(switched)["type"] == "switched"
    chosen = rng.sample(["line", "end", "signal", "parent"], rng.randint(2, 4))
    actions = {"line": lambda: shell.stdin.write(b"restore\n"), "end": shell.stdin.close,
               "parent": shell.kill, "signal": lambda: os.kill(int(pid), rng.choice(
                   [signal.SIGTERM, signal.SIGINT, signal.SIGHUP]))}
    begun = time.monotonic()
    # All within a few milliseconds of each other, in a random order.
    for at, name in sorted((rng.uniform(0.05, 0.053), name) for name in chosen):
        time.sleep(max(0, begun + at - time.monotonic()))
        try:
            actions[name]()
        except (BrokenPipeError, ProcessLookupError, ValueError):
            pass  # the restore came first and the process is gone
    rest = b"".join(run.read()[2:])  # until the tool, the last holder of the pipe, is gone
    if "parent" in chosen:
        shell.wait(timeout=WAIT)
        status = os.waitstatus_to_exitcode(os.waitpid(int(pid), 0)[1])
    else:
        status = shell.wait(timeout=WAIT)
    run.close()  # its stderr stayed empty
    assert (status, rest.count(b'"type":"restored"')) == (0, 1), f"{chosen}: {rest!r}"
    assert rest == line({"applied": json.loads(rest)["applied"], "complete": True, "left": [],
                         "skipped": [], "type": "restored"})
    assert tool.machine() == original  # put back whole


def in_parallel(tmp_path, seed, one):
    # one(tool, rng) RUNS times, AT_ONCE at a time, each with a folder and a seed of its own.
    rng = random.Random(os.environ.get("ORVEL_RACE_SEED", seed))
    seeds = [rng.random() for _ in range(RUNS)]

    def run(i):
        tool = Tool(tmp_path / str(i))
        try:
            one(tool, random.Random(seeds[i]))
        finally:
            for started in tool.running:
                started.close()
    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        for _ in pool.map(run, range(RUNS)):
            pass  # each run's failure is raised here, in order


def test_simultaneous_triggers_restore_exactly_once(tmp_path):
    libc = ctypes.CDLL(None, use_errno=True)
    assert libc.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) == 0
    in_parallel(tmp_path, 3, one_run)
