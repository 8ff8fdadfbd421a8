"""Races: the four triggers of a switch, always exactly one restore; two switches of one
folder, never a loss."""
import concurrent.futures
import ctypes
import json
import os
import random
import signal
import time

from sim_tool import EXE, WAIT, Tool, line
from test_crashes import ORVEL, TRIGGERS, random_user

RUNS = int(os.environ.get("ORVEL_RACE_RUNS", "200"))
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


def two_switches(tool, rng):
    # Two switches of one folder started together, as by a host started twice, then
    # both restored: the user's settings come back whole, whichever ends first.
    user = random_user(rng)
    tool.set_machine(user)
    orvel = json.loads(json.dumps(ORVEL))
    if rng.random() < 0.5:  # a rate the desk refuses: the machine never holds Orvel's
        orvel["output"]["rate"] = 96000
    assert tool.save(orvel)[1] == 0
    read = json.loads(tool.run("--read")[0])["settings"]
    runs = [tool.switch(), tool.switch()]
    assert sorted(json.loads(run.read(1)[0])["snapshot"] for run in runs) in (
        ["kept", "taken"], ["taken", "taken"])  # the second after the first's restore
    for run in rng.sample(runs, 2):
        time.sleep(rng.uniform(0, 0.01))
        rng.choice(TRIGGERS[:3])(run.p)  # each of them ends it
    for run in runs:
        assert run.finish() == 0 and run.out.count(b'"type":"restored"') == 1, run.out
    assert tool.machine() == user
    snapshot = json.loads((tool.dir / "snapshot.json").read_bytes())
    assert [snapshot[side]["uid"] for side in ("output", "input")] == [
        read[side]["uid"] for side in ("output", "input")]
    assert not [name for name in tool.entries() if name.endswith(".tmp") or name == "switched"]


def test_two_switches_of_one_folder_lose_nothing(tmp_path):
    in_parallel(tmp_path, 5, two_switches)
