#!/usr/bin/env python3
"""Draws all ratios, a line for each program, as SVG: bench-overview.py FILE...

The axis is logarithmic. Right of the line at 1 the library is faster.
"""

import math
import sys
from xml.sax.saxutils import escape

from benchjson import EQUAL, PLOT_ONLY, Notes, ratios, read_cases, read_programs
from svg import COLORS, document, text

LEFT, PLOT_WIDTH, RIGHT = 110, 620, 70
TOP, LINE_HEIGHT, BOTTOM = 52, 24, 40
FIRST, LAST = 0.05, 200
TICKS = [0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50, 100, 200]
SLOWER, FASTER, EVEN, BOUND = COLORS[0], COLORS[2], COLORS[1], "#999"


def place(ratio):
    share = math.log(min(max(ratio, FIRST), LAST) / FIRST) / math.log(LAST / FIRST)
    return LEFT + PLOT_WIDTH * share


def color(ratio):
    if ratio < 1 - EQUAL:
        return SLOWER
    return FASTER if ratio > 1 + EQUAL else EVEN


def draw_mark(ratio, y):
    title = escape(f"{ratio.case} beside {ratio.who}: {ratio.value:.2f}")
    style = (f'fill="none" stroke="{BOUND}"' if ratio.is_bound
             else f'fill="{color(ratio.value)}" fill-opacity="0.6"')
    return (f'<circle cx="{place(ratio.value):.1f}" cy="{y}" r="3.5" {style}>'
            f"<title>{title}</title></circle>")


def geometric_mean(values):
    return math.exp(sum(map(math.log, values)) / len(values))


def draw_program(program, comparisons, y):
    parts = [f'<path class="grid" d="M{LEFT} {y}h{PLOT_WIDTH}"/>',
             text(LEFT - 8, y + 4, program.removesuffix("Bench"), "end")]
    parts += [draw_mark(each, y) for each in comparisons]
    peers = [each.value for each in comparisons if not each.is_bound]
    if peers:
        mean = geometric_mean(peers)
        parts.append(f'<path d="M{place(mean):.1f} {y - 8}v16" stroke="#000" stroke-width="2.5"/>')
        parts.append(text(LEFT + PLOT_WIDTH + 12, y + 4, f"{mean:.2f}", "start",
                          f' font-weight="bold" fill="{color(mean)}"'))
    return parts


def read_comparisons(files):
    """{program: its ratios}, the fastest program first."""
    notes = Notes()
    found = {}
    for program, runs in read_programs(files).items():
        cases = {case: {who: row for who, row in rows.items() if row.get("label") != PLOT_ONLY}
                 for case, rows in read_cases(runs).items()}
        comparisons = ratios(program, cases, notes)
        if comparisons:
            found[program] = comparisons

    def mean_of_peers(program):
        values = [each.value for each in found[program] if not each.is_bound]
        return geometric_mean(values) if values else 0

    return {program: found[program] for program in sorted(found, key=mean_of_peers, reverse=True)}


def main(files):
    programs = read_comparisons(files)
    bottom = TOP + LINE_HEIGHT * len(programs)
    parts = [text(LEFT + PLOT_WIDTH / 2, 16, "The time of a peer over the time of qx", "middle",
                  ' font-size="13" font-weight="bold"'),
             text(place(1) - 10, 36, "qx is slower", "end", f' fill="{SLOWER}"'),
             text(place(1) + 10, 36, "qx is faster", "start", f' fill="{FASTER}"'),
             text(LEFT + PLOT_WIDTH + 12, 36, "mean", "start")]
    for tick in TICKS:
        x = place(tick)
        parts.append(f'<path class="grid" d="M{x:.1f} {TOP - 8}V{bottom}"/>')
        parts.append(text(x, bottom + 15, f"{tick:g}"))
    parts.append(f'<path d="M{place(1):.1f} {TOP - 26}V{bottom}" stroke="#000"/>')
    for i, (program, comparisons) in enumerate(programs.items()):
        parts += draw_program(program, comparisons, TOP + LINE_HEIGHT * i + LINE_HEIGHT // 2)
    parts.append(text(LEFT + PLOT_WIDTH / 2, bottom + 33,
                      "dot: a peer that does the same job, ring: a bound that does only a part of "
                      "it, bar: geometric mean of the dots"))
    print(document(LEFT + PLOT_WIDTH + RIGHT, bottom + BOTTOM, parts))


if __name__ == "__main__":
    main(sys.argv[1:])
