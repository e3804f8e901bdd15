#!/usr/bin/python3
"""Turns the measurements of the client into a table and client-results.json.

Usage: client_report.py FOLDER MODE

Reads FOLDER/client-LOG.jsonl, one file for each system log.
"""
import glob
import json
import os
import sys

from report import LOGS, control, machine, spread

EDIT_RATIO, P99_9, WORST, PERMUTATION = 1.15, 2e-3, 10e-3, 20e-3
EDITS = {"add": "AddItemAtEnd", "modify": "ModifyItem", "remove": "RemoveItem"}


class Goals:
    """The verdicts of a run."""

    def __init__(self):
        self.verdicts = []

    def at_most(self, row, measure, value, goal, unit="", scale=1):
        met = value <= goal
        self.verdicts.append({"row": row["row"], "log": row["log"], "measure": measure,
                              "value": value, "goal": goal, "met": met})
        return f"<= {goal * scale:g}{unit}  {'met' if met else 'NOT MET'}"


def print_edits(goals, rows):
    print("\nEdit, from its call to the reply in the partner (ratio to AppListProxy)\n"
          f"  {'':28}{'pairs':>6}  {'ratio [quartiles]':26}{'control':26}{'proxy':>8}  goal")
    for row in rows:
        title = f"{EDITS[row['row'].rpartition('-')[2]]}, {LOGS[row['log']]}"
        print(f"  {title:28}{row['pairs']:6}  {spread(row['ratio']):26}"
              f"{control(row['control']):26}{row['proxy_s']['median'] * 1e6:5.0f} us  "
              f"{goals.at_most(row, 'ratio', row['ratio']['median'], EDIT_RATIO)}")


def print_blocks(goals, rows):
    print("\nCalls of the user interface's thread, in ms (control: an edit of a plain vector)\n"
          f"  {'':32}{'calls':>8}{'median':>8}{'p99.9':>8}{'worst':>8}"
          f"{'control: p99.9':>16}{'worst':>8}  goals: p99.9, worst")
    for row in rows:
        title = f"{row['row'][len('client-block-'):].replace('-', ' ')}, {LOGS[row['log']]}"
        print(f"  {title:32}{row['calls']:8}{row['median_s'] * 1e3:8.3f}"
              f"{row['p99_9_s'] * 1e3:8.3f}{row['worst_s'] * 1e3:8.3f}"
              f"{row['control_p99_9_s'] * 1e3:16.3f}{row['control_worst_s'] * 1e3:8.3f}  "
              f"{goals.at_most(row, 'p99.9', row['p99_9_s'], P99_9, ' ms', 1e3)}, "
              f"{goals.at_most(row, 'worst', row['worst_s'], WORST, ' ms', 1e3)}")


def print_permutation(goals, rows):
    print("\nSetItems, 10,000 items to a permutation with 100 changes, all threads, no partner, in ms")
    for row in rows:
        processor = row["processor_s"]
        print(f"  {LOGS[row['log']]}: processor {processor['median'] * 1e3:.1f} "
              f"[{processor['q1'] * 1e3:.1f} {processor['q3'] * 1e3:.1f}], "
              f"wall {row['wall_s']['median'] * 1e3:.1f}, {row['rounds']} rounds  "
              f"{goals.at_most(row, 'processor', processor['median'], PERMUTATION, ' ms', 1e3)}")


def main():
    folder, mode = sys.argv[1:]
    rows = []
    for path in sorted(glob.glob(f"{folder}/client-*.jsonl")):
        log = os.path.basename(path)[len("client-"):-len(".jsonl")]
        with open(path, encoding="utf-8") as file:
            rows += [{**json.loads(line), "log": log} for line in file]
    missing = [row for row in rows if row["row"] == "log"]
    about = machine(0)
    del about["measured_core"]
    print(f"{about['cpu']}, {about['cores']} cores; Linux {about['kernel']}, GLib {about['glib']}, "
          f"{about['dbus_daemon']}; load {about['load'][0]:.2f}; {mode} run")
    goals = Goals()
    for prefix, function in (("client-edit", print_edits), ("client-block", print_blocks),
                             ("client-permutation", print_permutation)):
        of_kind = [row for row in rows if row["row"].startswith(prefix)]
        if of_kind:
            function(goals, of_kind)
    for row in missing:
        print(f"NOT MEASURED, {LOGS[row['log']]}: {row['unavailable']}")
    met = sum(verdict["met"] for verdict in goals.verdicts)
    print(f"\nGoals met: {met} of {len(goals.verdicts)} that this run measured")
    with open(f"{folder}/client-results.json", "w", encoding="utf-8") as file:
        json.dump({"machine": about, "mode": mode, "results": rows, "goals": goals.verdicts}, file,
                  indent=1)
    print(f"All figures: {folder}/client-results.json")


if __name__ == "__main__":
    main()
