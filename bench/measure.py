"""Side-by-side timings of orvel-sound and the commands a user would run instead.

Run by bench/run, which starts the private servers, sets PULSE_SERVER and starts
and stops the load. Usage:
  measure.py server TOOL CONDITION OUT.json     one server, on a quiet or a loaded machine
  measure.py startup BUILD SIM OUT.json          what a start costs, and what link flags change
  measure.py write RESULTS_MD STARTUP.json SERVER.json...
Each pair is measured alternately, run by run, so that both sides see the same
machine; medians are reported with the ratio orvel-sound / peer.
"""
import ctypes
import gzip
import json
import os
import platform
import random
import re
import select
import shlex
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from datetime import datetime, timezone

RUNS = int(os.environ.get("BENCH_RUNS", "200"))
CYCLE_RUNS = max(RUNS // 2, 20)  # a switch cycle takes a few times longer than a read
TRIGGER_RUNS = int(os.environ.get("BENCH_TRIGGER_RUNS", "30"))
WAIT_SECONDS = int(os.environ.get("BENCH_WAIT_SECONDS", "20"))
STARTUP_RUNS = int(os.environ.get("BENCH_STARTUP_RUNS", "200"))
# A quiet measurement waits up to this long for other processes to leave the
# CPU to it (a shared machine may be building something).
QUIET_WAIT = int(os.environ.get("BENCH_QUIET_WAIT", "120"))
QUIET_CORES = 0.2
DEVNULL = os.open(os.devnull, os.O_RDWR)

# The least share of a start or a read that a link flag must save to count.
LINK_GAIN = 0.02
# Rows with a target: the largest ratio that meets it.
TARGETS = {"read-pactl": 0.6, "read-backend": 1.2, "devices-pactl": 0.6, "cycle-pactl": 0.28}


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


def pair(ours, peer, runs):
    """Alternates the two command sequences; median ms and peak RSS KiB of each."""
    times = ([], [])
    for run in range(runs):
        for side, commands in ((0, ours), (1, peer)) if run % 2 == 0 else ((1, peer), (0, ours)):
            times[side].append(sequence(commands)[0] * 1000)
    return [(statistics.median(t), peak_memory(c)) for t, c in zip(times, (ours, peer))]


def rotated(commands, runs):
    """Runs each command once per round, the order turned by one each round;
    the ms of each command, round by round."""
    times = [[] for _ in commands]
    for run in range(runs):
        for k in range(len(commands)):
            i = (k + run) % len(commands)
            took, _, status = spawn(commands[i])
            if status != 0:
                raise SystemExit(f"bench: {' '.join(commands[i])} exited with {status}")
            times[i].append(took * 1000)
    return times


def paired_difference(ours, base, resamples=2000):
    """The median of the round-by-round differences ours - base, with a 95 %
    bootstrap interval of that median."""
    rng = random.Random(1)
    differences = [a - b for a, b in zip(ours, base)]
    medians = sorted(statistics.median(rng.choices(differences, k=len(differences)))
                     for _ in range(resamples))
    return (statistics.median(differences), medians[int(0.025 * resamples)],
            medians[int(0.975 * resamples) - 1])


def pactl(*args):
    return subprocess.run(["pactl", *args], capture_output=True, text=True, check=True).stdout.strip()


class Switch:
    """A running `--switch DIR` whose lines are read with a deadline."""

    def __init__(self, tool, folder, argv=None):
        self.p = subprocess.Popen(argv or [tool, "--switch", folder], stdin=subprocess.PIPE,
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


def trigger_latency(tool, folder, name, runs):
    """Milliseconds from a trigger to the `restored` line, per run."""
    took = []
    for _ in range(runs):
        argv = None
        if name == "parent death":
            # fd 3 carries stdin past the shell's /dev/null for background jobs.
            argv = ["sh", "-c", 'exec 3<&0; "$0" --switch "$1" <&3 & wait', tool, folder]
        s = Switch(tool, folder, argv)
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


def cpu_ticks(pids):
    """User and system time of the processes, in clock ticks."""
    total = 0
    for pid in pids:
        try:
            with open(f"/proc/{pid}/stat") as f:
                fields = f.read().rsplit(")", 1)[1].split()
            total += int(fields[11]) + int(fields[12])
        except OSError:
            pass
    return total


def busy_seconds():
    """CPU time used so far: by the whole machine, by this process and the children
    it has reaped, by the sound server, by the load."""
    with open("/proc/stat") as f:
        fields = [int(v) for v in f.readline().split()[1:]]
    # user nice system idle iowait irq softirq steal: all but idle and iowait
    machine_ticks = sum(fields[:8]) - fields[3] - fields[4]
    tick = os.sysconf("SC_CLK_TCK")
    own = os.times()
    return {"machine": machine_ticks / tick,
            "ours": own.user + own.system + own.children_user + own.children_system,
            "server": cpu_ticks(os.environ.get("BENCH_SERVER_PIDS", "").split()) / tick,
            "load": cpu_ticks(os.environ.get("BENCH_LOAD_PIDS", "").split()) / tick}


def wait_for_quiet():
    """Waits until processes other than this one and the sound server use less
    than QUIET_CORES, for at most QUIET_WAIT seconds; the seconds waited."""
    began = time.monotonic()
    while True:
        before = busy_seconds()
        time.sleep(1)
        after = busy_seconds()
        others = (after["machine"] - before["machine"]) - (after["server"] - before["server"])
        waited = time.monotonic() - began
        if others < QUIET_CORES or waited >= QUIET_WAIT:
            if others >= QUIET_CORES:
                print(f"  the machine is not quiet: other processes use {others:.2f} cores",
                      flush=True)
            return waited


def scheduler():
    """The kernel's tick and preemption model, where the kernel tells them."""
    config = ""
    for name in ("/proc/config.gz", f"/boot/config-{platform.release()}"):
        try:
            with (gzip.open(name, "rt") if name.endswith(".gz") else open(name)) as f:
                config = f.read()
            break
        except OSError:
            pass
    hz = re.search(r"^CONFIG_HZ=(\d+)", config, re.M)
    preempt = None
    try:
        with open("/sys/kernel/debug/sched/preempt") as f:
            preempt = re.search(r"\((\w+)\)", f.read()).group(1)
    except (OSError, AttributeError):
        log = subprocess.run(["dmesg"], capture_output=True, text=True).stdout
        found = re.search(r"Dynamic Preempt: (\w+)", log)
        preempt = found.group(1) if found else None
    parts = []
    if hz:
        parts.append(f"a tick of {1000 / int(hz.group(1)):g} ms (CONFIG_HZ={hz.group(1)})")
    if preempt:
        parts.append(f"preemption \"{preempt}\"")
    return ", ".join(parts)


def machine():
    cpu = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo")
                if line.startswith("model name")), platform.processor())
    libpulse = ctypes.CDLL("libpulse.so.0")
    libpulse.pa_get_library_version.restype = ctypes.c_char_p
    package = subprocess.run(["dpkg-query", "-W", "-f=${Version}", "libpulse0"],
                             capture_output=True, text=True).stdout.strip()
    return {"cpu": cpu, "cores": os.cpu_count(), "kernel": platform.release(),
            "scheduler": scheduler(),
            "libpulse": libpulse.pa_get_library_version().decode(), "libpulse_package": package}


