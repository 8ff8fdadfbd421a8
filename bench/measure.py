"""Side-by-side timings of orvel-sound and the commands a user would run instead.

Run by bench/run, which starts the private server and sets PULSE_SERVER. Usage:
  measure.py TOOL SIM_TOOL RESULTS_MD
Each pair is measured alternately, run by run, so that both sides see the same
machine; medians are reported with the ratio orvel-sound / peer.
"""
import json
import os
import platform
import select
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from datetime import datetime, timezone

TOOL, SIM, RESULTS = sys.argv[1:4]
RUNS = int(os.environ.get("BENCH_RUNS", "200"))
WAIT_SECONDS = int(os.environ.get("BENCH_WAIT_SECONDS", "60"))
DEVNULL = os.open(os.devnull, os.O_RDWR)


def spawn(argv, stdin_bytes=None):
    """Runs one command to its end; gives (wall seconds, peak RSS in KiB, exit status)."""
    stdin = DEVNULL
    if stdin_bytes is not None:
        read_end, write_end = os.pipe()
        os.write(write_end, stdin_bytes)
        os.close(write_end)  # the end of input follows the bytes
        stdin = read_end
    began = time.perf_counter()
    pid = os.posix_spawnp(argv[0], argv, os.environ, file_actions=[
        (os.POSIX_SPAWN_DUP2, stdin, 0), (os.POSIX_SPAWN_DUP2, DEVNULL, 1),
        (os.POSIX_SPAWN_DUP2, DEVNULL, 2)])
    _, status, usage = os.wait4(pid, 0)
    wall = time.perf_counter() - began
    if stdin_bytes is not None:
        os.close(stdin)
    return wall, usage.ru_maxrss, os.waitstatus_to_exitcode(status)


def sequence(commands):
    """Runs commands one after the other; the whole time and the largest peak RSS."""
    wall, peak = 0.0, 0
    for argv, stdin_bytes in commands:
        took, rss, status = spawn(argv, stdin_bytes)
        if status != 0:
            raise SystemExit(f"bench: {' '.join(argv)} exited with {status}")
        wall, peak = wall + took, max(peak, rss)
    return wall, peak


def peak_memory(commands, runs=5):
    """The largest peak RSS in KiB of the commands, as GNU time reports it for a
    child it forks. (A child spawned from here would also count this Python
    process's memory in its ru_maxrss.)"""
    peak = 0
    with tempfile.NamedTemporaryFile("r") as report:
        for _ in range(runs):
            for argv, stdin in commands:
                spawn(["/usr/bin/time", "-q", "-f", "%M", "-o", report.name, *argv], stdin)
                report.seek(0)
                peak = max(peak, int(report.read().split()[-1]))
    return peak


def pair(ours, peer, runs=RUNS):
    """Alternates the two command sequences; median ms and peak RSS KiB of each."""
    times = ([], [])
    for run in range(runs):
        for side, commands in ((0, ours), (1, peer)) if run % 2 == 0 else ((1, peer), (0, ours)):
            times[side].append(sequence(commands)[0] * 1000)
    return [(statistics.median(t), peak_memory(c)) for t, c in zip(times, (ours, peer))]


def pactl(*args):
    return subprocess.run(["pactl", *args], capture_output=True, text=True, check=True).stdout.strip()


class Switch:
    """A running `--switch DIR` whose lines are read with a deadline."""

    def __init__(self, folder, argv=None):
        self.p = subprocess.Popen(argv or [TOOL, "--switch", folder], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, bufsize=0)
        self.out = b""
        assert b'"switched"' in self.line(), self.out

    def line(self, seconds=5):
        deadline = time.monotonic() + seconds
        while b"\n" not in self.out and time.monotonic() < deadline:
            if select.select([self.p.stdout], [], [], deadline - time.monotonic())[0]:
                chunk = os.read(self.p.stdout.fileno(), 4096)
                if not chunk:
                    break
                self.out += chunk
        line, _, self.out = self.out.partition(b"\n")
        return line

    def cpu_seconds(self):
        total = 0
        for task in os.listdir(f"/proc/{self.p.pid}/task"):
            with open(f"/proc/{self.p.pid}/task/{task}/schedstat") as f:
                total += int(f.read().split()[0])
        return total / 1e9

    def end(self):
        for stream in (self.p.stdin, self.p.stdout):
            stream.close()
        self.p.wait(timeout=5)


