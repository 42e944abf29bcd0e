#!/usr/bin/env python3
"""Turns the JSON files of Google Benchmark runs into bench/RESULTS.md: bench-results.py FILE...

A ratio is the peer's median time over ours, so above 1 we are faster. What is slower than a peer
comes first, with the reason that bench/notes.toml gives. A plot of the program's name in bench/ is
shown with its tables.
"""

import json
import pathlib
import statistics
import subprocess
import sys

from benchjson import (BENCH, EQUAL, PLOT_ONLY, Notes, human_time, nanoseconds, ratios, read_cases,
                       read_programs)


def human_number(value):
    for unit, size in (("G", 1e9), ("M", 1e6), ("k", 1e3)):
        if value >= size:
            return f"{value / size:.3g} {unit}"
    return f"{value:.3g}"


def human_rate(row):
    """Throughput as the benchmark reports it: bytes, else items per second."""
    for counter, unit in (("bytes_per_second", "B/s"), ("items_per_second", "/s")):
        if counter in row:
            number = human_number(row[counter])
            return number + unit if number[-1].isalpha() else f"{number} {unit}"
    return ""


def human_count(count):
    """What a row executes: "891, 5 locked"."""
    if not count:
        return ""
    value = count["instructions"]
    return human_number(value) + (f", {count['locked']:g} locked" if count["locked"] else "")


def family(ratio):
    return ratio.program, ratio.case.split("/")[0]


def slow_rows(comparisons):
    """The slowest comparison of each family that has a slow one, the slowest first."""
    worst = {}
    for each in comparisons:
        if each.value < 1 - EQUAL:
            known = worst.setdefault(family(each), each)
            if each.value < known.value:
                worst[family(each)] = each
    return sorted(worst.values(), key=lambda each: each.value)


def other_ratios(worst, comparisons):
    """How the library stands in the rest of the family: "1.3 to 2.5", by peer."""
    by_peer = {}
    for each in comparisons:
        if family(each) == family(worst) and each is not worst:
            by_peer.setdefault(each.who, []).append(each.value)
    parts = []
    for who, values in by_peer.items():
        low, high = f"{min(values):.2f}", f"{max(values):.2f}"
        parts.append(f"{who} {low}" if low == high else f"{who} {low} to {high}")
    return ", ".join(parts)


def print_slow(title, comparisons, notes):
    rows = slow_rows(comparisons)
    print(f"\n### {title}\n")
    if not rows:
        print("None.")
        return
    print("| Ratio | Case | qx | Beside | | Other ratios of the case | Why |")
    print("|---:|---|---:|---|---:|---|---|")
    for row in rows:
        print(f"| {row.value:.2f} | {row.case} | {human_time(row.own_time)} | {row.who} "
              f"| {human_time(row.peer_time)} | {other_ratios(row, comparisons)} "
              f"| {notes.reason(row.program, row.case)} |")


def print_summary(by_program, notes):
    everything = [each for comparisons in by_program.values() for each in comparisons]
    peers = [each for each in everything if not each.is_bound]
    bounds = [each for each in everything if each.is_bound]
    behind = sum(each.value < 1 - EQUAL for each in peers)
    ahead = sum(each.value > 1 + EQUAL for each in peers)
    print("\n## Slowest first\n")
    even = len(peers) - ahead - behind
    print(f"Of {len(peers)} comparisons with peers, {ahead} are faster, {even} are as fast within "
          f"{EQUAL:.0%}, {behind} are slower;")
    print(f"the median ratio is {statistics.median(each.value for each in peers):.2f}. A case with "
          "several arguments and peers stands here once, by its\nworst ratio.")
    print_slow("Slower than a peer", peers, notes)
    print("\nA peer does the same job. What does only a part of it, such as the bare system call or a")
    print("loop over memory, is a bound: it shows what the library adds.")
    print_slow("Slower than a bound", bounds, notes)
    print("\n## Overview\n\n![Ratios of all programs](Overview.svg)\n")
    print("Each dot is a row beside a peer, each ring one beside a bound; the bar is the geometric "
          "mean of the dots.")


