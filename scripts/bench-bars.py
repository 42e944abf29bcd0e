#!/usr/bin/env python3
"""Draws the throughput of each case as bars, as SVG: bench-bars.py FILE...

FILE are the JSON files of one program whose rows count bytes.
"""

import sys

from benchjson import read_cases, read_programs
from svg import COLORS, document, legend, text

LEFT, PLOT_WIDTH, RIGHT = 150, 560, 70
TOP, BAR, GAP = 40, 7, 8


def read_rates(files):
    """{case: {who: GB/s}} of the cases with peers."""
    rates = {}
    for runs in read_programs(files).values():
        for case, rows in read_cases(runs).items():
            if len(rows) > 1:
                rates[case] = {who: row["bytes_per_second"] / 1e9 for who, row in rows.items()}
    return rates


def main(files):
    rates = read_rates(files)
    names = list(dict.fromkeys(who for rows in rates.values() for who in rows))
    colors = {who: COLORS[i % len(COLORS)] for i, who in enumerate(names)}
    most = max(rate for rows in rates.values() for rate in rows.values())
    parts = legend(LEFT, names, colors)
    parts.append(text(LEFT + PLOT_WIDTH, 24, "GB/s of encoded text", "end"))
    y = TOP
    for case, rows in rates.items():
        parts.append(text(LEFT - 8, y + len(rows) * BAR / 2 + 4, case, "end"))
        for who, rate in rows.items():
            width = PLOT_WIDTH * rate / most
            parts.append(f'<rect x="{LEFT}" y="{y}" width="{width:.1f}" height="{BAR - 1}" '
                         f'fill="{colors[who]}"/>')
            if who == "qx":
                parts.append(text(LEFT + width + 4, y + BAR, f"{rate:.1f}", "start",
                                  f' font-weight="bold" fill="{colors[who]}"'))
            y += BAR
        y += GAP
    print(document(LEFT + PLOT_WIDTH + RIGHT, y + GAP, parts))


if __name__ == "__main__":
    main(sys.argv[1:])
