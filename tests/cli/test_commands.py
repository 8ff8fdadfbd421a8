"""Black-box tests of orvel-sound-sim: exact lines, exit statuses, files, machine."""
import base64
import json
import signal
import time

import pytest

from sim_tool import EXE, error, line

NOT_A_LINE = "Orvel's settings are one JSON line on stdin"
USAGE = error("say what to do: --read, --devices, --save DIR, --switch DIR, --restore DIR")
SLASHED = base64.b64encode(b"\x00\xff\xc0").decode()  # "AP/A"
HP = "Haut-parleurs intégrés"
# The user is on the built-in speakers and the microphone; some devices lack
# properties (no name or rate ranges, no UID, nothing at all).
MACHINE = {"defaultOutput": 3, "defaultInput": 4, "devices": [
    {"id": 2, "uid": "desk-uid", "name": "Desk Speakers", "output": [2], "input": [],
     "rate": 44100, "rateRanges": [[44100, 44100], [48000, 48000]],
     "layout": "AgBlAAAAAAAAAAAA", "volume": {"0": 0.5, "1": 0.25}},
    {"id": 3, "uid": "hp-uid", "name": HP, "output": [2], "rate": 44100, "layout": SLASHED,
     "rateRanges": [[44100, 44100], [48000, 96000]], "volume": {"1": 0.25, "2": 0.75}},
    {"id": 4, "uid": "mic-uid", "input": [1], "rate": 16000},
    {"id": 5, "name": "no uid", "output": [2]}, {"id": 6, "uid": "bare-uid"}]}
MIC = {"rate": 16000.0, "uid": "mic-uid"}
READ = line({"settings": {"input": MIC, "output": {
    "layout": SLASHED, "name": HP, "rate": 44100.0, "uid": "hp-uid",
    "volume": {"1": 0.25, "2": 0.75}}}, "type": "settings"})
DESK = {"output": {"uid": "desk-uid", "name": "Desk Speakers", "rate": 48000}}
SWITCHED = line({"applied": ["the output Desk Speakers as the default",
                             "the output Desk Speakers at 48000 Hz"],
                 "skipped": [], "snapshot": "taken", "type": "switched"})
RESTORED = line({"applied": ["Desk Speakers at 44100 Hz", f"the output {HP} as the default"],
                 "skipped": [], "type": "restored"})
SAVED = line({"type": "saved"})
KEPT = line({"applied": [], "skipped": [], "snapshot": "kept", "type": "switched"})


@pytest.mark.parametrize("args, out, status", [
    (["--backend"], b"coreaudio\n", 0),
    (["--read", "--backend"], b"coreaudio\n", 0),
    ([], USAGE, 1),
    (["read", "--reads", "-read", "--switc", "--Read"], USAGE, 1),
    (["--switch", "{dir}", "--restore"], error("--restore needs a folder"), 1),
    (["--switch", "{dir}"], error("Orvel's sound isn't set up yet"), 1),
    # --read beats --save (no stdin read), --devices too; --restore beats --switch;
    # --save beats both.
    (["--save", "{dir}", "--read", "ignored"], READ, 0),
    (["--devices", "--read"], READ, 0),
    (["--switch", "{dir}", "--restore", "{dir}"],
     line({"applied": [], "skipped": ["no snapshot to put back"], "type": "restored"}), 0),
    (["--restore", "{dir}", "--save", "{dir}"], error(NOT_A_LINE), 1),
])
def test_dispatch_exact_output(tool, args, out, status):
    tool.set_machine(MACHINE)
    assert tool.run(*[a.format(dir=tool.dir) for a in args]) == (out, status)


def test_read_and_devices_exact_lines(tool):
    tool.set_machine(dict(MACHINE, defaultOutput=2))  # all channels alike: main control only
    assert tool.run("--read") == (line({"settings": {"input": MIC, "output": {
        "layout": "AgBlAAAAAAAAAAAA", "name": "Desk Speakers", "rate": 44100.0,
        "uid": "desk-uid", "volume": {"0": 0.5}}}, "type": "settings"}), 0)
    assert tool.run("--devices") == (b"".join(line(dict(zip(
        ["inputs", "name", "outputs", "rate", "rates", "uid"], device))) for device in [
            (0, "Desk Speakers", 2, 44100.0, [44100.0, 48000.0], "desk-uid"),
            (0, HP, 2, 44100.0, [44100.0, 48000.0, 96000.0], "hp-uid"),
            (1, "", 0, 16000.0, [], "mic-uid"), (0, "", 0, 0.0, [], "bare-uid")]), 0)


def side(**fields):
    return {"output": dict({"uid": "desk-uid", "name": "Desk Speakers"}, **fields)}


