"""A switch's whole life on random machines: whatever the user changes, whatever devices go,
changes are refused, switches are killed or stack up, restoring until nothing is owed leaves
every setting at the user's value or the user's own newer choice, never at Orvel's."""
import base64
import fcntl
import json
import os
import random
import shutil
import signal
import struct
import time

import pytest

from sim_tool import HP, SAVED, Tool

RUNS = int(os.environ.get("ORVEL_LIFE_RUNS", "60"))
FIRST = int(os.environ.get("ORVEL_LIFE_SEED", "1"))  # one round: ORVEL_LIFE_RUNS=1
ANOTHER, NONE = "another switch is in effect", "no switch to put back"
TRIGGERS = [lambda p: p.stdin.write(b"restore\n"), lambda p: p.stdin.close(),
            lambda p: p.send_signal(signal.SIGTERM)]
SIDES = ("Output", "Input")
ORVEL = {"output": {"uid": "desk-uid", "rate": 48000, "volume": {"0": 0.9}},
         "input": {"uid": "mic-uid", "rate": 48000}}


def layout(tag):  # with no channel descriptions; tags: the user's 100s, Orvel's 200s
    return base64.b64encode(struct.pack("<III", tag, 0, 0)).decode()


def random_machine(rng):
    # Device 0 an output, 1 an input, the rest either or both. The user's volumes are on the
    # 64 steps from 0.5 to 0.75; Orvel's run from 0.05 to 0.4, the user's changes from 0.875.
    devices = []
    for i in range(rng.randint(3, 5)):
        kind = ["out", "in"][i] if i < 2 else rng.choice(["out", "in", "both"])
        d = {"id": i + 2, "uid": f"d{i}", "name": f"Device {i}", "rate": rng.choice([44100, 48000]),
             "rateRanges": [[22050, 48000], [88200, 96000]], **({"input": [1]} if kind != "out" else {})}
        if kind != "in":
            keys = ["1", "2"] + ["0"] * (rng.random() < 0.5)  # a main control, or channels only
            d.update(output=[2], layout=layout(rng.randrange(100, 103)),
                     volumeSteps=rng.choice([0, 64]), volume={k: rng.randint(32, 48) / 64 for k in keys})
        devices.append(d)
    return {"devices": devices, **{"default" + s: rng.choice(
        [d["id"] for d in devices if s.lower() in d]) for s in SIDES}}


def random_target(rng, devices):
    def side(d, output):
        s = {"uid": d["uid"], "rate": rng.choice([44100, 48000, 88200, 96000, None])}
        if output:  # volume keys may name a main control that the device lacks
            s["layout"] = rng.choice([layout(rng.randrange(200, 203)), None])
            s["volume"] = rng.choice([None, {k: round(rng.uniform(0.05, 0.4), 3) for k in rng.sample(
                sorted(set(d["volume"]) | {"0"}), rng.randint(1, 2))}])
        return {k: v for k, v in s.items() if v is not None}
    target = {}
    while not target:
        target = {s: side(rng.choice([d for d in devices if s in d]), s == "output")
                  for s in ("output", "input") if rng.random() < 0.8}
    if rng.random() < 0.3:  # a device named twice takes both values in turn
        target["others"] = [side(d, "output" in d) for d in rng.sample(devices, rng.randint(1, 2))]
    return target


def view(machine):
    # Every setting a switch may change: the defaults by UID, each device's rate, layout, volumes.
    uids = {d["id"]: d["uid"] for d in machine["devices"]}
    seen = {("default", s): uids.get(machine.get("default" + s)) for s in SIDES}
    for d in machine["devices"]:
        seen.update({(k, d["uid"]): d[k] for k in ("rate", "layout", "volume") if k in d})
    return seen


def asked(targets, s):  # the devices that switches asked to make the default
    return {t.get(s.lower(), {}).get("uid") for t in targets}


def user_changes(rng, tool, expected, targets):
    # The user picks values no switch asks for; a volume change leaves the device's whole map.
    m, changed = tool.machine(), set()
    for _ in range(rng.choice([0, 0, 1, 2])):
        d, s = rng.choice(m["devices"]), rng.choice(SIDES)
        what = rng.choice(["default"] + [k for k in ("rate", "layout", "volume") if k in d])
        if what == "default":
            taken = asked(targets, s) | {view(m)[("default", s)]}
            free = [e["id"] for e in m["devices"] if s.lower() in e and e["uid"] not in taken]
            if not free:
                continue
            m["default" + s] = rng.choice(free)
        elif what == "rate":
            d["rate"] = rng.choice([r for r in (22050, 32000) if r != d["rate"]])
        elif what == "layout":
            d["layout"] = layout(rng.randrange(300, 400))
        else:
            key = rng.choice(sorted(d["volume"]))
            d["volume"][key] = rng.choice([k / 64 for k in range(56, 65) if k / 64 != d["volume"][key]])
        changed.add(("default", s) if what == "default" else (what, d["uid"]))
    tool.set_machine(m)
    expected.update({key: view(m)[key] for key in changed})
    return bool(changed)


