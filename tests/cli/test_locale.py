"""orvel-sound-sim under a locale whose decimal separator is a comma."""
import os
import subprocess

import pytest

from sim_tool import WAIT, Tool, error

MACHINE = {"defaultOutput": 3, "defaultInput": 3, "devices": [
    {"id": 2, "uid": "desk-uid", "name": "Desk", "output": [2], "rate": 48000,
     "rateRanges": [[8000, 192000]], "volume": {"0": 0.5}},
    {"id": 3, "uid": "hp-uid", "output": [2], "input": [1], "rate": 22050.5,
     "rateRanges": [[22050.5, 22050.5]], "volume": {"1": 0.125, "2": 0.75}}]}


def everything(tool):
    # Every line and file of a session: reports, a refused and a stored save, a
    # switch with a report and the machine in its midst, the restore.
    tool.tmp.mkdir()
    tool.set_machine(MACHINE)
    orvel = {"output": {"uid": "desk-uid", "rate": 44100.5, "volume": {"0": 0.25}}}
    out = [tool.run("--read"), tool.run("--devices"),
           tool.save({"output": dict(orvel["output"], rate=7999.5)}), tool.save(orvel)]
    run = tool.switch()
    out += [run.read(1), tool.run("--read"), tool.machine_path.read_bytes()]
    run.p.stdin.write(b"restore\n")
    assert run.finish() == 0
    return out + [run.out, (tool.dir / "orvel.json").read_bytes(),
                  (tool.dir / "snapshot.json").read_bytes()]


def test_numbers_keep_their_point_under_a_decimal_comma(tmp_path):
    # German, built with localedef (Debian's locales package) where LOCPATH names it.
    env = {"LC_ALL": "de_DE.UTF-8", "LANG": "de_DE.UTF-8", "LOCPATH": str(tmp_path)}
    try:
        subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", tmp_path / "de_DE.UTF-8"],
                       capture_output=True, timeout=60)
    except FileNotFoundError:
        pass  # no localedef: the check below skips
    point = subprocess.run(["locale", "decimal_point"], env={**os.environ, **env},
                           capture_output=True, text=True, timeout=WAIT).stdout.strip()
    if point != ",":
        pytest.skip("no de_DE.UTF-8 locale: localedef and Debian's locales package make it")
    plain, comma = Tool(tmp_path / "plain"), Tool(tmp_path / "comma")
    comma.env.update(env)
    out = everything(comma)
    assert out == everything(plain)
    assert b'"rate":22050.5' in out[0][0] and b'"1":0.125' in out[0][0]  # --read
    assert out[2] == (error("7999.5 Hz isn't a sample rate"), 1)
    assert b'"rate":44100.5' in out[5][0] and b'"0":0.25' in out[5][0]  # --read, switched
    assert b'"rate": 44100.5' in out[6]  # the machine file, switched
    assert b'"rate":44100.5' in out[-2] and b'"rate":22050.5' in out[-1]  # orvel, snapshot
