#!/usr/bin/env python3
"""Measures a running Selvar on this machine: time from process start to the "ready" log line,
CPU used while idle, and resident memory. Uses a throw-away SELVAR_HOME, so the user's own
settings and records are never touched, and no transcription server is started.

usage: scripts/measure-shell.py [path/to/selvar] [idle-seconds]
Selvar needs an X11 display; without a desktop session run it as
  xvfb-run -a dbus-run-session -- scripts/measure-shell.py
"""
import os, signal, subprocess, sys, tempfile, time

exe = sys.argv[1] if len(sys.argv) > 1 else "build/src/selvar"
idle_seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 10.0
ticks = os.sysconf("SC_CLK_TCK")


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat") as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / ticks  # utime + stime


def wakeups(pid):
    """Context switches over all threads: a process that polls keeps adding to them."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{task}/status") as f:
                for line in f:
                    if "ctxt_switches" in line:
                        total += int(line.split()[1])
        except FileNotFoundError:
            pass
    return total


def memory_mb(pid):
    """Resident set, its private anonymous part, and the proportional share (PSS)."""
    out = {}
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            key = line.split(":")[0]
            if key in ("VmRSS", "RssAnon"):
                out[key] = int(line.split()[1]) / 1024
    try:
        with open(f"/proc/{pid}/smaps_rollup") as f:
            for line in f:
                if line.startswith("Pss:"):
                    out["Pss"] = int(line.split()[1]) / 1024
    except FileNotFoundError:
        pass
    return out


with tempfile.TemporaryDirectory(prefix="selvar-measure-") as home:
    env = dict(os.environ, SELVAR_HOME=home)
    log = os.path.join(home, "logs", "selvar.log")
    started = time.monotonic()
    proc = subprocess.Popen([exe], env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    ready = None
    while time.monotonic() - started < 10:
        try:
            with open(log) as f:
                if any(line.rstrip().endswith(" ready") for line in f):
                    ready = time.monotonic() - started
                    break
        except FileNotFoundError:
            pass
        if proc.poll() is not None:
            break
        time.sleep(0.001)
    if ready is None:
        proc.kill()
        sys.exit(f"no ready line (exit status {proc.poll()})")
    time.sleep(1.0)  # let the background engine check finish
    cpu_before, switches_before = cpu_seconds(proc.pid), wakeups(proc.pid)
    time.sleep(idle_seconds)
    cpu_idle = cpu_seconds(proc.pid) - cpu_before
    switches = wakeups(proc.pid) - switches_before
    memory = memory_mb(proc.pid)
    proc.send_signal(signal.SIGTERM)
    status = proc.wait(timeout=10)
    print(f"start to ready: {ready * 1000:.0f} ms")
    print(f"idle CPU over {idle_seconds:.0f} s: {cpu_idle:.2f} s ({100 * cpu_idle / idle_seconds:.2f} %)")
    print(f"thread wake-ups while idle: {switches}")
    print(f"resident memory: {memory.get('VmRSS', float('nan')):.1f} MB "
          f"(anonymous {memory.get('RssAnon', float('nan')):.1f} MB, "
          f"proportional {memory.get('Pss', float('nan')):.1f} MB)")
    print(f"exit status after SIGTERM: {status}")
