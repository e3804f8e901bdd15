#!/usr/bin/python3
"""Prints the outcomes of decisions that no test reached, and their percentage.

Usage: decisions.py COVERAGE LIMIT

COVERAGE is the output of "gcovr --decisions --json". A decision is a condition with
two outcomes, or a label of a switch. Branches of the compiler also count each
exception and each inlined destructor, so that their percentage says little.
Exit status: 0 at LIMIT percent or more, 1 below, 2 wrong usage.
"""

import json
import sys


def missing_outcomes(decision):
    """@return the outcomes of @p decision, and those that no test reached."""
    if decision["type"] == "switch":
        return 1, [] if decision["count"] else ["this label"]
    return 2, [name for name in ("true", "false") if not decision[f"count_{name}"]]


def main():
    if "--help" in sys.argv:
        print(__doc__)
        return 0
    if len(sys.argv) != 3:
        print("decisions.py: needs COVERAGE and LIMIT", file=sys.stderr)
        return 2
    with open(sys.argv[1], encoding="utf-8") as file:
        files = json.load(file)["files"]
    outcomes = reached = 0
    for source in files:
        for line in source["lines"]:
            decision = line.get("gcovr/decision")
            if not decision or decision["type"] == "uncheckable":
                continue
            all_outcomes, missing = missing_outcomes(decision)
            outcomes += all_outcomes
            reached += all_outcomes - len(missing)
            if missing:
                print(f"{source['file']}:{line['line_number']}: never {' or '.join(missing)}")
    percent = 100 * reached / max(outcomes, 1)
    print(f"decisions: {percent:.1f}% ({reached} out of {outcomes})")
    return 0 if percent >= float(sys.argv[2]) else 1


sys.exit(main())