def faults(rng, tool, expected, targets):
    # A device goes, and a change is refused; returns the device, for its return. The system
    # moves a default whose device goes; when a switch made it the default, the user's comes
    # back: so a device a switch made a default goes only while it still is one (the one read
    # back after applying, else the one asked for).
    m, removed = tool.machine(), None
    d = rng.choice(m["devices"])
    items = json.loads(tool.entries().get("switched", b'{"items":[]}'))["items"]
    made = {(i["side"], i["readBack"] if i.get("readBack") not in (None, i.get("user"))
             else i.get("asked")) for i in items if i["kind"] == "default"}
    if rng.random() < 0.4 and all(
            (s.lower(), d["uid"]) in made and expected[("default", s)] != d["uid"]
            if m["default" + s] == d["id"] else d["uid"] not in asked(targets, s) for s in SIDES):
        removed = (m["devices"].index(d), d)
        m["devices"].remove(d)
        for s in (s for s in SIDES if m["default" + s] == d["id"]):
            m["default" + s] = rng.choice([e["id"] for e in m["devices"] if s.lower() in e])
    if rng.random() < 0.4:  # a refused default with its device gone would look like the user's
        owner, name = rng.choice([(m, "default" + s) for s in SIDES] * (removed is None) + [
            (e, p) for e in m["devices"] for p in ("rate", "layout", "volume", "volume.1")])
        owner["faults"] = {name: "refused"}
    tool.set_machine(m)
    return removed


def switch_id(tool):
    text = tool.entries().get("switched")
    return text and json.loads(text)["id"]


def last(run):  # its last line, once it ended with status 0
    assert run.finish() == 0
    return json.loads(run.out.splitlines()[-1])


def life(tool, rng, spans):
    tool.set_machine(machine := random_machine(rng))
    expected, targets, alive, changed = view(machine), [], {}, False
    for k in range(rng.choice([1, 1, 2])):  # a second while the first is in effect
        same = k and rng.random() < 0.5
        targets.append(target := targets[-1] if same else random_target(rng, machine["devices"]))
        assert tool.save(target) == (SAVED, 0)
        before, began, run = switch_id(tool), time.monotonic(), tool.switch()
        if rng.random() < 0.6:  # it says so and waits; else SIGKILL at any moment
            said = json.loads(run.read(1)[0])
            spans.append(time.monotonic() - began)
            assert said["type"] == "switched" and said["snapshot"] in ("kept", "taken"), said
            if not before or (same and not changed):
                assert said["snapshot"] == ("kept" if before else "taken"), said
            alive[run] = switch_id(tool)
        else:
            time.sleep(rng.uniform(0, sum(spans) / len(spans) * 1.5))
            run.p.kill()
            run.p.wait()
        changed = user_changes(rng, tool, expected, targets)
    removed, repaired, complete = faults(rng, tool, expected, targets), False, False
    # Whatever a kill cut short, every file of the folder (temporaries too) is whole.
    assert all(isinstance(json.loads(text), dict) for text in tool.entries().values())
    for run, mine in [(run, alive[run]) for run in rng.sample(list(alive), len(alive))] + [
            (None, None)] * 3:  # the processes' own restores in any order, then --restore
        if complete and not run:
            break
        now = switch_id(tool)
        if run:
            rng.choice(TRIGGERS)(run.p)
            said = last(run)
        else:
            out, status = tool.run("--restore", tool.dir)
            said = json.loads(out)
            assert status == 0 and out.count(b"\n") == 1
        assert sorted(said) == ["applied", "complete", "left", "skipped", "type"]
        if run and now != mine:  # not its switch: it changes nothing
            assert said == {"applied": [], "complete": True, "left": [],
                            "skipped": [ANOTHER if now else NONE], "type": "restored"}
            continue
        complete = said["complete"]
        assert complete == (switch_id(tool) is None) and (complete or not repaired)
        if not repaired:  # the device is back, nothing is refused: the next restore finishes
            m, repaired = tool.machine(), True
            for owner in [m] + m["devices"]:
                owner.pop("faults", None)
            if removed:
                m["devices"].insert(*removed)
            tool.set_machine(m)
    assert complete and "switched" not in tool.entries()
    assert view(tool.machine()) == expected