def trigger_latency(folder, name, runs):
    """Milliseconds from a trigger to the `restored` line, per run."""
    took = []
    for _ in range(runs):
        argv = None
        if name == "parent death":
            # fd 3 carries stdin past the shell's /dev/null for background jobs.
            argv = ["sh", "-c", 'exec 3<&0; "$0" --switch "$1" <&3 & wait', TOOL, folder]
        s = Switch(folder, argv)
        time.sleep(0.05 if name != "parent death" else 0.05 + (len(took) % 10) / 10)
        began = time.perf_counter()
        if name == "restore line":
            s.p.stdin.write(b"restore\n")
        elif name == "end of input":
            s.p.stdin.close()
        elif name == "parent death":
            s.p.kill()
        else:
            s.p.send_signal(signal.SIGTERM)
        restored = s.line(3)
        took.append((time.perf_counter() - began) * 1000)
        assert b'"restored"' in restored, restored
        if not s.p.stdin.closed:
            s.end()
        else:
            s.p.stdout.close()
            s.p.wait(timeout=5)
    return took


def main():
    work = tempfile.mkdtemp(prefix="orvel-bench-")
    folder = os.path.join(work, "orvel")
    sinks = pactl("list", "short", "sinks").splitlines()
    sources = [s for s in pactl("list", "short", "sources").splitlines() if ".monitor" not in s]
    default_sink, default_source = pactl("get-default-sink"), pactl("get-default-source")
    target_sink = next(s.split("\t")[1] for s in sinks if s.split("\t")[1] != default_sink)
    target_source = next(s.split("\t")[1] for s in sources
                         if s.split("\t")[1] != default_source)
    orvel = {"output": {"uid": target_sink, "volume": {"0": 0.4}},
             "input": {"uid": target_source}}
    assert spawn([TOOL, "--save", folder], json.dumps(orvel).encode() + b"\n")[2] == 0
    user_volume = pactl("get-sink-volume", default_sink).split("/")[1].strip()

    rows = []  # (what, ours ms, peer, peer ms, ratio, our RSS, peer RSS)

    def compare(what, ours, peer_name, peer, runs=RUNS):
        (ours_ms, ours_rss), (peer_ms, peer_rss) = pair(ours, peer, runs)
        rows.append((what, ours_ms, peer_name, peer_ms, ours_ms / peer_ms, ours_rss, peer_rss))
        print(f"{what}: {ours_ms:.2f} ms vs {peer_name} {peer_ms:.2f} ms", flush=True)

    read = [([TOOL, "--read"], None)]
    compare("`--read`", read, "`pactl get-default-sink` + `pactl get-sink-volume @DEFAULT_SINK@`",
            [(["pactl", "get-default-sink"], None),
             (["pactl", "get-sink-volume", "@DEFAULT_SINK@"], None)])
    compare("`--read`", read, "`pamixer --get-volume`", [(["pamixer", "--get-volume"], None)])
    compare("`--devices`", [([TOOL, "--devices"], None)],
            "`pactl list short sinks` + `pactl list short sources`",
            [(["pactl", "list", "short", "sinks"], None),
             (["pactl", "list", "short", "sources"], None)])
    # A whole switch and its restore: "restore" waits in the pipe from the start.
    compare("`--switch` then \"restore\"", [([TOOL, "--switch", folder], b"restore\n")],
            "6 × pactl: set the default sink, its volume, the default source, and back",
            [(["pactl", "set-default-sink", target_sink], None),
             (["pactl", "set-sink-volume", target_sink, "40%"], None),
             (["pactl", "set-default-source", target_source], None),
             (["pactl", "set-default-sink", default_sink], None),
             (["pactl", "set-sink-volume", target_sink, user_volume], None),
             (["pactl", "set-default-source", default_source], None)], runs=max(RUNS // 2, 20))
    compare("`orvel-sound-sim --backend` (start-up floor)", [([SIM, "--backend"], None)],
            "`/bin/true`", [(["/bin/true"], None)])
    compare("`orvel-sound --backend` (start-up with libpulse)", [([TOOL, "--backend"], None)],
            "`/bin/true`", [(["/bin/true"], None)])

    latencies = {}
    for name, runs in (("restore line", 50), ("end of input", 50), ("SIGTERM", 50),
                       ("parent death", 20)):
        took = trigger_latency(folder, name, runs)
        latencies[name] = (statistics.median(took), max(took))
        print(f"{name} → restored: median {latencies[name][0]:.2f} ms, "
              f"max {latencies[name][1]:.2f} ms", flush=True)

    waiting = Switch(folder)
    time.sleep(0.2)
    before = waiting.cpu_seconds()
    time.sleep(WAIT_SECONDS)
    idle_cpu_ms = (waiting.cpu_seconds() - before) * 1000
    waiting.p.stdin.write(b"restore\n")
    waiting.line()
    waiting.end()
    print(f"waiting switch: {idle_cpu_ms:.3f} ms of CPU in {WAIT_SECONDS} s", flush=True)

    write_results(rows, latencies, idle_cpu_ms)


def machine():
    cpu = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo")
                if line.startswith("model name")), platform.processor())
    server = pactl("info").splitlines()
    name = next((l.split(":", 1)[1].strip() for l in server if l.startswith("Server Name")), "?")
    version = next((l.split(":", 1)[1].strip() for l in server
                    if l.startswith("Server Version")), "?")
    return (f"{cpu}, {os.cpu_count()} cores, Linux {platform.release()}; "
            f"sound server {name} {version}, private, with "
            f"{len(pactl('list', 'short', 'sinks').splitlines())} sinks and "
            f"{len([s for s in pactl('list', 'short', 'sources').splitlines() if '.monitor' not in s])}"
            f" sources (and their monitors)")


