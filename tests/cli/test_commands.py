"""Black-box tests of orvel-sound-sim: exact lines, exit statuses, files, machine."""
import json
import re
import signal
import time

import pytest

from sim_tool import (DESK, EXE, HP, NO_SWITCH, NOT_A_LINE, RESTORED, SAVED, SWITCHED, error, line,
                      switched)

USAGE = error("say what to do: --read, --devices, --save DIR, --switch DIR, --restore DIR")
READ = line({"settings": {"input": {"rate": 16000.0, "uid": "mic-uid"}, "output": {
    "layout": "AP/A", "name": HP, "rate": 44100.0, "uid": "hp-uid",
    "volume": {"1": 0.25, "2": 0.75}}}, "type": "settings"})
DEVICES = b"".join(line(dict(zip(["inputs", "name", "outputs", "rate", "rates", "uid"], d)))
                   for d in [(0, "Desk Speakers", 2, 44100.0, [44100.0, 48000.0], "desk-uid"),
                             (0, HP, 2, 44100.0, [44100.0, 48000.0, 96000.0], "hp-uid"),
                             (1, "", 0, 16000.0, [16000.0, 48000.0], "mic-uid"),
                             (0, "", 0, 0.0, [], "bare-uid")])  # with a UID, in the machine's order


@pytest.mark.parametrize("args, out, status", [  # the first of the list in the protocol wins
    (["--read", "--backend"], b"coreaudio\n", 0),
    (["read", "--reads", "-read", "--switc", "--Read"], USAGE, 1),
    (["--switch", "{dir}", "--restore"], error("--restore needs a folder"), 1),
    (["--switch", "{dir}"], error("Orvel's sound isn't set up yet"), 1),
    (["--save", "{dir}", "--read", "ignored"], READ, 0),  # stdin not read
    (["--devices", "--read"], READ, 0),
    (["--devices", "--save", "{dir}"], DEVICES, 0),
    (["--switch", "{dir}", "--restore", "{dir}"], NO_SWITCH, 0),
    (["--restore", "{dir}", "--save", "{dir}"], error(NOT_A_LINE), 1),
])
def test_dispatch_exact_output(tool, args, out, status):
    assert tool.run(*[a.format(dir=tool.dir) for a in args]) == (out, status)


def side(**fields):
    return {"output": dict({"uid": "desk-uid", "name": "Desk Speakers"}, **fields)}


@pytest.mark.parametrize("stdin, message", [  # each message; their order is fuzzed
    (b"", NOT_A_LINE),
    ({}, "Orvel's settings name an output or an input"),
    ({"output": {"uid": "gone", "name": "a/b Zoé"}}, "a/b Zoé isn't a connected output"),
    (dict(side(), input={"uid": "desk-uid", "name": "Desk"}), "Desk isn't a connected input"),
    (side(rate=96000000), "96000000.0 Hz isn't a sample rate"),
    (side(layout="AAA"), "that channel layout isn't readable"),
    (side(layout="AAAA", volume={"1": 1.0001}), "a volume runs from 0 to 1"),
    (dict(side(rate=768000, layout="AAAA", volume={"0": 0, "1": 1}),  # the bounds pass
          input={"uid": "mic-uid", "rate": 8000}), None),
])
def test_save_refusals_keep_the_earlier_file(desk, stdin, message):
    before = (desk.dir / "orvel.json").read_bytes()
    stdin = stdin if isinstance(stdin, bytes) else json.dumps(stdin).encode() + b"\n"
    assert desk.run("--save", desk.dir, stdin=stdin) == ((error(message), 1) if message else
                                                         (SAVED, 0))
    assert message is None or (desk.dir / "orvel.json").read_bytes() == before


def test_save_stores_sorted_compact_known_keys_and_reads_one_line(tool):
    assert tool.run("--save", tool.dir, stdin=b'{"zz":1,"input":{"uid":"mic-uid","x":1},"output":'
                    b'{"uid":"desk-uid","rate":48000,"layout":"AP/A"}}\r\nx\n') == (SAVED, 0)
    assert (tool.dir / "orvel.json").read_bytes().rstrip(b"\n") + b"\n" == line({"input": {
        "uid": "mic-uid"}, "output": {"layout": "AP/A", "rate": 48e3, "uid": "desk-uid"}})
    assert sorted(p.name for p in tool.dir.iterdir()) == [".lock", "orvel.json"]