def measure_server(tool, condition, out):
    load_pids = os.environ.get("BENCH_LOAD_PIDS", "").split()
    if not load_pids:
        wait_for_quiet()
    began, busy_before = time.monotonic(), busy_seconds()
    work = tempfile.mkdtemp(prefix="orvel-bench-")
    folder = os.path.join(work, "orvel")
    info = dict(line.split(": ", 1) for line in pactl("info").splitlines() if ": " in line)
    sinks = pactl("list", "short", "sinks").splitlines()
    sources = [s for s in pactl("list", "short", "sources").splitlines() if ".monitor" not in s]
    default_sink, default_source = pactl("get-default-sink"), pactl("get-default-source")
    target_sink = next(s.split("\t")[1] for s in sinks if s.split("\t")[1] != default_sink)
    target_source = next(s.split("\t")[1] for s in sources
                         if s.split("\t")[1] != default_source)
    orvel = {"output": {"uid": target_sink, "volume": {"0": 0.4}},
             "input": {"uid": target_source}}
    assert spawn([tool, "--save", folder], json.dumps(orvel).encode() + b"\n")[2] == 0
    user_volume = pactl("get-sink-volume", default_sink).split("/")[1].strip()

    # The timed cycle must be a whole one: switched, then everything put back.
    cycle_lines = subprocess.run([tool, "--switch", folder], input=b"restore\n",
                                 capture_output=True, timeout=30).stdout
    cycle_complete = b'"switched"' in cycle_lines and b'"complete":true' in cycle_lines
    if not cycle_complete:
        print(f"  the switch cycle did not put everything back: {cycle_lines!r}", flush=True)

    rows = []

    def compare(key, what, ours, peer_name, peer, runs=RUNS):
        (ours_ms, ours_rss), (peer_ms, peer_rss) = pair(ours, peer, runs)
        rows.append({"key": key, "what": what, "peer": peer_name, "runs": runs,
                     "ours_ms": ours_ms, "peer_ms": peer_ms, "ratio": ours_ms / peer_ms,
                     "ours_rss": ours_rss, "peer_rss": peer_rss})
        print(f"  {what}: {ours_ms:.2f} ms vs {peer_name} {peer_ms:.2f} ms "
              f"({ours_ms / peer_ms:.2f})", flush=True)

    read = [([tool, "--read"], None)]
    # A whole switch and its restore: "restore" waits in the pipe from the start.
    cycle = [([tool, "--switch", folder], b"restore\n")]
    compare("read-pactl", "`--read`", read, "`pactl get-default-sink`",
            [(["pactl", "get-default-sink"], None)])
    compare("read-backend", "`--read`", read, "`orvel-sound --backend`",
            [([tool, "--backend"], None)])
    compare("devices-pactl", "`--devices`", [([tool, "--devices"], None)],
            "`pactl list short sinks`", [(["pactl", "list", "short", "sinks"], None)])
    compare("cycle-pactl", "`--switch` then \"restore\"", cycle,
            "6 × pactl: set the default sink, its volume, the default source, and back",
            [(["pactl", "set-default-sink", target_sink], None),
             (["pactl", "set-sink-volume", target_sink, "40%"], None),
             (["pactl", "set-default-source", target_source], None),
             (["pactl", "set-default-sink", default_sink], None),
             (["pactl", "set-sink-volume", target_sink, user_volume], None),
             (["pactl", "set-default-source", default_source], None)], runs=CYCLE_RUNS)
    compare("cycle-read", "`--switch` then \"restore\"", cycle, "`--read`", read,
            runs=CYCLE_RUNS)

    latencies = {}
    for name, runs in (("restore line", TRIGGER_RUNS), ("end of input", TRIGGER_RUNS),
                       ("SIGTERM", TRIGGER_RUNS), ("parent death", max(TRIGGER_RUNS // 3, 10))):
        took = trigger_latency(tool, folder, name, runs)
        latencies[name] = (statistics.median(took), max(took), runs)
        print(f"  {name} → restored: median {latencies[name][0]:.2f} ms, "
              f"max {latencies[name][1]:.2f} ms", flush=True)

    waiting = Switch(tool, folder)
    time.sleep(0.2)
    before = waiting.cpu_seconds()
    time.sleep(WAIT_SECONDS)
    idle_cpu_ms = (waiting.cpu_seconds() - before) * 1000
    waiting.p.stdin.write(b"restore\n")
    waiting.line()
    waiting.end()
    print(f"  waiting switch: {idle_cpu_ms:.3f} ms of CPU in {WAIT_SECONDS} s", flush=True)

    elapsed = time.monotonic() - began
    busy = {key: (value - busy_before[key]) / elapsed for key, value in busy_seconds().items()}
    # Whatever else ran on the machine meanwhile (another build, say) shows here.
    others = max(busy["machine"] - busy["ours"] - busy["server"] - busy["load"], 0.0)
    result = {"condition": condition, "server_name": info.get("Server Name", "?"),
              "server_version": info.get("Server Version", "?"),
              "sinks": len(sinks), "sources": len(sources), "machine": machine(),
              "load": os.environ.get("BENCH_LOAD", ""), "load_pids": len(load_pids),
              "busy_cores": busy["machine"], "load_cores": busy["load"],
              "other_cores": others, "cycle_complete": cycle_complete,
              "runs": RUNS, "cycle_runs": CYCLE_RUNS, "rows": rows, "latencies": latencies,
              "wait_seconds": WAIT_SECONDS, "idle_cpu_ms": idle_cpu_ms, "seconds": elapsed}
    with open(out, "w") as f:
        json.dump(result, f, indent=1)


STATISTICS = {
    "startup_cycles": r"total startup time in dynamic loader: (\d+) cycles",
    "relocation_cycles": r"time needed for relocation: (\d+) cycles",
    "relocations": r"(?<!final )number of relocations: (\d+)",
    "relative_relocations": r"number of relative relocations: (\d+)",
    "load_cycles": r"time needed to load objects: (\d+) cycles",
}


def loader_statistics(argv, runs):
    """Medians of what LD_DEBUG=statistics reports for a start, and the shared
    objects LD_DEBUG=files shows the loader mapping (in order, with who needs them)."""
    seen = {key: [] for key in STATISTICS}
    env = dict(os.environ, LD_DEBUG="statistics")
    for _ in range(runs):
        err = subprocess.run(argv, env=env, stdin=DEVNULL, stdout=DEVNULL,
                             stderr=subprocess.PIPE, text=True).stderr
        for key, pattern in STATISTICS.items():
            found = re.search(pattern, err)
            if found:
                seen[key].append(int(found.group(1)))
    result = {key: statistics.median(values) for key, values in seen.items() if values}
    err = subprocess.run(argv, env=dict(os.environ, LD_DEBUG="files"), stdin=DEVNULL,
                         stdout=DEVNULL, stderr=subprocess.PIPE, text=True).stderr
    result["objects"] = re.findall(r"file=(\S+) \[0\];  needed by (\S+)", err)
    return result


def time_to_main(probe, runs):
    """Median ms from the spawn of a probe to the time its main prints."""
    took = []
    for _ in range(runs):
        read_end, write_end = os.pipe()
        began = time.monotonic_ns()
        pid = os.posix_spawn(probe, [probe], os.environ, file_actions=[
            (os.POSIX_SPAWN_DUP2, DEVNULL, 0), (os.POSIX_SPAWN_DUP2, write_end, 1)])
        os.close(write_end)
        os.waitpid(pid, 0)
        with os.fdopen(read_end) as f:
            took.append((int(f.read()) - began) / 1e6)
    return statistics.median(took)


def measure_startup(build, sim, out):
    tool = os.path.join(build, "orvel-sound")
    wait_for_quiet()
    began, busy_before = time.monotonic(), busy_seconds()
    link = open(os.path.join(build, "CMakeFiles", "orvel-sound.dir", "link.txt")).read()
    link_argv = shlex.split(link)
    at = link_argv.index("-o")
    folder = os.path.join(build, "link-variants")
    os.makedirs(folder, exist_ok=True)

    # Two empty programs that print the time main begins: one linked with libc
    # alone (the C++ runtime linked in, as the tool's), one with libpulse too,
    # which shows what libpulse costs by itself.
    probe_source = os.path.join(folder, "probe.cpp")
    with open(probe_source, "w") as f:
        # steady_clock is CLOCK_MONOTONIC, as Python's time.monotonic_ns.
        f.write("#include <chrono>\n#include <cstdio>\nint main() {\n"
                "  auto now = std::chrono::steady_clock::now().time_since_epoch();\n"
                "  std::printf(\"%lld\\n\", static_cast<long long>(\n"
                "      std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()));\n}\n")
    probes = {}
    with_libpulse = ["-Wl,--no-as-needed", "-lpulse", "-Wl,--as-needed"]
    for name, libraries in (("probe", []), ("probe-libpulse", with_libpulse)):
        probes[name] = os.path.join(folder, name)
        subprocess.run([link_argv[0], "-O2", probe_source, "-o", probes[name],
                        "-static-libstdc++", "-static-libgcc", "-Wl,--as-needed", *libraries],
                       check=True)

    commands = {"`orvel-sound --backend`": [tool, "--backend"],
                "`orvel-sound-sim --backend`": [sim, "--backend"],
                "`pactl --version`": ["pactl", "--version"],
                "`/bin/true`": ["/bin/true"],
                "an empty program": [probes["probe"]],
                "an empty program linked with libpulse": [probes["probe-libpulse"]]}
    loader = {}
    for name, argv in commands.items():
        loader[name] = loader_statistics(argv, STARTUP_RUNS // 2)
    for name, times in zip(commands, rotated(list(commands.values()), STARTUP_RUNS)):
        loader[name]["ms"] = ms = statistics.median(times)
        print(f"  {name}: {ms:.2f} ms, loader {loader[name]['startup_cycles']:.0f} cycles, "
              f"{len(loader[name]['objects'])} objects", flush=True)
    for name in ("an empty program", "an empty program linked with libpulse"):
        loader[name]["to_main_ms"] = time_to_main(commands[name][0], STARTUP_RUNS)

    # The tool linked again with one more link flag each; the last of -z now and
    # -z lazy wins, so both are tried whatever the build holds.
    variants = {"as built": tool}
    for flags in ("-Wl,-O1", "-Wl,--hash-style=gnu", "-Wl,-z,lazy", "-Wl,-z,now",
                  "-Wl,-O1 -Wl,--hash-style=gnu -Wl,-z,now"):
        binary = os.path.join(folder, "orvel-sound" + re.sub(r"[^a-z0-9]+", "_", flags.lower()))
        subprocess.run(link_argv[:at] + flags.split() + ["-o", binary] + link_argv[at + 2:],
                       cwd=build, check=True)
        assert subprocess.run([binary, "--backend"], capture_output=True,
                              text=True).stdout.strip() == "pulseaudio"
        variants[flags] = binary
    flags_as_built = [a for a in link_argv[1:at] if a.startswith("-Wl,") or a.startswith("-static")]
    link_rows = []
    backend_ms = rotated([[b, "--backend"] for b in variants.values()], STARTUP_RUNS)
    read_ms = rotated([[b, "--read"] for b in variants.values()], STARTUP_RUNS // 2)
    for (flags, binary), backend, read in zip(variants.items(), backend_ms, read_ms):
        backend_change = paired_difference(backend, backend_ms[0])
        read_change = paired_difference(read, read_ms[0])
        backend, read = statistics.median(backend), statistics.median(read)
        stats = loader_statistics([binary, "--backend"], STARTUP_RUNS // 2)
        dynamic = subprocess.run(["readelf", "-d", binary], capture_output=True, text=True).stdout
        own = subprocess.run(["readelf", "-r", binary], capture_output=True, text=True).stdout
        link_rows.append({"flags": flags, "backend_ms": backend, "read_ms": read,
                          "backend_change": backend_change, "read_change": read_change,
                          "startup_cycles": stats["startup_cycles"],
                          "relocation_cycles": stats["relocation_cycles"],
                          "relocations": stats["relocations"],
                          "relative_relocations": stats["relative_relocations"],
                          "bind_now": "BIND_NOW" in dynamic,
                          "own_relocations": own.count("R_X86_64_"),
                          "size": os.path.getsize(binary)})
        print(f"  link {flags}: --backend {backend:.2f} ms, --read {read:.2f} ms, "
              f"loader {stats['startup_cycles']:.0f} cycles, {stats['relocations']} relocations",
              flush=True)

    unused = subprocess.run(["ldd", "-u", "-r", tool], capture_output=True, text=True).stdout
    paths = dict(re.findall(r"^\s*(\S+) => (\S+)", subprocess.run(
        ["ldd", tool], capture_output=True, text=True).stdout, re.M))
    libraries = {}
    for name, _ in loader["`orvel-sound --backend`"]["objects"]:
        path = paths.get(name, name)
        reloc = subprocess.run(["readelf", "-r", path], capture_output=True, text=True).stdout
        dynamic = subprocess.run(["readelf", "-d", path], capture_output=True, text=True).stdout
        libraries[name] = {"relocations": reloc.count("R_X86_64_"),
                           "bind_now": "BIND_NOW" in dynamic}
    elapsed = time.monotonic() - began
    busy = {key: (value - busy_before[key]) / elapsed for key, value in busy_seconds().items()}
    others = max(busy["machine"] - busy["ours"] - busy["server"], 0.0)
    mhz = next((float(line.split(":", 1)[1]) for line in open("/proc/cpuinfo")
                if line.startswith("cpu MHz")), 0.0)
    with open(out, "w") as f:
        json.dump({"loader": loader, "link": link_rows, "flags_as_built": flags_as_built,
                   "unused": [l.strip() for l in unused.splitlines()[1:] if l.strip()],
                   "library_relocations": libraries, "mhz": mhz, "runs": STARTUP_RUNS,
                   "machine": machine(), "other_cores": others}, f, indent=1)


def ms(value):
    return f"{value:.2f}"


def met(row):
    target = TARGETS.get(row["key"])
    if target is None:
        return "—", "—"
    return f"≤ {target:.2f}", "yes" if row["ratio"] <= target else "**no**"


def write_results(path, startup, sets):
    now = datetime.now(timezone.utc).strftime("%Y-%m-%d %H:%M UTC")
    first = sets[0]
    load = next((s["load"] for s in sets if s["load"]), "a CPU-bound process per core")
    out = ["# orvel-sound benchmark\n",
           f"- Date: {now}",
           f"- Runs: {first['runs']} per pair (the switch cycle {first['cycle_runs']}), "
           "alternating with the peer run by run; times are medians of whole processes "
           "(start to exit); peak memory is the largest maximum resident set size that GNU "
           "time reports in five further runs. Each server is measured on a quiet machine "
           f"(the benchmark first waits up to {QUIET_WAIT} s for other processes to use less "
           f"than {QUIET_CORES} cores; what they used shows under each server), then on a "
           f"loaded one: {load} "
           "(started and stopped by `bench/run`).\n",
           "## How to read\n",
           "Each ratio is orvel-sound's median over the peer's, so below 1 is faster than "
           "the peer. The targets: `--read` at most 1.2 × `orvel-sound --backend` (reading "
           "the settings costs little more than starting the process) and at most 0.6 × "
           "`pactl get-default-sink`; `--devices` at most 0.6 × `pactl list short sinks`; "
           "a whole `--switch` with its restore at most 0.28 × the six pactl calls that do "
           "the same by hand. Each holds on both servers, on a quiet and on a loaded "
           "machine; the \"met\" column says whether it does in that run. The switch cycle "
           "over `--read` has no target: it shows what a switch costs beyond one read. "
           "The latencies run from the trigger (a \"restore\" line, the end of input, "
           "SIGTERM, the death of the parent) to the `restored` line on stdout. A quiet "
           "figure is only as quiet as the machine was: under each server stands how many "
           "cores other processes kept busy meanwhile. On the loaded machine every core "
           "is shared with a busy process, and a process that waits for the server's reply "
           "may run again only at the scheduler's next tick: loaded times come in steps of "
           "the tick and count the waits more than the work.\n",
           "| target | " + " | ".join(f"{s['server_name']}, {s['condition']}" for s in sets) + " |",
           "|---|" + "---:|" * len(sets)]
    for key, target in TARGETS.items():
        what = next(r for r in first["rows"] if r["key"] == key)
        cells = []
        for s in sets:
            row = next(r for r in s["rows"] if r["key"] == key)
            cells.append(f"{row['ratio']:.2f} {met(row)[1]}")
        out.append(f"| {what['what']} vs {what['peer'].split(':')[0]} ≤ {target:.2f} | "
                   + " | ".join(cells) + " |")
    out.append("")
    out += write_floor(startup, sets)

    by_server = {}
    for s in sets:
        by_server.setdefault(s["server_name"], []).append(s)
    for name, group in by_server.items():
        m, server = group[0]["machine"], group[0]
        out += [f"## {name} {server['server_version']}\n",
                f"- Machine: {m['cpu']}, {m['cores']} cores, Linux {m['kernel']}"
                + (f" with {m['scheduler']}" if m.get("scheduler") else ""),
                f"- Sound server: {name} {server['server_version']} (from `pactl info`), "
                f"private, with {server['sinks']} sinks and {server['sources']} sources "
                "(and their monitors)",
                f"- libpulse {m['libpulse']} (Debian libpulse0 {m['libpulse_package']})"]
        for s in group:
            line = (f"- {s['condition'].capitalize()}: the machine was busy "
                    f"{s['busy_cores']:.2f} of {m['cores']} cores on average during the "
                    "measurement")
            if s["load_pids"]:
                line += f", the load ({s['load']}) {s['load_cores']:.2f} of them"
            out.append(line + f", processes other than the benchmark's, the server's and the "
                       f"load's {s['other_cores']:.2f}")
        for s in group:
            if not s.get("cycle_complete", True):
                out.append(f"- {s['condition'].capitalize()}: a `--switch` then \"restore\" "
                           "did not report everything put back; its times are not a whole "
                           "cycle's")
        out += ["", "| machine | orvel-sound | ms | peer | ms | ratio | target | met | "
                "peak RSS KiB (ours / peer) |",
                "|---|---|---:|---|---:|---:|---:|---|---:|"]
        for i in range(len(group[0]["rows"])):
            for s in group:
                row = s["rows"][i]
                target, ok = met(row)
                out.append(f"| {s['condition']} | {row['what']} | {ms(row['ours_ms'])} | "
                           f"{row['peer']} | {ms(row['peer_ms'])} | {row['ratio']:.2f} | "
                           f"{target} | {ok} | {row['ours_rss']} / {row['peer_rss']} |")
        out += ["", f"From a trigger to the `restored` line ({name}):\n",
                "| trigger | runs | " + " | ".join(
                    f"{s['condition']} median ms | {s['condition']} max ms" for s in group) + " |",
                "|---|---:|" + "---:|---:|" * len(group)]
        for trigger in group[0]["latencies"]:
            cells = " | ".join(f"{ms(s['latencies'][trigger][0])} | "
                               f"{ms(s['latencies'][trigger][1])}" for s in group)
            out.append(f"| {trigger} | {group[0]['latencies'][trigger][2]} | {cells} |")
        out += ["", "A waiting switch, CPU time used in "
                f"{group[0]['wait_seconds']} s (all threads, from "
                "`/proc/PID/task/*/schedstat`): " + "; ".join(
                    f"{s['condition']} {s['idle_cpu_ms']:.3f} ms" for s in group) + ".", ""]

    out += write_startup(startup)
    with open(path, "w") as f:
        f.write("\n".join(out))


def write_floor(startup, sets):
    """What the targets leave for the work itself, against what starting with libpulse
    and one connection cost: the quiet runs beside the quiet start-up figures."""
    loader = startup["loader"]
    floor = loader["an empty program linked with libpulse"]["ms"]
    pactl_start = loader["`pactl --version`"]["ms"]
    out = ["## What the targets leave\n",
           f"On the quiet machine an empty program linked with libpulse takes {ms(floor)} ms "
           "from start to exit, before it connects to anything (Start-up, below).\n"]
    for s in sets:
        if s["load_pids"]:
            continue
        rows = {r["key"]: r for r in s["rows"]}
        pactl_ms, devices_peer = rows["read-pactl"]["peer_ms"], rows["devices-pactl"]["peer_ms"]
        backend = rows["read-backend"]["peer_ms"]
        out.append(
            f"- {s['server_name']}: 0.6 × `pactl get-default-sink` is {ms(0.6 * pactl_ms)} ms "
            f"and 0.6 × `pactl list short sinks` {ms(0.6 * devices_peer)} ms, "
            f"{'below' if 0.6 * max(pactl_ms, devices_peer) < floor else 'near'} that floor. "
            f"1.2 × `orvel-sound --backend` leaves {ms(0.2 * backend)} ms for the connection "
            f"and the reads, where pactl spends {ms(pactl_ms - pactl_start)} ms on its own "
            "connection and one request (`pactl get-default-sink` less `pactl --version`), "
            f"and `--read` {ms(rows['read-backend']['ours_ms'] - backend)} ms.")
    quiet = [s for s in sets if not s["load_pids"]]
    below = all(0.6 * r["peer_ms"] < floor for s in quiet for r in s["rows"]
                if r["key"] in ("read-pactl", "devices-pactl"))
    short = all(0.2 * rows["read-backend"]["peer_ms"] < rows["read-pactl"]["peer_ms"] - pactl_start
                for rows in ({r["key"]: r for r in s["rows"]} for s in quiet))
    if below or short:
        out += ["", "So " + " and ".join(
            (["no program that loads libpulse can meet the 0.6 × pactl targets"] if below
             else []) +
            (["the 1.2 × `--backend` target leaves less for a connection and a request than "
              "pactl itself spends on them"] if short else [])) +
            ": what is left to meet them is a client that doesn't load libpulse and its "
            "libraries.\n"]
    return out


def write_startup(startup):
    mhz = startup["mhz"]

    def us(cycles):
        return f"{cycles / mhz:.0f}" if mhz else "?"

    loader = startup["loader"]
    tool = loader["`orvel-sound --backend`"]
    out = ["## Start-up\n",
           f"What the dynamic loader spends before `main`, from `LD_DEBUG=statistics` "
           f"(medians of {startup['runs'] // 2} starts; µs at the TSC's {mhz:.0f} MHz), the "
           "shared objects it maps (`LD_DEBUG=files`, besides ld.so and the vDSO), and the "
           f"whole process (medians of {startup['runs']} starts, the commands taking turns), "
           "on the quiet machine (processes other than the benchmark's and the server's kept "
           f"{startup['other_cores']:.2f} cores busy meanwhile).\n",
           "| command | objects | loader cycles (≈ µs) | relocation cycles (≈ µs) | "
           "symbol relocations | relative relocations | whole process ms | to `main` ms |",
           "|---|---:|---:|---:|---:|---:|---:|---:|"]
    for name, s in loader.items():
        out.append(f"| {name} | {len(s['objects'])} | {s['startup_cycles']:.0f} "
                   f"({us(s['startup_cycles'])}) | {s['relocation_cycles']:.0f} "
                   f"({us(s['relocation_cycles'])}) | {s['relocations']:.0f} | "
                   f"{s['relative_relocations']:.0f} | {ms(s['ms'])} | "
                   f"{ms(s['to_main_ms']) if 'to_main_ms' in s else '—'} |")
    empty, with_pulse = loader["an empty program"], loader["an empty program linked with libpulse"]
    out += ["", f"An empty program linked with libpulse takes "
            f"{with_pulse['ms'] - empty['ms']:.2f} ms longer than one without it, "
            f"{with_pulse['to_main_ms'] - empty['to_main_ms']:.2f} ms of it before `main`; "
            f"`orvel-sound --backend` differs from that program by "
            f"{tool['ms'] - with_pulse['ms']:+.2f} ms, and `orvel-sound-sim --backend` from the "
            f"empty one by {loader['`orvel-sound-sim --backend`']['ms'] - empty['ms']:+.2f} ms: "
            "the cost of a start is libpulse's. The loader's own count "
            f"({us(with_pulse['startup_cycles'] - empty['startup_cycles'])} µs more with "
            "libpulse) "
            "covers mapping the objects and the relocations done at load; what it leaves out "
            "comes before `main` too: the objects' initialisers, the symbols they bind lazily, "
            "and the page faults of each object's first use; and after `main`, unmapping "
            "them all at exit."]
    libraries = startup["library_relocations"]
    direct = [p for p, by in tool["objects"] if "orvel-sound" in by]
    out += ["", f"`orvel-sound` loads {len(tool['objects'])} shared objects; it needs "
            f"{', '.join(f'`{p}`' for p in direct)} itself, the rest come with libpulse "
            "(each with its dynamic relocations, and whether it is bound at load time):\n"]
    for name, by in tool["objects"]:
        lib = libraries.get(name, {})
        out.append(f"- `{name}`, needed by `{os.path.basename(by)}`: "
                   f"{lib.get('relocations', '?')} relocations"
                   + (", bound at load time" if lib.get("bind_now") else ""))
    unused = startup["unused"]
    out += ["", "Linked but unused (`ldd -u -r`): "
            + (", ".join(f"`{u}`" for u in unused) if unused else "none") + ".", ""]

    rows = startup["link"]
    base = rows[0]
    out += ["### What the link can give\n",
            f"The tool as built is linked with `{' '.join(startup['flags_as_built'])}`; each "
            "variant adds one more flag to that link. Whole-process medians of "
            f"{startup['runs']} (`--backend`) and {startup['runs'] // 2} (`--read`, PulseAudio, "
            "quiet) starts, the variants taking turns; loader figures as above.\n",
            "| link | BIND_NOW | loader cycles | symbol relocations | `--backend` ms | "
            "change, 95 % interval | `--read` ms | change, 95 % interval |",
            "|---|---|---:|---:|---:|---:|---:|---:|"]

    def change(c):
        return f"{c[0]:+.2f} [{c[1]:+.2f}, {c[2]:+.2f}]"

    for r in rows:
        out.append(f"| {r['flags'] if r['flags'] == 'as built' else '+ `' + r['flags'] + '`'} | "
                   f"{'yes' if r['bind_now'] else 'no'} | {r['startup_cycles']:.0f} | "
                   f"{r['relocations']:.0f} | {ms(r['backend_ms'])} | "
                   f"{'—' if r is base else change(r['backend_change'])} | {ms(r['read_ms'])} | "
                   f"{'—' if r is base else change(r['read_change'])} |")

    # A flag helps when one of the two gets faster beyond its interval and by at
    # least LINK_GAIN of the time, and the other does not get slower beyond doubt.
    def faster(change, base_ms):
        return change[2] < 0 and -change[0] >= LINK_GAIN * base_ms

    helping = [r for r in rows[1:]
               if (faster(r["backend_change"], base["backend_ms"]) and r["read_change"][1] <= 0)
               or (faster(r["read_change"], base["read_ms"]) and r["backend_change"][1] <= 0)]
    verdict = ("The change is the median of the round-by-round differences from the tool as "
               "built, in ms, with a 95 % bootstrap interval. Two copies of the same binary "
               "differ by a few hundredths of a millisecond with intervals that can leave out "
               "0, so a flag counts as helping only if it saves at least "
               f"{LINK_GAIN * 100:.0f} % of the time beyond its interval. ")
    lazy = next((r for r in rows if r["flags"] == "-Wl,-z,lazy"), None)
    if lazy and not base["bind_now"]:
        verdict += ("The tool as built binds lazily, so `+ -Wl,-z,lazy` is the same link: its "
                    "row shows how far the machine's noise alone moves these figures. ")
    if helping:
        verdict += ("Measurably faster: " + ", ".join(
            f"`{r['flags']}` ({r['backend_change'][0]:+.2f} ms `--backend`, "
            f"{r['read_change'][0]:+.2f} ms `--read`)" for r in helping) + ".")
    else:
        verdict += "No flag measurably helps."
    total = tool["relocations"] + tool["relative_relocations"]
    in_libraries = sum(lib["relocations"] for lib in libraries.values())
    bound = sum(1 for lib in libraries.values() if lib["bind_now"])
    out += ["", verdict + f" What is left is not the executable's: it carries "
            f"{base['own_relocations']} dynamic relocations of its own, while the loader "
            f"performs about {total:.0f} at each start (the libraries hold {in_libraries}), "
            f"and {len(tool['objects']) - len(direct)} of the {len(tool['objects'])} shared "
            "objects come with libpulse (libpulsecommon, D-Bus, libsndfile with its codecs, "
            f"X11 and xcb, systemd, gcrypt, compression). {bound} of them are bound at load "
            "time whatever the executable asks (Debian builds them with `-z now`), and "
            "`--hash-style=gnu` is already the toolchain's default. The C++ runtime is linked "
            "in statically, so it adds no object and no symbol lookups. Only loading fewer "
            "libraries would make the start cheaper, which no flag of this link can do.", ""]
    return out


def main():
    command = sys.argv[1]
    if command == "server":
        measure_server(*sys.argv[2:5])
    elif command == "startup":
        measure_startup(*sys.argv[2:5])
    elif command == "write":
        sets = []
        for name in sys.argv[4:]:
            with open(name) as f:
                sets.append(json.load(f))
        with open(sys.argv[3]) as f:
            write_results(sys.argv[2], json.load(f), sets)
    else:
        raise SystemExit(f"bench: unknown command {command}")


if __name__ == "__main__":
    main()
