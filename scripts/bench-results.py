#!/usr/bin/env python3
"""Turns the JSON files of Google Benchmark runs into the tables of bench/RESULTS.md.

Names read <Case>/<who>[/<argument>...]: who is qx or a peer, and rows that differ only in who are
compared. The ratio is the peer's median time over ours, so above 1 we are faster.
"""

import json
import pathlib
import re
import sys

# Parts of a name that the framework or an argument adds, which never say who.
DECORATION = re.compile(r"[\d.]+$|\w+:\d|real_time$|process_time$|manual_time$")
TO_NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def split_name(name):
    """Case (with its arguments) and who of a benchmark's name."""
    parts = name.split("/")
    if len(parts) < 2 or DECORATION.match(parts[1]):
        return name, "qx"
    shown = [p for p in parts[2:] if not p.endswith("_time")]
    return "/".join([parts[0]] + shown), parts[1]


def human_time(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def human_rate(row):
    """Throughput as the benchmark reports it: bytes, else items per second."""
    for counter, unit in (("bytes_per_second", "B/s"), ("items_per_second", "/s")):
        if counter in row:
            value = row[counter]
            for prefix, size in (("G", 1e9), ("M", 1e6), ("k", 1e3)):
                if value >= size:
                    return f"{value / size:.3g} {prefix}{unit}"
            return f"{value:.3g} {unit}"
    return ""


def read_cases(run):
    """{case: {who: row}} of the medians of one run, in the order of the source."""
    cases = {}
    medians = [row for row in run["benchmarks"] if row.get("aggregate_name") == "median"]
    for row in sorted(medians, key=lambda r: (r["family_index"], r["per_family_instance_index"])):
        case, who = split_name(row["run_name"])
        cases.setdefault(case, {})[who] = row
    return cases


def nanoseconds(row):
    # The wall clock where the benchmark measures by it: threads and other processes.
    clock = "real_time" if "/real_time" in row["run_name"] else "cpu_time"
    return row[clock] * TO_NANOSECONDS[row["time_unit"]]


def print_run(program, run):
    print(f"\n## {program}\n")
    print("| Case | qx | | Peer | Time | | qx is faster by |")
    print("|---|---:|---:|---|---:|---:|---:|")
    for case, rows in read_cases(run).items():
        own = rows.get("qx")
        own_cells = f"{human_time(nanoseconds(own))} | {human_rate(own)}" if own else " | "
        peers = [who for who in rows if who != "qx"]
        for who in peers:
            ratio = f"{nanoseconds(rows[who]) / nanoseconds(own):.2f}" if own else ""
            print(f"| {case} | {own_cells} | {who} | {human_time(nanoseconds(rows[who]))} "
                  f"| {human_rate(rows[who])} | {ratio} |")
        if not peers:
            print(f"| {case} | {own_cells} | | | | |")


def main(files):
    runs = {pathlib.Path(f).stem: json.loads(pathlib.Path(f).read_text()) for f in files}
    contexts = [run["context"] for run in runs.values()]
    print("# Measurements\n")
    print("Made by `scripts/bench.sh`. Times and rates are medians of the repetitions; a ratio is the")
    print("peer's time over ours in the same run, so above 1 this library is faster.")
    if contexts:
        last = max(contexts, key=lambda context: context["date"])
        print(f"\n{last['date'][:10]}, {last['num_cpus']} cores at {last['mhz_per_cpu']} MHz, "
              "g++ release build.")
    for program, run in sorted(runs.items()):
        print_run(program, run)


if __name__ == "__main__":
    main(sys.argv[1:])
