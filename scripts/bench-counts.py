#!/usr/bin/env python3
"""Counts the instructions of benchmarks: bench-counts.py LIBRARY PROGRAM >COUNTS

Runs a benchmark program under callgrind and prints JSON: for each row what one turn of its loop
executes in the thread that measures, {"<row>": {"instructions": n, "locked": n}}. LIBRARY is
bench/CountLoop.cpp, which restricts the counting to the loops. Rows of several threads and rows of a
million and more things are left out: the first are about waiting, the others take too long.
"""

import collections
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

LEFT_OUT = r"-threads:([2-9]|1[0-9])|/[0-9]{7,}(/|$)"


def run(library, program, folder):
    """The rows that the program reports, and one dump in the folder for each loop it ran."""
    command = ["valgrind", "--quiet", "--tool=callgrind", "--collect-atstart=no", "--dump-instr=yes",
               "--compress-pos=no", "--compress-strings=no",
               f"--callgrind-out-file={folder}/loop", program, f"--benchmark_filter={LEFT_OUT}",
               "--benchmark_min_time=0.01", "--benchmark_format=json"]
    done = subprocess.run(command, env={**os.environ, "LD_PRELOAD": library}, capture_output=True,
                          text=True, check=False)
    if done.returncode:
        raise SystemExit(f"{program}: {done.stderr[-500:]}")
    return json.loads(done.stdout)["benchmarks"]


def read_dump(path):
    """How often a loop turned, and what it cost by instruction: {(object, address): count}."""
    turns, costs, inside, is_call = 0, collections.Counter(), "", False
    with open(path, encoding="utf-8", errors="replace") as dump:
        for line in dump:
            if line.startswith("0x"):
                if not is_call:  # what a call costs stands again at the instructions called
                    fields = line.split()
                    costs[inside, int(fields[0], 16)] += int(fields[2])
                is_call = False
            elif line.startswith("ob="):
                inside = line[3:].strip()
            elif line.startswith("calls="):
                is_call = True
            elif line.startswith("desc: Trigger: Client Request: "):
                turns = int(line.rsplit(" ", 1)[1])
    return turns, costs


def locked_addresses(path, known={}):
    """The instructions of an object that lock memory: with the prefix, and exchanges."""
    if path not in known:
        listing = subprocess.run(["objdump", "-d", "--no-show-raw-insn", path], capture_output=True,
                                 text=True, check=False).stdout
        known[path] = {int(match[1], 16) for match in re.finditer(
            r"^\s*([0-9a-f]+):\s+(?:lock |xchg [^\n]*\()", listing, re.MULTILINE)}
    return known[path]


def main(library, program):
    with tempfile.TemporaryDirectory() as folder:
        rows = run(library, program, folder)
        loops = sorted(pathlib.Path(folder).glob("loop.*"),
                       key=lambda path: int(path.suffix[1:].split("-")[0]))
        counts = {}
        loop = iter(loops)
        for row in rows:
            if row.get("error_occurred") or not row["iterations"]:
                continue
            # A row runs with ever more turns; its last loop is the one that it reports.
            turns = -1
            while turns != row["iterations"]:
                turns, costs = read_dump(next(loop))
            locked = sum(cost for (inside, address), cost in costs.items()
                         if address in locked_addresses(inside))
            counts[row["name"]] = {"instructions": round(sum(costs.values()) / turns, 1),
                                   "locked": round(locked / turns, 1)}
    json.dump(counts, sys.stdout, indent=1)


if __name__ == "__main__":
    main(*sys.argv[1:])
