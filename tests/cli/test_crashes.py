"""SIGKILL at random instants: every file stays whole and the user's settings come back."""
import json
import os
import random
import re
import signal
import struct
import subprocess
import time

from sim_tool import EXE, WAIT

RUNS = int(os.environ.get("ORVEL_CRASH_RUNS", "300"))
MACHINE = {"devices": [
    {"id": 2, "uid": "desk-uid", "name": "Desk", "output": [2], "rate": 44100,
     "rateRanges": [[44100, 48000]], "volume": {"0": 0.5}},
    {"id": 3, "uid": "hp-uid", "name": "Speakers", "output": [2], "rate": 44100,
     "rateRanges": [[44100, 96000]], "volume": {"1": 0.25, "2": 0.75},
     "layout": "AgBlAAAAAAAAAAAA"},
    {"id": 4, "uid": "mic-uid", "input": [1], "rate": 16000, "rateRanges": [[16000, 48000]]}]}
ORVEL = {"output": {"uid": "desk-uid", "rate": 48000, "volume": {"0": 0.9}},
         "input": {"uid": "mic-uid", "rate": 48000}}
MARK = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ")


def float32(value):
    return struct.unpack("f", struct.pack("f", value))[0]


def random_user(rng):
    # The user's own state; the desk volume never equals Orvel's, so a switch
    # always takes a snapshot.
    machine = json.loads(json.dumps(MACHINE))
    desk, hp, mic = machine["devices"]
    machine.update(defaultOutput=rng.choice([2, 3]), defaultInput=4)
    desk.update(rate=rng.choice([44100, 48000]), volume={"0": float32(rng.randrange(80) / 100)})
    hp.update(rate=rng.choice([44100, 48000, 96000]),
              volume={k: float32(rng.random()) for k in ("1", "2")})
    mic.update(rate=rng.choice([16000, 48000]))
    return machine


class Folder:
    def __init__(self, tmp_path):
        self.dir, self.machine_path = tmp_path / "work", tmp_path / "machine.json"
        self.env = dict(os.environ, ORVEL_SOUND_SIM_MACHINE=str(self.machine_path))

    def run(self, *args, stdin=b""):
        done = subprocess.run([EXE, *args, str(self.dir)], input=stdin, capture_output=True,
                              env=self.env, timeout=WAIT)
        assert done.stderr == b"" and done.returncode in (0, 1)
        return done.stdout, done.returncode

    def start(self, *args, stdin=b""):
        p = subprocess.Popen([EXE, *args, str(self.dir)], stdin=subprocess.PIPE,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.env)
        p.stdin.write(stdin)
        p.stdin.flush()
        return p

    def state(self):
        m = json.loads(self.machine_path.read_text())
        return m.get("defaultOutput", 0), m.get("defaultInput", 0), [
            (d.get("rate"), d.get("layout"), d.get("volume")) for d in m["devices"]]

    def files(self):
        # Every entry of the folder, temporaries included, must be a whole file.
        found = {}
        for path in self.dir.iterdir():
            text = path.read_bytes()
            if path.name.endswith(".json") or path.name.endswith(".json.tmp"):
                assert isinstance(json.loads(text), dict), path.name
            else:
                assert path.name in ("switched", ".switched.tmp"), path.name
                assert MARK.fullmatch(text.decode()), text
            found[path.name] = text
        return found


def output(p):
    if p.stdin:
        p.stdin.close()
        p.stdin = None  # communicate() must not touch it again
    out, err = p.communicate(timeout=WAIT)
    assert err == b""
    return out


def killed(p, rng, span):
    time.sleep(rng.uniform(0, span))
    p.kill()
    return output(p)


def mean_span(start, n=5):
    began = time.monotonic()
    for _ in range(n):
        output(start())
    return (time.monotonic() - began) / n


TRIGGERS = [b"", b"restore\n", None, signal.SIGTERM]  # None: stdin closed


def test_sigkill_during_switch_and_restore_always_leaves_a_recoverable_folder(tmp_path):
    folder, rng = Folder(tmp_path), random.Random(os.environ.get("ORVEL_CRASH_SEED", 7))
    folder.machine_path.write_text(json.dumps(MACHINE))
    assert folder.run("--save", stdin=json.dumps(ORVEL).encode() + b"\n")[1] == 0
    orvel = (folder.dir / "orvel.json").read_bytes()

    def start(trigger=b"restore\n"):
        p = folder.start("--switch", stdin=trigger if isinstance(trigger, bytes) else b"")
        if trigger is None:
            p.stdin.close()
            p.stdin = None
        elif isinstance(trigger, signal.Signals):
            p.send_signal(trigger)
        return p

    span = mean_span(start) * 1.3
    seen = {"before switched": 0, "switched, marker left": 0, "after restored": 0}
    for attempt in range(RUNS):
        user = random_user(rng)
        folder.machine_path.write_text(json.dumps(user))
        expected = folder.state()
        out = killed(start(rng.choice(TRIGGERS)), rng, span)
        files = folder.files()
        assert files["orvel.json"] == orvel
        if "switched" in files:
            assert folder.run("--restore")[1] == 0
            assert "switched" not in folder.files()
        seen["after restored" if b'"restored"' in out else
             "switched, marker left" if "switched" in files else "before switched"] += 1
        assert folder.state() == expected, f"attempt {attempt}: {out}"
    assert all(seen.values()), seen  # kills landed in every stretch of a switch


def test_sigkill_during_save_leaves_the_old_or_the_new_file(tmp_path):
    folder, rng = Folder(tmp_path), random.Random(11)
    folder.machine_path.write_text(json.dumps(MACHINE))
    lines = [json.dumps(ORVEL).encode() + b"\n",
             json.dumps({"output": {"uid": "hp-uid", "layout": "AAAA" * 500}}).encode() + b"\n"]
    stored = []
    for line in lines:
        assert folder.run("--save", stdin=line)[1] == 0
        stored.append((folder.dir / "orvel.json").read_bytes())
    span = mean_span(lambda: folder.start("--save", stdin=lines[0])) * 1.3
    changed = 0
    for attempt in range(RUNS):
        before = folder.files()["orvel.json"]
        killed(folder.start("--save", stdin=lines[attempt % 2]), rng, span)
        after = folder.files()["orvel.json"]
        assert after in stored, f"attempt {attempt}"
        changed += after != before
    assert 0 < changed < RUNS  # some kills came before the rename, some after
