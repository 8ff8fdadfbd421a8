"""Black-box tests of orvel-sound-sim: exact lines, exit statuses, files, machine."""
import base64
import json
import random
import re
import signal
import time

import pytest

from sim_tool import EXE, WAIT, block_and_raise, error, line

USAGE = error("say what to do: --read, --devices, --save DIR, --switch DIR, --restore DIR")
NOT_A_LINE = "Orvel's settings are one JSON line on stdin"
SLASHED = base64.b64encode(b"\x00\xff\xc0").decode()  # "AP/A"
HP = "Haut-parleurs intégrés"

# The user is on the built-in speakers and the microphone; some devices lack
# properties (no name or rate ranges, no UID, nothing at all).
MACHINE = {
    "defaultOutput": 3, "defaultInput": 4,
    "devices": [
        {"id": 2, "uid": "desk-uid", "name": "Desk Speakers", "output": [2], "input": [],
         "rate": 44100, "rateRanges": [[44100, 44100], [48000, 48000]],
         "layout": "AgBlAAAAAAAAAAAA", "volume": {"0": 0.5, "1": 0.25}},
        {"id": 3, "uid": "hp-uid", "name": HP, "output": [2], "rate": 44100,
         "rateRanges": [[44100, 44100], [48000, 96000]], "layout": SLASHED,
         "volume": {"1": 0.25, "2": 0.75}},
        {"id": 4, "uid": "mic-uid", "input": [1], "rate": 16000},
        {"id": 5, "name": "no uid", "output": [2]},
        {"id": 6, "uid": "bare-uid"},
    ]}
DESK = {"output": {"uid": "desk-uid", "name": "Desk Speakers", "rate": 48000}}
SWITCHED = line({"applied": ["the output Desk Speakers as the default",
                             "the output Desk Speakers at 48000 Hz"],
                 "skipped": [], "snapshot": "taken", "type": "switched"})
RESTORED = line({"applied": ["Desk Speakers at 44100 Hz", f"the output {HP} as the default"],
                 "skipped": [], "type": "restored"})
KEPT = line({"applied": [], "skipped": [], "snapshot": "kept", "type": "switched"})
NO_SNAPSHOT = line({"applied": [], "skipped": ["no snapshot to put back"], "type": "restored"})


# ---------------------------------------------------------------- foundation

@pytest.mark.parametrize("args, out, status", [
    (["--backend"], b"coreaudio\n", 0),
    (["--read", "--backend"], b"coreaudio\n", 0),
    ([], USAGE, 1),
    (["--Read"], USAGE, 1),
    (["read", "--reads", "-read", "--switc"], USAGE, 1),
    (["--save"], error("--save needs a folder"), 1),
    (["--restore"], error("--restore needs a folder"), 1),
    (["--switch"], error("--switch needs a folder"), 1),
    (["--switch", "{dir}", "--restore"], error("--restore needs a folder"), 1),
])
def test_dispatch_exact_output(tool, args, out, status):
    assert tool.run(*[a.format(dir=tool.dir) for a in args]) == (out, status)


def test_no_machine_file_reads_empty_settings(tool):
    assert tool.run("--read") == (b'{"settings":{},"type":"settings"}\n', 0)
    assert tool.run("--devices") == (b"", 0)


def test_dispatch_order(tool):
    tool.set_machine(MACHINE)
    read, _ = tool.run("--read")
    assert read.startswith(b'{"settings":')
    # --read beats --save (no stdin is read, no folder made); --devices too.
    assert tool.run("--save", tool.dir, "--read", "ignored") == (read, 0)
    assert tool.run("--devices", "--read") == (read, 0)
    assert not tool.dir.exists()
    # --restore beats --switch, and --save beats both.
    assert tool.run("--switch", tool.dir, "--restore", tool.dir) == (NO_SNAPSHOT, 0)
    assert tool.run("--restore", tool.dir, "--save", tool.dir) == (error(NOT_A_LINE), 1)


@pytest.mark.parametrize("default_output, output_side", [
    (3, {"layout": SLASHED, "name": HP, "rate": 44100.0, "uid": "hp-uid",
         "volume": {"1": 0.25, "2": 0.75}}),
    (2, {"layout": "AgBlAAAAAAAAAAAA", "name": "Desk Speakers", "rate": 44100.0,
         "uid": "desk-uid", "volume": {"0": 0.5}}),
    (6, {"uid": "bare-uid", "volume": {}}),
])
def test_read_exact_line(tool, default_output, output_side):
    tool.set_machine(dict(MACHINE, defaultOutput=default_output))
    out, status = tool.run("--read")
    assert (out, status) == (line({"settings": {"input": {"rate": 16000.0, "uid": "mic-uid"},
                                                "output": output_side}, "type": "settings"}), 0)
    assert default_output != 3 or b'"AP\\/A"' in out and "intégrés".encode() in out