TRIGGERS = {  # each gets the running switch (for parent-death, the shell that started it)
    "padded-line": lambda p: p.stdin.write(" \t\u00a0restore\u3000 \n".encode()),
    "end-of-input": lambda p: p.stdin.close(),
    **{s.name: lambda p, s=s: p.send_signal(s) for s in (signal.SIGTERM, signal.SIGINT,
                                                          signal.SIGHUP)},
    "SIGTERM-and-line": lambda p: (p.send_signal(signal.SIGTERM), p.stdin.write(b"restore\n")),
    "parent-death": lambda p: p.kill(),
}


def ignore_triggers():  # as nohup, or a host that ignores them, starts its children
    for s in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(s, signal.SIG_IGN)


def ignored(pid):  # the signals whose action is "ignore" (macOS would drop them)
    mask = int(re.search(r"SigIgn:\s*(\w+)", open(f"/proc/{pid}/status").read())[1], 16)
    return {s for s in signal.Signals if mask >> (s - 1) & 1}


@pytest.mark.parametrize("trigger", TRIGGERS)
def test_each_trigger_restores_once(desk, trigger):
    # fd 3 carries stdin past the shell's /dev/null for background jobs.
    run = desk.start(argv=["sh", "-c", 'exec 3<&0; "$0" --switch "$1" <&3 & wait', EXE, desk.dir]
                     ) if trigger == "parent-death" else desk.switch(preexec_fn=ignore_triggers)
    assert run.read(1)[0] == SWITCHED
    if trigger != "parent-death":
        assert not ignored(run.p.pid) & {signal.SIGTERM, signal.SIGINT, signal.SIGHUP}
    assert (desk.machine()["defaultOutput"], desk.machine()["devices"][0]["rate"]) == (2, 48000)
    run.p.stdin.write("Restore\nrestore now\n\u200brestore\nrestored\n\n".encode())  # ignored
    time.sleep(0.2)
    assert run.p.poll() is None
    TRIGGERS[trigger](run.p)
    started = time.monotonic()
    assert run.finish() == 0 or trigger == "parent-death"  # the shell's status, not the tool's
    assert time.monotonic() - started < 2.5 and run.out == SWITCHED + RESTORED
    assert desk.machine() == desk.original and not (desk.dir / "switched").exists()


def test_a_switch_in_effect_is_kept_and_a_lost_device_stays_owed(desk):
    # A rate the desk refuses: the machine can never hold Orvel's settings.
    (desk.dir / "orvel.json").write_text(json.dumps({"output": dict(DESK["output"], rate=96000)}))
    refused = {"applied": [], "skipped": ["the output Desk Speakers at 96000 Hz"],
               "snapshot": "kept", "type": "switched"}
    first = desk.switch()
    assert json.loads(first.read(1)[0])["snapshot"] == "taken"
    second = desk.switch()  # while the first runs, then after both were SIGKILLed
    assert json.loads(second.read(1)[0]) == refused
    first.close(), second.close()
    assert json.loads(desk.switch().read(1)[0]) == refused
    machine = desk.machine()
    desk.set_machine(dict(machine, devices=[d for d in machine["devices"] if d["id"] != 3]))
    owed = line({"applied": [], "complete": False, "left": [],
                 "skipped": [f"the output {HP}: not connected"], "type": "restored"})
    assert desk.run("--restore", desk.dir) == (owed, 0)
    desk.set_machine(machine)  # the device is back: what was owed comes back
    assert desk.run("--restore", desk.dir) == (line({
        "applied": [f"the output {HP} as the default"], "complete": True, "left": [],
        "skipped": [], "type": "restored"}), 0)
    assert desk.machine() == desk.original and desk.run("--restore", desk.dir) == (NO_SWITCH, 0)