def print_program(program, cases, counts):
    print(f"\n## {program}\n")
    if (BENCH / f"{program}.svg").exists():
        print(f"![Plot of {program}]({program}.svg)\n")

    def cells(row):
        return (f"{human_time(nanoseconds(row))} | {human_rate(row)} "
                f"| {human_count(counts.get(row['run_name']))}" if row else " | | ")

    print("| Case | qx | | Instructions | Peer | Time | | Instructions | qx is faster by |")
    print("|---|---:|---:|---:|---|---:|---:|---:|---:|")
    for case, rows in cases.items():
        own = rows.get("qx")
        peers = [who for who in rows if who != "qx"]
        for who in peers:
            ratio = f"{nanoseconds(rows[who]) / nanoseconds(own):.2f}" if own else ""
            print(f"| {case} | {cells(own)} | {who} | {cells(rows[who])} | {ratio} |")
        if not peers:
            print(f"| {case} | {cells(own)} | | | | | |")


def installed_version(package):
    """Without the epoch and what the distribution adds; empty where there is no such package."""
    done = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], capture_output=True,
                          text=True, check=False)
    return done.stdout.split(":")[-1].split("-")[0].split("+")[0]


def read_about(results, program):
    """The lines "key: value" that bench.sh leaves beside the rows of a program."""
    lines = (results / f"{program}.about").read_text("utf-8").splitlines()
    return dict(line.split(": ", 1) for line in lines)


def read_counts(results, program):
    """What scripts/bench-counts.py counted, by the names of rows."""
    counts = results / f"{program}.counts"
    return json.loads(counts.read_text("utf-8")) if counts.exists() else {}


def print_conditions(results, programs, notes):
    """What was measured, when and on what; programs may have been measured at different times."""
    abouts = {program: read_about(results, program) for program in programs}
    last = max(abouts.values(), key=lambda about: about["date"])
    print(f"\n- **Measured**: qx {last['version']} as of the commit “{last['commit']}”, "
          f"{last['date'][:10]}")
    older = {}
    for program, about in abouts.items():
        if about["commit"] != last["commit"]:
            older.setdefault(f"“{about['commit']}”, {about['date'][:10]}", []).append(program)
    for when, names in older.items():
        print(f"  - {', '.join(names)}: {when}")
    print(f"- **Machine**: {last['machine']}")
    print(f"- **Compiler**: {last['compiler']}, the preset `bench`")
    try:
        versions = {peer: installed_version(package) for peer, package in notes.versions.items()}
    except FileNotFoundError:  # no Debian
        versions = {}
    print("- **Peers**: " + ", ".join(f"{peer} {version}" for peer, version in versions.items()
                                      if version))
    duration = results / "minutes"
    if duration.exists():
        print(f"- **Time of a whole run**: {duration.read_text().strip()} minutes")


def main(files):
    notes = Notes()
    programs = read_programs(files)
    by_program, cases_of = {}, {}
    for program, runs in programs.items():
        cases = read_cases(runs)
        notes.check(program, cases)
        by_program[program] = ratios(program, shown(cases), notes)
        cases_of[program] = shown(cases)
    print("# Measurements\n")
    print("Made by `scripts/bench.sh`. Times and rates are medians of the repetitions; a ratio is "
          "the\npeer's time over ours in the same run, so above 1 this library is faster. Instructions\n"
          "are those of the calling thread in one turn of the loop, as callgrind counts them; locked\n"
          "ones are atomic operations that write.")
    results = pathlib.Path(files[0]).parent
    print_conditions(results, programs, notes)
    print_summary(by_program, notes)
    for program, cases in cases_of.items():
        print_program(program, cases, read_counts(results, program))


def shown(cases):
    """The cases without the rows that only a plot needs."""
    kept = {case: {who: row for who, row in rows.items() if row.get("label") != PLOT_ONLY}
            for case, rows in cases.items()}
    return {case: rows for case, rows in kept.items() if rows}


if __name__ == "__main__":
    main(sys.argv[1:])