def test_devices_exact_lines(tool):
    tool.set_machine(MACHINE)
    assert tool.run("--devices") == (b"".join(line(dict(zip(
        ["inputs", "name", "outputs", "rate", "rates", "uid"], device))) for device in [
            (0, "Desk Speakers", 2, 44100.0, [44100.0, 48000.0], "desk-uid"),
            (0, HP, 2, 44100.0, [44100.0, 48000.0, 96000.0], "hp-uid"),
            (1, "", 0, 16000.0, [], "mic-uid"),
            (0, "", 0, 0.0, [], "bare-uid")]), 0)


# ---------------------------------------------------------------- save

def side(**fields):
    return dict({"uid": "desk-uid", "name": "Desk Speakers"}, **fields)


@pytest.mark.parametrize("stdin, message", [
    (b"", NOT_A_LINE),
    (b"\n", NOT_A_LINE),
    (b"[]\n", NOT_A_LINE),
    ({"output": {"name": "Desk Speakers"}}, NOT_A_LINE),
    ({}, "Orvel's settings name an output or an input"),
    ({"others": [{"uid": "desk-uid"}]}, "Orvel's settings name an output or an input"),
    ({"output": {"uid": "mic-uid", "name": "Mic"}}, "Mic isn't a connected output"),
    ({"output": {"uid": "mic-uid"}}, "mic-uid isn't a connected output"),
    ({"output": {"uid": "gone", "name": ""}}, " isn't a connected output"),
    ({"output": {"uid": "gone", "name": "a/b Zoé"}}, "a/b Zoé isn't a connected output"),
    (b'{"output":{"uid":"gone","name":"\xff"}}\n', NOT_A_LINE),
    ({"output": side(), "input": {"uid": "desk-uid", "name": "Desk"}},
     "Desk isn't a connected input"),
    # The output is checked before the input; not connected hides the rate.
    ({"output": side(rate=7999.999), "input": {"uid": "gone"}},
     "7999.999 Hz isn't a sample rate"),
    ({"output": {"uid": "gone", "rate": 1}}, "gone isn't a connected output"),
    ({"output": side(rate=768000.5)}, "768000.5 Hz isn't a sample rate"),
    ({"output": side(rate=0)}, "0.0 Hz isn't a sample rate"),
    ({"output": side(rate=-44100)}, "-44100.0 Hz isn't a sample rate"),
    ({"output": side(rate=96000000)}, "96000000.0 Hz isn't a sample rate"),
    ({"output": side(rate=1e300)}, "1e+300 Hz isn't a sample rate"),
    ({"input": {"uid": "mic-uid", "rate": 7999.5}}, "7999.5 Hz isn't a sample rate"),
    ({"output": side(rate=5, layout="")}, "5.0 Hz isn't a sample rate"),
    ({"output": side(layout="")}, "that channel layout isn't readable"),
    ({"output": side(layout="AAA")}, "that channel layout isn't readable"),
    ({"output": side(layout="AA AA")}, "that channel layout isn't readable"),
    ({"output": side(layout="AAAA", volume={"1": 1.0001})}, "a volume runs from 0 to 1"),
    ({"output": side(volume={"0": 0, "x": -0.01})}, "a volume runs from 0 to 1"),
])
def test_save_refuses_and_keeps_earlier_file(tool, stdin, message):
    tool.set_machine(MACHINE)
    assert tool.save(DESK) == (line({"type": "saved"}), 0)
    before = (tool.dir / "orvel.json").read_bytes()
    if not isinstance(stdin, bytes):
        stdin = json.dumps(stdin).encode() + b"\n"
    assert tool.run("--save", tool.dir, stdin=stdin) == (error(message), 1)
    assert (tool.dir / "orvel.json").read_bytes() == before


@pytest.mark.parametrize("output", [
    side(rate=8000), side(rate=768000), side(layout="AAAA"),
    side(volume={"0": 0, "1": 1}), side(volume={}),
])
def test_save_accepts_bounds(tool, output):
    tool.set_machine(MACHINE)
    assert tool.save({"output": output}) == (line({"type": "saved"}), 0)


def test_save_stores_sorted_compact_known_keys_and_reads_one_line(tool):
    tool.set_machine(MACHINE)
    stdin = (b'{"zz":1,"input":{"uid":"mic-uid","extra":[1]},'
             b'"output":{"rate":48000,"uid":"desk-uid","name":"Desk Speakers","layout":"AP/A"}}'
             b'\r\nnot json\n')
    assert tool.run("--save", tool.dir, stdin=stdin) == (line({"type": "saved"}), 0)
    stored = (tool.dir / "orvel.json").read_bytes()
    assert stored.rstrip(b"\n") == (b'{"input":{"uid":"mic-uid"},"output":{"layout":"AP\\/A",'
                                    b'"name":"Desk Speakers","rate":48000.0,"uid":"desk-uid"}}')
    assert [p.name for p in tool.dir.iterdir()] == ["orvel.json"]