def write_results(rows, latencies, idle_cpu_ms):
    now = datetime.now(timezone.utc).strftime("%Y-%m-%d %H:%M UTC")
    out = [f"# orvel-sound benchmark\n",
           f"- Date: {now}",
           f"- Machine: {machine()}",
           f"- Runs: {RUNS} per command (the switch cycle {max(RUNS // 2, 20)}), "
           "alternating with the peer run by run; times are medians of whole processes "
           "(start to exit); peak memory is the largest maximum resident set size that GNU "
           "time reports in five further runs.\n",
           "## Side by side\n",
           "| orvel-sound | ms | peer | ms | ratio | peak RSS KiB (ours / peer) |",
           "|---|---:|---|---:|---:|---:|"]
    for what, ours_ms, peer_name, peer_ms, ratio, ours_rss, peer_rss in rows:
        out.append(f"| {what} | {ours_ms:.2f} | {peer_name} | {peer_ms:.2f} | {ratio:.2f} | "
                   f"{ours_rss} / {peer_rss} |")
    out += ["", "## From a trigger to the `restored` line\n",
            "| trigger | median ms | max ms |", "|---|---:|---:|"]
    for name, (median, most) in latencies.items():
        out.append(f"| {name} | {median:.2f} | {most:.2f} |")
    out += ["", "## A waiting switch\n",
            f"- CPU time used in {WAIT_SECONDS} s of waiting (all threads, from "
            f"`/proc/PID/task/*/schedstat`): {idle_cpu_ms:.3f} ms", ""]
    with open(RESULTS, "w") as f:
        f.write("\n".join(out))


if __name__ == "__main__":
    main()
