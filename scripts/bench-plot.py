#!/usr/bin/env python3
"""Draws time against the argument of each case, as SVG: bench-plot.py LABEL FILE...

FILE are the JSON files of one program, LABEL says what the argument counts. Both axes are
logarithmic; a panel for each case that has at least three arguments.
"""

import math
import sys

from benchjson import human_time, nanoseconds, read_cases, read_programs
from svg import COLORS, document, legend, text

PANEL_WIDTH, PANEL_HEIGHT = 400, 280
LEFT, RIGHT, TOP, BOTTOM = 62, 30, 30, 42
COLUMNS = 2
LEGEND_HEIGHT = 34


def read_panels(files):
    """{case: {who: [(argument, nanoseconds), ...]}} of the cases that have a curve."""
    panels = {}
    for runs in read_programs(files).values():
        for name, rows in read_cases(runs).items():
            case, _, argument = name.partition("/")
            if not argument.isdigit():
                continue
            for who, row in rows.items():
                curve = panels.setdefault(case, {}).setdefault(who, [])
                curve.append((int(argument), nanoseconds(row)))
    return {case: {who: sorted(curve) for who, curve in curves.items()}
            for case, curves in panels.items()
            if max(len(curve) for curve in curves.values()) >= 3}


def decades(values):
    """Exponents of ten that enclose the values."""
    return math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))


def draw_panel(case, curves, colors, label):
    points = [point for curve in curves.values() for point in curve]
    x_first, x_last = decades([x for x, _ in points])
    y_first, y_last = decades([y for _, y in points])
    width, height = PANEL_WIDTH - LEFT - RIGHT, PANEL_HEIGHT - TOP - BOTTOM

    def place(x, y):
        return (LEFT + width * (math.log10(x) - x_first) / (x_last - x_first),
                TOP + height * (1 - (math.log10(y) - y_first) / (y_last - y_first)))

    parts = [text(PANEL_WIDTH / 2, 18, case, extra=' font-weight="bold"')]
    for exponent in range(x_first, x_last + 1):
        x, _ = place(10**exponent, 10**y_first)
        parts.append(f'<path class="grid" d="M{x:.1f} {TOP}v{height}"/>')
        parts.append(text(x, TOP + height + 15, f"{10**exponent:,}"))
    for exponent in range(y_first, y_last + 1):
        _, y = place(10**x_first, 10**exponent)
        parts.append(f'<path class="grid" d="M{LEFT} {y:.1f}h{width}"/>')
        parts.append(text(LEFT - 6, y + 4, human_time(10**exponent), "end"))
    parts.append(text(LEFT + width / 2, TOP + height + 32, label))
    for who, curve in curves.items():
        placed = [place(x, y) for x, y in curve]
        line = " ".join(f"{x:.1f},{y:.1f}" for x, y in placed)
        stroke = 2.5 if who == "qx" else 1.5
        parts.append(f'<polyline points="{line}" fill="none" stroke="{colors[who]}" '
                     f'stroke-width="{stroke}"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="2.5" fill="{colors[who]}"/>'
                  for x, y in placed]
    return "\n".join(parts)


def main(label, files):
    panels = read_panels(files)
    names = list(dict.fromkeys(who for curves in panels.values() for who in curves))
    colors = {who: COLORS[i % len(COLORS)] for i, who in enumerate(names)}
    columns = min(COLUMNS, len(panels))
    width = columns * PANEL_WIDTH
    height = LEGEND_HEIGHT + math.ceil(len(panels) / columns) * PANEL_HEIGHT
    parts = legend(LEFT, names, colors)
    for i, (case, curves) in enumerate(panels.items()):
        x, y = i % columns * PANEL_WIDTH, LEGEND_HEIGHT + i // columns * PANEL_HEIGHT
        parts += [f'<g transform="translate({x} {y})">', draw_panel(case, curves, colors, label),
                  "</g>"]
    print(document(width, height, parts))


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2:])
