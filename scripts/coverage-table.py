#!/usr/bin/env python3
"""Prints line and branch coverage by folder: coverage-table.py SUMMARY.json FILES.txt

SUMMARY.json is what gcovr --json-summary writes. The same table by file goes to FILES.txt.
"""

import collections
import json
import sys

COUNTS = ("line_covered", "line_total", "branch_covered", "branch_total")


def percent(part, whole):
    return f"{100 * part / whole:6.1f} %" if whole else "       -"


def table(rows):
    """Rows are (name, counts in the order of COUNTS)."""
    width = max(len(name) for name, _ in rows)
    lines = [f"{'':{width}}  {'lines':>8} {'of':>6}  {'branches':>8} {'of':>6}"]
    for name, (line, lines_of, branch, branches_of) in rows:
        lines.append(f"{name:{width}}  {percent(line, lines_of)} {lines_of:6}"
                     f"  {percent(branch, branches_of)} {branches_of:6}")
    return "\n".join(lines)


def main(summary_path, files_path):
    with open(summary_path, encoding="utf-8") as file:
        files = json.load(file)["files"]
    by_file = sorted((entry["filename"], [entry[count] for count in COUNTS]) for entry in files)
    by_folder = collections.defaultdict(lambda: [0] * len(COUNTS))
    for name, counts in by_file:
        for folder in (name.rpartition("/")[0], "all"):
            by_folder[folder] = [a + b for a, b in zip(by_folder[folder], counts)]
    whole = by_folder.pop("all")
    with open(files_path, "w", encoding="utf-8") as file:
        print(table(by_file), file=file)
    print(table(sorted(by_folder.items()) + [("all", whole)]))


if __name__ == "__main__":
    main(*sys.argv[1:])
