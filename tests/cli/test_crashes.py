"""SIGKILL at random instants of a switch: every file stays whole and the user's settings
come back."""
import json
import os
import random
import signal
import time

import pytest

from sim_tool import MACHINE

RUNS = int(os.environ.get("ORVEL_CRASH_RUNS", "300"))
ORVEL = {"output": {"uid": "desk-uid", "rate": 48000, "volume": {"0": 0.9}},
         "input": {"uid": "mic-uid", "rate": 48000}}
TRIGGERS = [lambda p: p.stdin.write(b"restore\n"), lambda p: p.stdin.close(),
            lambda p: p.send_signal(signal.SIGTERM), lambda p: None]


def random_user(rng):
    # The user's own state, volumes exact as 32-bit floats; the desk volume never
    # equals Orvel's, so a switch always takes a snapshot.
    machine = json.loads(json.dumps(MACHINE))
    desk, hp, mic = machine["devices"][:3]
    machine["defaultOutput"] = rng.choice([2, 3])
    desk.update(rate=rng.choice([44100, 48000]), volume={"0": rng.randrange(50) / 64})
    hp.update(rate=rng.choice([44100, 48000, 96000]),
              volume={k: rng.randrange(65) / 64 for k in ("1", "2")})
    mic.update(rate=rng.choice([16000, 48000]))
    return machine


def whole_files(tool):
    # Every entry of the folder, temporaries included, must be a whole JSON object.
    files = tool.entries()
    for name, text in files.items():
        assert isinstance(json.loads(text), dict), name
    return files


@pytest.fixture
def tool(tool):
    # A kill that lands in LeakSanitizer's check at exit makes it report a thread
    # it lost; leaks are checked by every other test.
    tool.env["ASAN_OPTIONS"] = ":".join(filter(None, [os.environ.get("ASAN_OPTIONS"),
                                                      "detect_leaks=0"]))
    return tool


def killed_runs(start, rng):
    # Yields the output of RUNS runs of start(), each SIGKILLed at a random instant
    # of the time a whole run of start(measure=True) takes (a little beyond, so some finish).
    began = time.monotonic()
    for _ in range(5):
        start(measure=True).finish()
    span = (time.monotonic() - began) / 5 * 1.3
    for _ in range(RUNS):
        run = start()
        time.sleep(rng.uniform(0, span))
        yield run.close()


def test_sigkill_during_switch_and_restore_always_leaves_a_recoverable_folder(tool):
    rng = random.Random(os.environ.get("ORVEL_CRASH_SEED", 7))
    assert tool.save(ORVEL)[1] == 0
    orvel, expected = (tool.dir / "orvel.json").read_bytes(), []

    def start(measure=False):
        expected.append(random_user(rng))
        tool.set_machine(expected[-1])
        run = tool.switch()
        (TRIGGERS[0] if measure else rng.choice(TRIGGERS))(run.p)
        return run

    seen = {"before switched": 0, "switched, marker left": 0, "after restored": 0}
    for attempt, out in enumerate(killed_runs(start, rng)):
        files = whole_files(tool)
        assert files["orvel.json"] == orvel
        if "switched" in files:
            assert tool.run("--restore", tool.dir)[1] == 0 and "switched" not in whole_files(tool)
        seen["after restored" if b'"restored"' in out else
             "switched, marker left" if "switched" in files else "before switched"] += 1
        assert tool.machine() == expected[-1], f"attempt {attempt}: {out}"
    assert all(seen.values()), seen  # kills landed in every stretch of a switch