def test_whatever_happens_the_users_settings_come_back(tmp_path):
    spans = [0.02]  # seconds a switch took to say so: kills land up to a little beyond
    for seed in range(FIRST, FIRST + RUNS):
        print("seed", seed)
        tool = Tool(tmp_path / str(seed))
        try:
            life(tool, random.Random(seed), spans)
        finally:
            for run in tool.running:
                run.close()


def held(path):  # whether another process holds the file's flock
    with open(path) as file:
        try:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            return False
        except BlockingIOError:
            return True


def test_a_stopped_switch_holds_a_restore_off_the_folder_not_off_the_sound(tool):
    assert tool.save(ORVEL) == (SAVED, 0)
    original = tool.machine()
    for _ in range(50):  # stopped once it made the desk the default, between two calls
        run = tool.switch()
        while tool.machine()["defaultOutput"] != 2 and run.p.poll() is None:
            pass
        while run.p.poll() is None:
            run.p.send_signal(signal.SIGSTOP)
            os.waitpid(run.p.pid, os.WUNTRACED)
            if not held(tool.machine_path.with_name("machine.json.lock")):
                break
            run.p.send_signal(signal.SIGCONT)
            time.sleep(0.0005)
        if held(tool.dir / ".lock"):
            break
        run.p.send_signal(signal.SIGCONT)
        run.p.stdin.close()
        last(run)
    else:
        pytest.fail("the switch never stopped between calls while it held the folder")
    files, tool.env["ORVEL_SOUND_LOCK_PATIENCE_MS"] = tool.entries(), "300"
    said = json.loads(tool.run("--restore", tool.dir)[0])
    assert not said["complete"] and said["skipped"][-1] == "another orvel-sound is using the folder"
    assert f"the output {HP} as the default" in said["applied"]
    assert tool.entries() == files and tool.machine() == original  # put back, no file changed
    run.p.send_signal(signal.SIGCONT)
    assert json.loads(run.read(1)[0])["type"] == "switched"
    nxt = tool.switch()
    assert json.loads(nxt.read(1)[0])["type"] == "switched"
    for ending, skipped in ((nxt, []), (run, [NONE])):
        ending.p.send_signal(signal.SIGTERM)
        assert (said := last(ending))["complete"] and said["skipped"] == skipped, said
    assert tool.machine() == original and "switched" not in tool.entries()


@pytest.mark.parametrize("old_first", [True, False])
def test_an_old_switch_never_ends_a_newer_one(tool, old_first):
    assert tool.save(ORVEL) == (SAVED, 0)
    old = tool.switch()
    assert json.loads(old.read(1)[0])["type"] == "switched"
    m = tool.machine()
    m["devices"][0]["volume"]["1"] = 0.75  # the user's, during the switch: left
    tool.set_machine(m)
    said = json.loads(tool.run("--restore", tool.dir)[0])
    assert said["complete"] and len(said["left"]) == 1, said
    m = tool.machine()
    m["devices"][2]["rate"] = 44100  # the user's newer choice, with no switch in effect
    tool.set_machine(newer := m)
    new = tool.switch()
    assert json.loads(new.read(1)[0])["snapshot"] == "taken"
    mark = tool.entries()["switched"]
    for run in [old, new] if old_first else [new, old]:
        run.p.send_signal(signal.SIGTERM)
        said = last(run)
        if run is old:
            assert said == {"applied": [], "complete": True, "left": [],
                            "skipped": [ANOTHER if old_first else NONE], "type": "restored"}
            assert not old_first or tool.entries()["switched"] == mark
    assert tool.machine() == newer and "switched" not in tool.entries()


def test_a_switch_whose_folder_goes_puts_everything_back_from_memory(tool):
    assert tool.save(ORVEL) == (SAVED, 0)
    original, run = tool.machine(), tool.switch()
    assert json.loads(run.read(1)[0])["type"] == "switched"
    shutil.rmtree(tool.dir)
    run.p.send_signal(signal.SIGTERM)
    said = last(run)
    assert said["complete"] and said["skipped"] == said["left"] == [] and said["applied"], said
    assert tool.machine() == original and not tool.dir.exists()
