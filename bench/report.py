#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes results.md and the plots from the JSON that the benchmark programs left in a folder.

usage: report.py JSON-FOLDER OUTPUT-FOLDER COMMIT
"""
import json
import os
import pathlib
import platform
import statistics
import sys

import plot


def is_on_the_wall(name):
    """These wait for the disk or for a child."""
    return "emoval" in name or name in ("grexctlAccess", "nothing")


class Results:
    """The times of each benchmark's repetitions, in nanoseconds, by name without suffixes."""

    def __init__(self, folder):
        self.times, self.counters = {}, {}
        for path in sorted(pathlib.Path(folder).glob("*.json")):
            for run in json.loads(path.read_text())["benchmarks"]:
                if run.get("run_type") == "iteration" and not run.get("error_occurred"):
                    self.add(run)

    def add(self, run):
        name = run["name"].split("/iterations:")[0].removesuffix("/real_time")
        unit = {"ns": 1, "us": 1e3, "ms": 1e6}[run["time_unit"]]
        clock = "real_time" if is_on_the_wall(name) else "cpu_time"
        self.times.setdefault(name, []).append(run[clock] * unit)
        self.counters[name] = run

    def time(self, name):
        """The least of the processor's times, as a disturbance only adds; the median on the wall."""
        if name not in self.times:
            return None
        choose = statistics.median if is_on_the_wall(name) else min
        return choose(self.times[name])

    def ratio(self, ours, peer):
        mine, other = self.time(ours), self.time(peer)
        return mine / other if mine and other else None

    def counter(self, name, key):
        return self.counters.get(name, {}).get(key)


def shown(nanoseconds):
    if nanoseconds is None:
        return "-"
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def rows(r):
    """(what, users, goal, ours, compared with); the last two are names of benchmarks."""
    for users in (10, 1000, 100000, 1000000):
        yield "lookup, last user", users, 1.5, f"grexLookup/last/{users}", f"floorOfLookup/{users}"
    yield "lookup, random users", 100000, 1.2, "grexLookup/random/100000", "cdbLookup/random/100000"
    yield "lookup, growth", "1,000 to 100,000", 1.2, "grexLookup/last/100000", "grexLookup/last/1000"
    yield "lookup against a scan", 10, 1.0, "grexLookup/last/10", "scan/last/10"
    for users in (10, 1000, 100000):
        yield "login, locAuthenticate", users, 1.01, f"grexLocAuthenticate/{users}", "bareCrypt"
        yield "login, Session", users, 1.03, f"grexSession/{users}", "bareCrypt"
        yield "login, pam_pwdfile", users, None, f"pamLogin/pwdfile/{users}", "bareCrypt"
    yield "login, pam_unix", 10, None, "pamLogin/unix/10", "bareCrypt"
    yield "right, last of 100 modules", "", 2.0, "grexRight", "floorOfRight"
    for users in (10, 1000, 100000, 1000000):
        goals = (0.95, 1.3) if users == 100000 else (None, None)
        peer = f"getlineLoop/{users}"
        yield "reread", users, goals[0], f"grexReread/alone/{users}", peer
        yield "reread and 1 lookup", users, goals[1], f"grexReread/lookup/{users}", peer
        yield "reread and 5 lookups", users, None, f"grexReread/lookups/{users}", peer
    yield "fileMD5Checksum", "12 MB", 1.1, "grexChecksum", "libcryptoChecksum"
    for users in (1000, 100000):
        peer = f"removalByHand/{users}"
        yield "removeUser", users, 1.15, f"grexRemoval/{users}", peer
        yield "removal, libuser", users, None, f"libuserRemoval/{users}", peer
    yield "start of grexctl access", 10, 1.15, "grexctlAccess", "nothing"


def line(what, users, goal, ours, peer, ratio, note=""):
    users = f"{users:,}" if isinstance(users, int) else users
    met = "" if goal is None or ratio is None else ("yes" if round(ratio, 2) <= goal else "**no**")
    goal = "" if goal is None else f"{goal:g}"
    ratio = "-" if ratio is None else f"{ratio:.2f}"
    return f"| {what} | {users} | {ours} | {peer} | {ratio} | {goal} | {met}{note} |\n"


def table(r):
    text = "| row | users | measured | compared with | ratio | goal | met |\n"
    text += "|---|---:|---:|---:|---:|---:|---|\n"
    for what, users, goal, ours, peer in rows(r):
        text += line(what, users, goal, shown(r.time(ours)), f"`{peer}` {shown(r.time(peer))}",
                     r.ratio(ours, peer))
    for key in ("held", "reread", "highest"):
        goal = 1.7 if key == "held" else None
        text += line(f"resident memory, {key}", 1000000, goal, "", "the file's bytes",
                     r.counter("grexMemory/1000000", key))
    return text


def machine():
    model = next((entry.split(":")[1].strip() for entry in open("/proc/cpuinfo")
                  if entry.startswith("model name")), "unknown processor")
    load = ", ".join(f"{value:.1f}" for value in os.getloadavg())
    return (f"{model}, {os.cpu_count()} processors, {platform.system()} {platform.release()}, "
            f"load {load} at the end of the run")


def main():
    source, target, commit = sys.argv[1:]
    target = pathlib.Path(target)
    results = Results(source)
    text = (pathlib.Path(__file__).parent / "results.md.in").read_text()
    text = text.replace("@TABLE@", table(results)).replace("@MACHINE@", machine())
    (target / "results.md").write_text(text.replace("@COMMIT@", commit))
    plot.draw_all(results, target)


if __name__ == "__main__":
    main()
