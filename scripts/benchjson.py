"""Reads the JSON files of Google Benchmark runs, for the scripts that show them.

Names read <Case>/<who>[/<argument>...]: who is qx or a peer, and rows that differ only in who are
compared. Files <Program>.json and <Program>.<peer>.json belong to one program. What the figures do
not say stands in bench/notes.toml.
"""

import json
import pathlib
import re
import tomllib

BENCH = pathlib.Path(__file__).resolve().parent.parent / "bench"

# Parts of a name that the framework or an argument adds, which never say who.
DECORATION = re.compile(r"[\d.]+$|\w+:\d|real_time$|process_time$|manual_time$")
TO_NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# Label of a row that would only lengthen a table.
PLOT_ONLY = "plot only"
# What differs by less than this is as fast, on a machine that is never quite still.
EQUAL = 0.05


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
    return dict(sorted(programs.items()))


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


class Notes:
    """bench/notes.toml: which peers do less than the library, and why a row is slower."""

    def __init__(self):
        notes = tomllib.loads((BENCH / "notes.toml").read_text("utf-8"))
        self.versions = notes["versions"]
        self.programs = notes["programs"]

    def is_bound(self, program, who):
        return who in self.programs.get(program, {}).get("bounds", [])

    def reason(self, program, case):
        """The note on the case, else on its family, which is the case without arguments."""
        reasons = self.programs.get(program, {}).get("reasons", {})
        return reasons.get(case, reasons.get(case.split("/")[0], ""))

    def check(self, program, cases):
        """Fails for a reason of what the program does not measure. (A peer may be missing.)"""
        known = set(cases) | {case.split("/")[0] for case in cases}
        for name in self.programs.get(program, {}).get("reasons", {}):
            if name not in known:
                raise SystemExit(f"bench/notes.toml: {program} measures no {name}")


class Ratio:
    """One row of the library beside one row of a peer; above 1 the library is faster."""

    def __init__(self, program, case, own, who, peer, is_bound):
        self.program, self.case, self.who, self.is_bound = program, case, who, is_bound
        self.own_time, self.peer_time = nanoseconds(own), nanoseconds(peer)
        self.value = self.peer_time / self.own_time


def ratios(program, cases, notes):
    """Every comparison of a program in the order of its cases. Another class of the library, a row
    named qx::..., is no peer."""
    return [Ratio(program, case, rows["qx"], who, row, notes.is_bound(program, who))
            for case, rows in cases.items() if "qx" in rows
            for who, row in rows.items() if who != "qx" and not who.startswith("qx::")]
