#!/usr/bin/env python3
"""Prints what google-benchmark measured as one table: each of our functions beside its peer.

    bench/table.py FILE...

Each FILE is the JSON output of a run with repetitions, of which the median counts. A benchmark is named
"function/input/ours" or "function/input/PEER", where only the input may hold a '/'; one of ours may have several peers.
CPU time is compared; where the benchmark measures real time, that and the CPU time behind it.
"""

import json
import re
import sys

# What google-benchmark itself puts behind a name.
SUFFIX = re.compile(
    r"/(real_time|process_time|manual_time|(threads|iterations|repeats|min_time|min_warmup_time):[^/]*)$")
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
HEADINGS = ("function", "input", "ours", "peer", "", "ratio")


def without_suffixes(name):
    """The name as it was given, and the set of what was put behind it."""
    suffixes = set()
    while (found := SUFFIX.search(name)) is not None:
        suffixes.add(found.group(1))
        name = name[:found.start()]
    return name, suffixes


def medians(report):
    """Yields (function, input, who, nanoseconds) of each benchmark in a report."""
    for run in report["benchmarks"]:
        if run.get("error_occurred"):
            raise ValueError(f"{run['name']}: {run.get('error_message', 'failed')}")
        if run.get("aggregate_name") != "median":
            continue
        name, suffixes = without_suffixes(run["run_name"])
        parts = name.split("/")
        if len(parts) < 3:
            raise ValueError(f"{name}: is not named function/input/who")
        work = "/".join(parts[1:-1])
        if run.get("threads", 1) > 1 or "threads:1" in suffixes:
            work += f", {run['threads']} thread" + ("s" if run["threads"] > 1 else "")
        unit = NANOSECONDS[run["time_unit"]]
        if "real_time" in suffixes:
            yield parts[0], work, parts[-1], run["real_time"] * unit
            work += ", CPU"
        yield parts[0], work, parts[-1], run["cpu_time"] * unit


def rows(reports):
    """The table's rows, sorted by function and otherwise in the order of the runs."""
    times = {}
    for report in reports:
        for function, work, who, time in medians(report):
            times.setdefault((function, work), {})[who] = time
    for (function, work), by_who in sorted(times.items(), key=lambda item: item[0][0].lower()):
        peers = [who for who in by_who if who != "ours"]
        if "ours" not in by_who or not peers:
            raise ValueError(f"{function}/{work}: has only {', '.join(by_who)}")
        for peer in peers:
            yield function, work, readable(by_who["ours"]), readable(by_who[peer]), peer, \
                f"{by_who['ours'] / by_who[peer]:.2f}"


def readable(nanoseconds):
    for unit in ("s", "ms", "us"):
        if nanoseconds >= NANOSECONDS[unit]:
            return f"{nanoseconds / NANOSECONDS[unit]:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def main(paths):
    reports = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            reports.append(json.load(file))
    try:
        table = [HEADINGS, *rows(reports)]
    except ValueError as error:
        print(f"table.py: {error}", file=sys.stderr)
        return 1
    widths = [max(len(row[column]) for row in table) for column in range(len(HEADINGS))]
    numbers = (2, 3, 5)
    for row in table:
        cells = [cell.rjust(width) if column in numbers else cell.ljust(width)
                 for column, (cell, width) in enumerate(zip(row, widths))]
        print("  ".join(cells).rstrip())
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
