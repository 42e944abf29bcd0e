#!/usr/bin/env python3
"""Turns the JSON files of Google Benchmark runs into the tables of bench/RESULTS.md.

The ratio is the peer's median time over ours, so above 1 we are faster. A plot of the program's
name beside the tables is shown with them.
"""

import pathlib
import sys

from benchjson import PLOT_ONLY, human_time, nanoseconds, read_cases, read_programs

PLOTS = pathlib.Path(__file__).resolve().parent.parent / "bench"


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


def print_program(program, runs):
    print(f"\n## {program}\n")
    if (PLOTS / f"{program}.svg").exists():
        print(f"![Time of {program}]({program}.svg)\n")
    print("| Case | qx | | Peer | Time | | qx is faster by |")
    print("|---|---:|---:|---|---:|---:|---:|")
    for case, rows in read_cases(runs).items():
        rows = {who: row for who, row in rows.items() if row.get("label") != PLOT_ONLY}
        if not rows:
            continue
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
    programs = read_programs(files)
    contexts = [run["context"] for runs in programs.values() for run in runs if "context" in run]
    print("# Measurements\n")
    print("Made by `scripts/bench.sh`. Times and rates are medians of the repetitions; a ratio is the")
    print("peer's time over ours in the same run, so above 1 this library is faster.")
    if contexts:
        last = max(contexts, key=lambda context: context["date"])
        print(f"\n{last['date'][:10]}, {last['num_cpus']} cores at {last['mhz_per_cpu']} MHz, "
              "g++ release build.")
    for program, runs in sorted(programs.items()):
        print_program(program, runs)


if __name__ == "__main__":
    main(sys.argv[1:])