def test_save_with_stdin_closed_still_makes_the_folder(tool):
    assert tool.run("--save", tool.dir / "a" / "b", stdin=b"") == (
        error(NOT_A_LINE), 1)
    assert (tool.dir / "a" / "b").is_dir()


# ---------------------------------------------------------------- switch and restore

@pytest.fixture
def desk(tool):
    """A machine, Orvel's Desk Speakers settings saved, and the user's state."""
    tool.set_machine(MACHINE)
    assert tool.save(DESK)[1] == 0
    tool.original = tool.state()
    return tool


def switched(tool, **popen):
    run = tool.switch(**popen)
    assert run.read(1)[0] == SWITCHED
    return run


def assert_one_restore(tool, run):
    assert run.finish() == 0
    assert run.out == SWITCHED + RESTORED
    assert tool.state() == tool.original
    assert not (tool.dir / "switched").exists()


def write(data):
    return lambda run: run.p.stdin.write(data)


def send(*signums):
    return lambda run: [run.p.send_signal(s) for s in signums]


TRIGGERS = {
    "padded": write(b"  \t restore\t \n"),
    "crlf": write(b"restore\r\n"),
    "unicode-blanks": write("\u00a0restore\u3000\n".encode()),
    "after-long-line": write(b"x" * 100000 + b"\nrestore\n"),
    "end-of-input": lambda run: run.p.stdin.close(),
    "SIGTERM": send(signal.SIGTERM),
    "SIGINT": send(signal.SIGINT),
    "SIGHUP": send(signal.SIGHUP),
    "SIGTERM-and-line": lambda run: (send(signal.SIGTERM)(run), write(b"restore\n")(run)),
    "all-signals": send(signal.SIGTERM, signal.SIGINT, signal.SIGHUP),
}


@pytest.mark.parametrize("trigger", TRIGGERS.values(), ids=TRIGGERS)
def test_each_trigger_restores_once(desk, trigger):
    run = switched(desk)
    assert desk.state()[0] == 2 and desk.state()[2][2][0] == 48000
    assert (desk.dir / "switched").exists()
    snapshot = (desk.dir / "snapshot.json").read_bytes()
    run.p.stdin.write(b"Restore\nrestore now\nre store\n\n")  # all ignored
    time.sleep(0.1)
    assert run.p.poll() is None
    trigger(run)
    assert_one_restore(desk, run)
    assert (desk.dir / "snapshot.json").read_bytes() == snapshot


@pytest.mark.parametrize("early", [
    {"preexec_fn": block_and_raise(signal.SIGTERM)},  # a signal during the switch
    {},  # "restore" written before the switched line
])
def test_early_trigger_waits_for_switched_line(desk, early):
    run = desk.switch(**early)
    if not early:
        run.p.stdin.write(b"restore\n")
    assert_one_restore(desk, run)


def test_parent_death_is_noticed(desk):
    # An intermediate shell starts the tool (stdin passed on) and is then killed.
    run = desk.start(["sh", "-c", '"$0" --switch "$1" <&0 & wait', EXE, str(desk.dir)])
    assert run.read(1)[0] == SWITCHED
    time.sleep(0.2)
    run.p.kill()
    run.p.wait(timeout=WAIT)
    killed = time.monotonic()
    run.read(2, timeout=5)
    assert time.monotonic() - killed < 2.5
    run.read(timeout=5)  # stdout closes: the tool has ended
    assert run.out == SWITCHED + RESTORED
    assert desk.state() == desk.original


def test_closed_stdout_neither_kills_nor_cuts_the_restore(desk):
    run = switched(desk)
    run.p.stdout.close()  # the host is gone: every later write fails
    run.p.stdin.write(b"restore\n")
    assert run.p.wait(timeout=WAIT) == 0
    assert desk.state() == desk.original


def test_temporary_file_never_follows_a_symlink(desk):
    victim = desk.tmp / "victim"
    victim.write_bytes(b"keep")
    (desk.dir / ".snapshot.json.tmp").symlink_to(victim)
    run = switched(desk)
    run.p.stdin.close()
    assert run.finish() == 0
    assert victim.read_bytes() == b"keep"
    assert not (desk.dir / "snapshot.json").is_symlink()