@pytest.mark.parametrize("stdin, message", [  # refusals in the order of the checks
    (b"", NOT_A_LINE),
    (b'{"output":{"uid":"gone","name":"\xff"}}\n', NOT_A_LINE),
    ({"output": {"name": "Desk Speakers"}}, NOT_A_LINE),
    ({}, "Orvel's settings name an output or an input"),
    ({"output": {"uid": "gone", "name": "a/b Zoé"}}, "a/b Zoé isn't a connected output"),
    (dict(side(), input={"uid": "desk-uid", "name": "Desk"}), "Desk isn't a connected input"),
    (dict(side(rate=7999.999), input={"uid": "gone"}), "7999.999 Hz isn't a sample rate"),
    ({"output": {"uid": "gone", "rate": 1}}, "gone isn't a connected output"),
    (side(rate=768000.5), "768000.5 Hz isn't a sample rate"),
    (side(rate=96000000), "96000000.0 Hz isn't a sample rate"),
    (side(rate=1e300), "1e+300 Hz isn't a sample rate"),
    (side(rate=5, layout=""), "5.0 Hz isn't a sample rate"),
    (side(layout="AAA"), "that channel layout isn't readable"),
    (side(layout="AAAA", volume={"1": 1.0001}), "a volume runs from 0 to 1"),
    *[(side(**bound), None) for bound in [  # the bounds, accepted
        {"rate": 8000}, {"rate": 768000}, {"layout": "AAAA"}, {"volume": {"0": 0, "1": 1}}]],
])
def test_save_refusals_keep_earlier_file_and_bounds_pass(tool, stdin, message):
    tool.set_machine(MACHINE)
    assert tool.save(DESK) == (SAVED, 0)
    before = (tool.dir / "orvel.json").read_bytes()
    stdin = stdin if isinstance(stdin, bytes) else json.dumps(stdin).encode() + b"\n"
    out = tool.run("--save", tool.dir, stdin=stdin)
    assert out == ((error(message), 1) if message else (SAVED, 0))
    assert message is None or (tool.dir / "orvel.json").read_bytes() == before


def test_save_stores_sorted_compact_known_keys_and_reads_one_line(tool):
    tool.set_machine(MACHINE)
    assert tool.run("--save", tool.dir, stdin=b'{"zz":1,"input":{"uid":"mic-uid","x":1},"output":'
                    b'{"uid":"desk-uid","rate":48000,"layout":"AP/A"}}\r\nx\n') == (SAVED, 0)
    assert (tool.dir / "orvel.json").read_bytes().rstrip(b"\n") + b"\n" == line({"input": {
        "uid": "mic-uid"}, "output": {"layout": "AP/A", "rate": 48e3, "uid": "desk-uid"}})
    assert [p.name for p in tool.dir.iterdir()] == ["orvel.json"]


@pytest.fixture
def desk(tool):
    # A machine, Orvel's Desk Speakers settings saved, and the user's state.
    tool.set_machine(MACHINE)
    assert tool.save(DESK)[1] == 0
    tool.original = tool.state()
    return tool


def switched(tool):
    run = tool.switch()
    assert run.read(1)[0] == SWITCHED
    return run


TRIGGERS = {  # each gets the running switch (for parent-death, the shell that started it)
    "padded-line": lambda p: p.stdin.write(b"  \t restore\t \n"),
    "end-of-input": lambda p: p.stdin.close(),
    **{s.name: lambda p, s=s: p.send_signal(s) for s in (signal.SIGTERM, signal.SIGINT,
                                                          signal.SIGHUP)},
    "SIGTERM-and-line": lambda p: (p.send_signal(signal.SIGTERM), p.stdin.write(b"restore\n")),
    "parent-death": lambda p: p.kill(),
}


@pytest.mark.parametrize("trigger", TRIGGERS)
def test_each_trigger_restores_once(desk, trigger):
    # fd 3 carries stdin past the shell's /dev/null for background jobs.
    run = desk.switch(["sh", "-c", 'exec 3<&0; "$0" --switch "$1" <&3 & wait', EXE, desk.dir]
                      if trigger == "parent-death" else None)
    assert run.read(1)[0] == SWITCHED
    assert desk.state()[0] == 2 and desk.state()[2][2][0] == 48000
    run.p.stdin.write(b"Restore\nrestore now\nre store\n\n")  # all ignored
    time.sleep(0.2)
    assert run.p.poll() is None
    TRIGGERS[trigger](run.p)
    started = time.monotonic()
    assert run.finish() == 0 or trigger == "parent-death"  # the shell's status, not the tool's
    assert time.monotonic() - started < 2.5 and run.out == SWITCHED + RESTORED
    assert desk.state() == desk.original and not (desk.dir / "switched").exists()


def test_restore_before_switched_line_waits_for_it(desk):
    run = desk.switch()
    run.p.stdin.write(b"restore\n")
    assert run.finish() == 0 and run.out == SWITCHED + RESTORED and desk.state() == desk.original


def test_second_switch_keeps_first_snapshot(desk):
    switched(desk).close()  # SIGKILL: the machine stays on Orvel's settings
    snapshot = (desk.dir / "snapshot.json").read_bytes()
    second = desk.switch()
    assert second.read(1)[0] == KEPT
    second.p.stdin.close()
    assert second.finish() == 0 and second.out == KEPT + RESTORED
    assert (desk.dir / "snapshot.json").read_bytes() == snapshot and desk.state() == desk.original


def test_restore_after_device_lost(desk):
    switched(desk).close()
    machine = desk.machine()
    desk.set_machine(dict(machine, devices=[d for d in machine["devices"] if d["id"] != 3]))
    assert desk.run("--restore", desk.dir) == (line({
        "applied": ["Desk Speakers at 44100 Hz"], "skipped": [f"the output {HP}: not connected"],
        "type": "restored"}), 0)
    assert desk.machine()["devices"][0]["rate"] == 44100 and not (desk.dir / "switched").exists()

