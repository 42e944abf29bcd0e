#!/usr/bin/env python3
"""Measures how many jobs a pool does while its workers are killed: throughput.py EXAMPLES [--seconds N]
[--plot FILE].

EXAMPLES is the folder of the built examples, the seconds are those of all runs together. Draws jobs over
kills a second, and prints the figures as the last line. Ends with status 1 as soon as a pool misses a
job, or leaves something behind.
"""

import argparse
import os
import pathlib
import re
import subprocess
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
from svg import COLORS, document, text  # noqa: E402

RATES = [0, 25, 50, 100, 200, 300, 400]
ROUNDS = 3
WORKERS = 4
FIRST_JOBS = 2000
WIDTH, HEIGHT = 560, 260
LEFT, RIGHT, TOP, BOTTOM = 62, 24, 30, 42


def run(pool, jobs, rate):
    """(kills a second, jobs a second, killed, killed inside, seconds) of one pool."""
    done = subprocess.run([pool, str(jobs), str(WORKERS), str(rate)], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{jobs} jobs, {rate} kills a second: status {done.returncode}: {done.stderr}")
    _, seconds, speed, killed, inside = map(float, re.findall(r"[0-9.]+", done.stdout))
    return killed / seconds, speed, int(killed), int(inside), seconds


def steps(highest):
    """Values of grid lines: at most six steps of 1, 2 or 5 times a power of ten."""
    step = next(factor * 10 ** power for power in range(9) for factor in (1, 2, 5)
                if highest <= 6 * factor * 10 ** power)
    return [step * i for i in range(-int(-highest // step) + 1)]


def draw(points, medians):
    columns = steps(max(x for x, _ in points))
    rows = steps(max(y for _, y in points))

    def place(point):
        return (LEFT + (WIDTH - LEFT - RIGHT) * point[0] / columns[-1],
                TOP + (HEIGHT - TOP - BOTTOM) * (1 - point[1] / rows[-1]))

    parts = [text(LEFT, 18, f"jobs a second, {WORKERS} workers", "start", ' font-weight="bold"'),
             text((WIDTH + LEFT) / 2, HEIGHT - 10, "workers killed a second")]
    for value in columns:
        x, _ = place((value, 0))
        parts += [f'<path class="grid" d="M{x:.1f} {TOP}V{HEIGHT - BOTTOM}"/>',
                  text(x, HEIGHT - BOTTOM + 15, f"{value:,}")]
    for value in rows:
        _, y = place((0, value))
        parts += [f'<path class="grid" d="M{LEFT} {y:.1f}H{WIDTH - RIGHT}"/>',
                  text(LEFT - 6, y + 4, f"{value:,}", "end")]
    line = " ".join("{:.1f},{:.1f}".format(*place(point)) for point in medians)
    parts.append(f'<polyline points="{line}" fill="none" stroke="{COLORS[1]}"/>')
    parts += ['<circle cx="{:.1f}" cy="{:.1f}" r="2.5" fill="{}"/>'.format(*place(point), COLORS[1])
              for point in points]
    return document(WIDTH, HEIGHT, parts) + "\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("examples", type=pathlib.Path)
    parser.add_argument("--seconds", type=float, default=30)
    parser.add_argument("--plot", type=pathlib.Path)
    options = parser.parse_args()
    pool = options.examples.resolve() / "JobPool"
    share = options.seconds / len(RATES) / ROUNDS
    points, medians, jobs, killed, inside = [], [], 0, 0, 0
    for rate in RATES:
        speed = run(pool, FIRST_JOBS, rate)[1]
        runs = []
        for _ in range(ROUNDS):
            count = max(FIRST_JOBS, int(speed * share))
            runs.append(run(pool, count, rate))
            jobs, killed, inside = jobs + count, killed + runs[-1][2], inside + runs[-1][3]
            print(f"{rate} kills a second: {count} jobs in {runs[-1][4]} s", flush=True)
        points += [each[:2] for each in runs]
        medians.append(sorted(runs, key=lambda each: each[1])[ROUNDS // 2][:2])
    folder = pathlib.Path(f"/dev/shm/qx-{os.geteuid()}")
    left = [file for file in folder.glob("*pool%20of%20*")] if folder.is_dir() else []
    if options.plot:
        options.plot.write_text(draw(points, medians))
    print(f"{jobs:,} jobs done by pools of {WORKERS} workers, {killed:,} of which were killed, "
          f"{inside:,} of them inside; from {medians[0][1]:,.0f} jobs a second in peace to "
          f"{medians[-1][1]:,.0f} at {medians[-1][0]:,.0f} kills a second; 0 are missing, "
          f"{len(left)} files are left")
    sys.exit(bool(left))


main()