def test_second_switch_keeps_first_snapshot(desk):
    first = switched(desk)
    first.p.kill()  # a crash: the machine stays on Orvel's settings
    first.p.wait(timeout=WAIT)
    snapshot = (desk.dir / "snapshot.json").read_bytes()
    second = desk.switch()
    assert second.read(1)[0] == KEPT
    assert (desk.dir / "snapshot.json").read_bytes() == snapshot
    second.p.stdin.close()
    assert second.finish() == 0
    assert second.out == KEPT + RESTORED
    assert desk.state() == desk.original


def test_first_switch_already_matching_keeps_no_snapshot(desk):
    desk.set_machine(dict(MACHINE, defaultOutput=2))
    assert desk.save({"output": {"uid": "desk-uid"}})[1] == 0
    run = desk.switch()
    assert run.read(1)[0] == KEPT
    run.p.stdin.close()
    assert run.finish() == 0
    assert run.out == KEPT + NO_SNAPSHOT
    assert not (desk.dir / "snapshot.json").exists()


@pytest.mark.parametrize("blocked, message, pending", [
    ("snapshot.json", "couldn't keep your settings, so nothing was changed", None),
    ("switched", "couldn't mark the switch, so nothing was changed", None),
    ("snapshot.json", "couldn't keep your settings, so nothing was changed", signal.SIGTERM),
    ("switched", "couldn't mark the switch, so nothing was changed", signal.SIGHUP),
])
def test_unwritable_folder_changes_nothing(desk, blocked, message, pending):
    (desk.dir / blocked).mkdir()
    machine = desk.machine_path.read_bytes()
    extra = {"preexec_fn": block_and_raise(pending)} if pending else {}
    run = desk.switch(**extra)
    assert run.finish() == 1
    assert run.out == error(message)
    assert desk.machine_path.read_bytes() == machine
    assert (desk.dir / blocked).is_dir()


def test_switch_without_settings(tool):
    tool.set_machine(MACHINE)
    machine = tool.machine_path.read_bytes()
    assert tool.run("--switch", tool.dir) == (error("Orvel's sound isn't set up yet"), 1)
    assert tool.machine_path.read_bytes() == machine


def test_restore_after_device_lost(desk):
    run = switched(desk)
    run.p.kill()
    run.p.wait(timeout=WAIT)
    snapshot = (desk.dir / "snapshot.json").read_bytes()
    machine = desk.machine()
    machine["devices"] = [d for d in machine["devices"] if d["id"] != 3]
    desk.set_machine(machine)
    out, status = desk.run("--restore", desk.dir)
    assert status == 0
    assert f"the output {HP}: not connected" in json.loads(out)["skipped"]
    assert desk.machine()["devices"][0]["rate"] == 44100  # Desk got its own rate back
    assert not (desk.dir / "switched").exists()
    assert (desk.dir / "snapshot.json").read_bytes() == snapshot


@pytest.mark.parametrize("snapshot", [None, b"{broken", b"{}"])
def test_restore_without_usable_snapshot(tool, snapshot):
    tool.dir.mkdir()
    (tool.dir / "switched").write_text("2026-01-01T00:00:00Z")
    if snapshot is not None:
        (tool.dir / "snapshot.json").write_bytes(snapshot)
    expected = line({"applied": [], "skipped": [], "type": "restored"}) \
        if snapshot == b"{}" else NO_SNAPSHOT
    assert tool.run("--restore", tool.dir) == (expected, 0)
    assert not (tool.dir / "switched").exists()


def test_sigkill_at_any_instant_leaves_a_recoverable_folder(tool):
    """Kills land at start-up, in the switch's writes and, with "restore" sent
    at once, in the restore's; `--restore DIR` then always brings the user back."""
    tool.set_machine(MACHINE)
    assert tool.save(DESK)[1] == 0
    started = time.monotonic()
    switched(tool).close()
    span = time.monotonic() - started  # start-up to the switched line
    rng = random.Random(1234)
    for attempt in range(50):
        tool.dir = tool.tmp / f"work{attempt}"
        tool.set_machine(MACHINE)
        assert tool.save(DESK)[1] == 0
        original = tool.state()
        run = tool.switch()
        if attempt % 2:
            run.p.stdin.write(b"restore\n")
        time.sleep(rng.uniform(0, span * (1.1 + attempt % 2)))
        run.p.kill()
        run.p.wait(timeout=WAIT)
        run.close()
        tool.machine()  # the machine file is whole
        for name in ("orvel.json", "snapshot.json"):
            if (tool.dir / name).exists():
                assert isinstance(json.loads((tool.dir / name).read_text()), dict)
        if (tool.dir / "switched").exists():
            assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ",
                                (tool.dir / "switched").read_text())
        out, status = tool.run("--restore", tool.dir)
        assert status == 0 and json.loads(out)["type"] == "restored"
        assert tool.state() == original, f"attempt {attempt}"
        assert not (tool.dir / "switched").exists()
