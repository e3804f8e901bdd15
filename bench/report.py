#!/usr/bin/python3
"""Turns what the programs of the benchmark wrote into a table, results.json and a plot.

Usage: report.py FOLDER LIBRARY SECONDS MODE CORE

Reads FOLDER/*.jsonl (driver and client) and FOLDER/micro-*.json (Google Benchmark); LIBRARY is the
shared library that was measured.
"""
import glob
import json
import os
import platform
import re
import statistics
import subprocess
import sys
import tempfile

LOGS = {"none": "no log socket", "sink": "a sink listens", "journald": "own journald",
        "host": "the machine's journal"}
PAYLOADS = [("41b", "41 B"), ("4k", "4 KiB"), ("64k", "64 KiB"), ("1m", "1 MiB"), ("8m", "8 MiB")]

# (row, measure) -> goal without a log socket, goal with a sink. Ratios to bare GDBus.
AT_MOST = {
    ("sendmessage-41b", "ratio"): (1.07, 1.11),
    ("additematend-41b", "ratio"): (1.15, 1.24),
    ("sendmessage-64k", "ratio"): (0.87, None),
    ("sendmessage-1m", "ratio"): (1.00, None),
    ("sendmessage-1m", "cpu_ratio"): (0.85, None),
    ("sendmessage-8m", "ratio"): (0.82, None),
    ("sendmessage-8m", "cpu_ratio"): (0.70, None),
    ("peak-8m", "sendmessage"): (3.1, None),
    ("peak-8m", "additematend"): (3.1, None),
    ("startup", "ratio"): (1.05, None),
    ("startup-traffic", "library_messages"): (11, 11),
    ("startup-traffic", "library_round_trips"): (5, 5),
    ("idle", "ratio"): (1.06, None),
    ("idle", "library_threads"): (3, 3),
    ("notify-out", "lost"): (0, 0),
    ("notify-in", "lost"): (0, 0),
}
RATE_AT_LEAST = {"notify-out": (0.92, None), "notify-in": (0.86, None)}


class Table:
    """Prints lines and remembers verdicts."""

    def __init__(self):
        self.verdicts = []

    def head(self, title, columns):
        print(f"\n{title}")
        print("  " + columns)

    def goal(self, row, measure, log, value):
        """The words that go behind a measured value that has a goal."""
        least = measure == "rate"
        goals = RATE_AT_LEAST.get(row) if least else AT_MOST.get((row, measure))
        goal = goals[{"none": 0, "sink": 1}[log]] if goals and log in ("none", "sink") else None
        if goal is None:
            return ""
        met = value >= goal if least else value <= goal
        self.verdicts.append({"row": row, "measure": measure, "log": log, "value": value,
                              "goal": goal, "met": met})
        return f"{'>=' if least else '<='} {goal:g}  {'met' if met else 'NOT MET'}"


def spread(value):
    return f"{value['median']:6.3f} [{value['q1']:.3f} {value['q3']:.3f}]"


def control(value):
    """The control's spread, marked when it is too far from 1 for the row to be trusted."""
    return spread(value) + (" OFF" if abs(value["median"] - 1) > 0.02 else "")


def inverse(value):
    return {"median": 1 / value["median"], "q1": 1 / value["q3"], "q3": 1 / value["q1"]}


def title_of(row):
    name, _, size = row.partition("-")
    names = {"sendmessage": "SendMessage", "setselection": "SetSelection",
             "setclicked": "SetClicked", "additems": "AddItems", "additematend": "AddItemAtEnd",
             "removeitem": "RemoveItem", "modifyitem": "ModifyItem",
             "removeallitems": "RemoveAllItems"}
    if name not in names:
        return row
    size = dict(PAYLOADS).get(size, f"{size} items" if size else "41 B")
    return f"{names[name]}, {'4 B' if name == 'removeallitems' else size}"


def print_requests(table, results):
    columns = (f"{'':24}{'pairs':>6}  {'time: ratio [quartiles]':26}{'control':26}"
               f"{'reference':>11}  goal")
    for log, words in LOGS.items():
        rows = [r for r in results
                if r["log"] == log and "cpu_ratio" in r and not r["row"].startswith("notify")]
        if not rows:
            continue
        table.head(f"Requests, {words} (median ratio to bare GDBus)", columns)
        for r in rows:
            print(f"  {title_of(r['row']):24}{r['pairs']:6}  {spread(r['ratio']):26}"
                  f"{control(r['control']):26}{r['reference_s']['median'] * 1e6:8.0f} us  "
                  f"{table.goal(r['row'], 'ratio', log, r['ratio']['median'])}")
        large = [r for r in rows if r["row"].endswith(("-1m", "-8m"))]
        if large:
            table.head(f"Client's processor time, all threads, {words}", columns)
        for r in large:
            print(f"  {title_of(r['row']):24}{r['pairs']:6}  {spread(r['cpu_ratio']):26}"
                  f"{control(r['cpu_control']):26}"
                  f"{r['reference_cpu_s']['median'] * 1e6:8.0f} us  "
                  f"{table.goal(r['row'], 'cpu_ratio', log, r['cpu_ratio']['median'])}")


