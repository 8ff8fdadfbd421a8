"""The four triggers of a switch racing each other: always exactly one restore."""
import ctypes
import json
import os
import random
import signal
import subprocess
import threading
import time

from sim_tool import EXE, WAIT
from test_crashes import MACHINE, ORVEL

RUNS = int(os.environ.get("ORVEL_RACE_RUNS", "200"))
AT_ONCE = 10  # runs in flight together
# Orphans come back to this process, so the tool's own exit status can be read
# after its parent (a shell) is killed.
PR_SET_CHILD_SUBREAPER = 36


def line(obj):
    return json.dumps(obj, sort_keys=True, separators=(",", ":")).encode() + b"\n"


def one_run(tmp_path, index, rng):
    folder, machine_path = tmp_path / f"work{index}", tmp_path / f"machine{index}.json"
    machine_path.write_text(json.dumps(dict(MACHINE, defaultOutput=3, defaultInput=4)))
    original = machine_path.read_bytes()
    env = dict(os.environ, ORVEL_SOUND_SIM_MACHINE=str(machine_path))
    saved = subprocess.run([EXE, "--save", folder], input=json.dumps(ORVEL).encode(), env=env,
                           capture_output=True, timeout=WAIT)
    assert saved.returncode == 0 and saved.stderr == b""
    # fd 3 carries stdin past the shell's /dev/null for background jobs.
    shell = subprocess.Popen(["sh", "-c", 'exec 3<&0; "$0" --switch "$1" <&3 & echo $!; wait $!',
                              EXE, folder], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, env=env, bufsize=0)
    pid = int(shell.stdout.readline())
    switched = shell.stdout.readline()
    assert json.loads(switched)["type"] == "switched"
    chosen = rng.sample(["line", "end", "signal", "parent"], rng.randint(2, 4))
    actions = {
        "line": lambda: shell.stdin.write(b"restore\n"),
        "end": shell.stdin.close,
        "signal": lambda: os.kill(pid, rng.choice([signal.SIGTERM, signal.SIGINT,
                                                   signal.SIGHUP])),
        "parent": shell.kill,
    }
    begun = time.monotonic()
    # All within a few milliseconds of each other, in a random order.
    for at, name in sorted((rng.uniform(0.05, 0.053), name) for name in chosen):
        time.sleep(max(0, begun + at - time.monotonic()))
        try:
            actions[name]()
        except (BrokenPipeError, ProcessLookupError, ValueError):
            pass  # the restore came first and the process is gone
    rest = shell.stdout.read()  # until the tool, the last holder of the pipe, is gone
    if "parent" in chosen:
        shell.wait(timeout=WAIT)
        status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
    else:
        status = shell.wait(timeout=WAIT)
    stderr = shell.stderr.read()
    for stream in (shell.stdin, shell.stdout, shell.stderr):
        stream.close()
    restored = rest.count(b'"type":"restored"')
    assert (status, restored, stderr) == (0, 1, b""), f"{chosen}: {rest!r} {stderr[:2000]!r}"
    assert rest == line({"applied": json.loads(rest)["applied"], "skipped": [],
                         "type": "restored"})
    machine = json.loads(machine_path.read_text())
    assert machine == json.loads(original)  # put back whole


def test_simultaneous_triggers_restore_exactly_once(tmp_path):
    libc = ctypes.CDLL(None, use_errno=True)
    assert libc.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) == 0
    failures, rng = [], random.Random(os.environ.get("ORVEL_RACE_SEED", 3))
    for batch in range(0, RUNS, AT_ONCE):
        def run(index, seed=rng.random()):
            try:
                one_run(tmp_path, index, random.Random(seed))
            except Exception as failure:  # noqa: BLE001 - reported below with its run
                failures.append(f"run {index}: {failure}")
        threads = [threading.Thread(target=run, args=(i,)) for i in range(batch, batch + AT_ONCE)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        assert not failures, failures[:3]
