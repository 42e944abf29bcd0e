"""Reads the JSON files of Google Benchmark runs, for the scripts that show them.

Names read <Case>/<who>[/<argument>...]: who is qx or a peer, and rows that differ only in who are
compared. Files <Program>.json and <Program>.<peer>.json belong to one program.
"""

import json
import pathlib
import re

# Parts of a name that the framework or an argument adds, which never say who.
DECORATION = re.compile(r"[\d.]+$|\w+:\d|real_time$|process_time$|manual_time$")
TO_NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# Label of a row that would only lengthen a table.
PLOT_ONLY = "plot only"


def split_name(name):
    """Case (with its arguments) and who of a benchmark's name."""
    parts = name.split("/")
    if len(parts) < 2 or DECORATION.match(parts[1]):
        return name, "qx"
    shown = [p for p in parts[2:] if not p.endswith("_time") and not p.startswith("iterations:")]
    return "/".join([parts[0]] + shown), parts[1]


def read_programs(files):
    """{program: [its runs]}, the one with the program's own rows first."""
    programs = {}
    for file in sorted(files):
        path = pathlib.Path(file)
        programs.setdefault(path.name.split(".")[0], []).append(json.loads(path.read_text()))
    return programs


def read_cases(runs):
    """{case: {who: row}} of the medians of a program's runs, in the order of the sources."""
    cases = {}
    for run in runs:
        medians = [row for row in run["benchmarks"] if row.get("aggregate_name") == "median"]
        for row in sorted(medians,
                          key=lambda r: (r["family_index"], r["per_family_instance_index"])):
            case, who = split_name(row["run_name"])
            cases.setdefault(case, {})[who] = row
    return cases


def nanoseconds(row):
    # The wall clock where the benchmark measures by it (threads and other processes) or hands the
    # time over itself.
    by_wall = "/real_time" in row["run_name"] or "/manual_time" in row["run_name"]
    clock = "real_time" if by_wall else "cpu_time"
    return row[clock] * TO_NANOSECONDS[row["time_unit"]]


def human_time(value):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if value >= size:
            return f"{value / size:.3g} {unit}"
    return f"{value:.3g} ns"