def print_notifications(table, results):
    rows = [r for r in results if r["row"].startswith("notify")]
    if rows:
        table.head("Notifications of 41 B (rate relative to bare GDBus)",
                   f"{'':30}{'bursts':>6}  {'rate [quartiles]':26}{'control':26}"
                   f"{'sent':>7}{'lost':>6}  goals")
    for r in rows:
        rate = inverse(r["ratio"])
        print(f"  {r['row'] + ', ' + LOGS[r['log']]:30}{r['pairs']:6}  {spread(rate):26}"
              f"{control(inverse(r['control'])):26}{r['sent']:7.0f}{r['lost']:6.0f}  "
              f"{table.goal(r['row'], 'rate', r['log'], rate['median'])}  lost "
              f"{table.goal(r['row'], 'lost', r['log'], r['lost'])}")


def print_processes(table, results):
    rows = [r for r in results if r["row"].startswith("peak")]
    if rows:
        table.head("Peak memory growth of one request, in payloads, a fresh process each",
                   f"{'':34}{'library':26}{'bare GDBus':26}goal")
    for r in rows:
        for kind in ("sendmessage", "additematend"):
            what = f"{title_of(kind + '-' + r['row'][5:])}, {LOGS[r['log']]}"
            print(f"  {what:34}{spread(r[kind]):26}{spread(r['reference']):26}"
                  f"{table.goal(r['row'], kind, r['log'], r[kind]['median'])}")
    rows = [r for r in results if r["row"] in ("startup", "startup-traffic", "idle")]
    if rows:
        table.head("Start-up and idling, fresh processes", "")
    for r in rows:
        log = LOGS[r["log"]]
        if r["row"] == "startup":
            print(f"  main to ready, {log}: {spread(r['ratio'])}  control {control(r['control'])}"
                  f"  {r['pairs']} pairs  bare {r['reference_s']['median'] * 1e3:.2f} ms  "
                  f"{table.goal('startup', 'ratio', r['log'], r['ratio']['median'])}")
        elif r["row"] == "startup-traffic":
            for what in ("messages", "round_trips"):
                value = r["library_" + what]
                print(f"  {what.replace('_', ' ')}, {log}: {value:.0f} "
                      f"(bare {r['reference_' + what]:.0f})  "
                      f"{table.goal('startup-traffic', 'library_' + what, r['log'], value)}")
        else:
            print(f"  private dirty, {log}: {spread(r['ratio'])}  control {control(r['control'])}"
                  f"  {r['pairs']} pairs  {r['library_kib']['median']:.0f} KiB to "
                  f"{r['reference_kib']['median']:.0f} KiB  "
                  f"{table.goal('idle', 'ratio', r['log'], r['ratio']['median'])}")
            print(f"    to a bare client that has the C++ library loaded: "
                  f"{spread(r['ratio_to_bare_with_cxx'])}  "
                  f"({r['bare_with_cxx_kib']['median']:.0f} KiB)")
            print(f"  threads, {log}: {r['library_threads']:.0f} "
                  f"(bare {r['reference_threads']:.0f})  "
                  f"{table.goal('idle', 'library_threads', r['log'], r['library_threads'])}")


def read_micro(folder):
    """Medians and quartiles over the repetitions of each benchmark, in nanoseconds."""
    unit = {"ns": 1, "us": 1e3, "ms": 1e6}
    found = []
    for path in sorted(glob.glob(f"{folder}/micro-*.json")):
        times = {}
        with open(path, encoding="utf-8") as file:
            for run in json.load(file)["benchmarks"]:
                if run["run_type"] == "iteration":
                    times.setdefault(run["name"], []).append(
                        run["real_time"] * unit[run["time_unit"]])
        for name, values in times.items():
            q1, median, q3 = statistics.quantiles(values, n=4, method="inclusive")
            found.append({"row": name, "log": os.path.basename(path)[6:-5],
                          "repetitions": len(values), "ns": {"median": median, "q1": q1, "q3": q3}})
    def natural(result):
        return [int(part) if part.isdigit() else part
                for part in re.split(r"(\d+)", f"{result['log']} {result['row']}")]
    return sorted(found, key=natural)


