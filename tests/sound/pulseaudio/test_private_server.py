"""The private server fixture: the named devices, and nothing left running."""

import subprocess


def test_server_holds_the_named_devices(private_server):
    assert private_server.pactl("get-default-sink") == "desk_speakers"
    assert private_server.pactl("get-default-source") == "desk_mic"
    sinks = private_server.pactl("list", "short", "sinks")
    assert "desk_speakers" in sinks and "tv_surround" in sinks
    assert "Télé du Salon" in private_server.pactl("list", "sinks")
    assert private_server.env["PULSE_SERVER"].startswith(f"unix:{private_server.folder}")


def test_stop_leaves_nothing_running(private_server):
    private_server.stop()
    out = subprocess.run(["pactl", "info"], capture_output=True)
    assert out.returncode != 0