def print_micro(table, micro, results):
    request = [r["reference_s"]["median"] * 1e9 for r in results
               if r["row"] == "sendmessage-41b" and r["log"] == "none"]
    if micro:
        table.head("Inside one process (Google Benchmark; silent: a log that does nothing)",
                   f"{'':46}{'median':>12}   [quartiles] of the repetitions")
    for r in micro:
        share = ""
        if r["log"] != "silent" and request:
            share = f"   {r['ns']['median'] / request[0] * 100:.1f} % of a bare request of 41 B"
        print(f"  {r['row'] + ', ' + LOGS.get(r['log'], r['log']):46}{r['ns']['median']:12,.0f} ns"
              f" [{r['ns']['q1']:,.0f} {r['ns']['q3']:,.0f}] x{r['repetitions']}{share}")


def measure_library(path):
    with tempfile.NamedTemporaryFile() as stripped:
        subprocess.run(["strip", "--strip-unneeded", "-o", stripped.name, path], check=True)
        size = os.path.getsize(stripped.name)
    symbols = subprocess.run(["nm", "-D", "--defined-only", path], check=True,
                             capture_output=True, text=True).stdout.splitlines()
    return {"stripped_bytes": size, "dynamic_symbols": len(symbols)}


def plot(folder, results):
    blocks = []
    for name, row, key in (("SendMessage", "sendmessage", "ratio"),
                           ("AddItemAtEnd", "additematend", "ratio"),
                           ("control", "sendmessage", "control")):
        lines = [f"{r['bytes']} {r[key]['median']} {r[key]['q1']} {r[key]['q3']}"
                 for size, _ in PAYLOADS for r in results
                 if r["row"] == f"{row}-{size}" and r["log"] == "none"]
        if not lines:
            return "not drawn: needs the rows sendmessage and additematend, without a log socket"
        blocks.append(f"# {name}\n" + "\n".join(lines))
    with open(f"{folder}/ratio.dat", "w", encoding="utf-8") as file:
        file.write("\n\n\n".join(blocks) + "\n")
    out = f"{folder}/ratio.svg"
    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "plot.gp")
    subprocess.run(["gnuplot", "-e", f"data='{folder}/ratio.dat'; out='{out}'", script], check=True)
    return out


def machine(core):
    cpu = ""
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            if line.startswith("model name"):
                cpu = line.split(":", 1)[1].strip()
                break

    def version(*command):
        return subprocess.run(command, capture_output=True, text=True,
                              check=True).stdout.splitlines()[0]
    return {"cpu": cpu, "cores": os.cpu_count(), "measured_core": int(core),
            "kernel": platform.release(), "glib": version("pkg-config", "--modversion", "glib-2.0"),
            "dbus_daemon": version("dbus-daemon", "--version"), "load": os.getloadavg()}


def main():
    folder, library, seconds, mode, core = sys.argv[1:]
    lines = []
    for path in sorted(glob.glob(f"{folder}/*.jsonl")):
        with open(path, encoding="utf-8") as file:
            lines += [json.loads(line) for line in file]
    missing = {r["log"]: r for r in lines if r["row"] == "log"}.values()
    sinks = [r for r in lines if r["row"] == "sink"]
    results = [r for r in lines if r["row"] not in ("log", "sink")]
    micro = read_micro(folder)

    about = machine(core)
    print(f"{about['cpu']}, {about['cores']} cores, all on core {core}; Linux {about['kernel']}, "
          f"GLib {about['glib']}, {about['dbus_daemon']}; load {about['load'][0]:.2f}; {mode} run")
    table = Table()
    print_requests(table, results)
    print_notifications(table, results)
    print_processes(table, results)
    print_micro(table, micro, results)
    size = measure_library(library)
    print(f"\nLibrary: {size['stripped_bytes']:,} bytes stripped, "
          f"{size['dynamic_symbols']} dynamic symbols")
    for r in sinks:
        where = "any core" if r["core"] < 0 else f"core {r['core']}"
        print(f"Sink: got {r['lines']:,} lines on {where}, queue of {r['queue_length']}")
    for r in missing:
        print(f"NOT MEASURED, {LOGS[r['log']]}: {r['unavailable']}")
    met = sum(verdict["met"] for verdict in table.verdicts)
    print(f"Goals met: {met} of {len(table.verdicts)} that this run measured")
    print(f"Plot: {plot(folder, results)}")

    with open(f"{folder}/results.json", "w", encoding="utf-8") as file:
        json.dump({"machine": about, "mode": mode, "seconds": float(seconds), "library": size,
                   "results": results, "micro": micro, "sinks": sinks, "not_measured": list(missing),
                   "goals": table.verdicts}, file, indent=1)
    print(f"All figures: {folder}/results.json")


if __name__ == "__main__":
    main()
