#!/usr/bin/env python3
"""Draws the layers of qx/ with their arrows, as the includes say: layers-picture.py >docs/layers.svg

A box is a folder of the table in check-layers.py, the lowest layer at the bottom; folders that share
a layer stand on one ground. An arrow means that a file of the upper folder includes one of the lower.
Arrows that follow from others are left out: log includes io and io includes text, so that log may
include text as well.
"""

import importlib
import pathlib

import svg

layers = importlib.import_module("check-layers")

BOX_WIDTH, BOX_HEIGHT, STEP, MARGIN = 150, 26, 38, 14
ARC = 26  # how far an arrow swings out for each box that it passes


def folders():
    """The rows of folders, lowest first; the umbrella header is none."""
    return [layers.prefixes(row) for row in layers.LAYERS if row != layers.UMBRELLA]


def folder_of(path, names):
    return max((name for name in names if path.startswith(name)), key=len, default=None)


def includes(names):
    """Pairs of folders of which the first includes the second."""
    pairs = set()
    for file in pathlib.Path("qx").rglob("*"):
        if file.suffix not in {".h", ".cpp", ".c"}:
            continue
        source = folder_of(file.as_posix(), names)
        for name in layers.INCLUDE.findall(file.read_text(encoding="utf-8")):
            target = folder_of(name, names)
            if source and target and source != target:
                pairs.add((source, target))
    return pairs


def reaches(pairs, source, target):
    return (source, target) in pairs or any(
        reaches(pairs, between, target) for first, between in pairs if first == source)


def essential(pairs, height):
    """The pairs from one layer to a lower one that do not follow from others."""
    down = {(a, b) for a, b in pairs if height[a] > height[b]}
    return sorted((a, b) for a, b in down if not any(
        a == first and between != b and reaches(down, between, b) for first, between in down))


def picture():
    rows = folders()
    height = {name: number for number, row in enumerate(rows) for name in row}
    names = [name for row in reversed(rows) for name in row]
    top = {name: MARGIN + STEP * number for number, name in enumerate(names)}
    left, right = MARGIN + 6, MARGIN + 6 + BOX_WIDTH
    parts = ['<defs><marker id="tip" viewBox="0 0 8 8" refX="8" refY="4" markerWidth="7" '
             'markerHeight="7" orient="auto"><path d="M0 0L8 4L0 8z" fill="#2c5aa0"/></marker></defs>']
    for row in rows:
        begin = min(top[name] for name in row) - 5
        end = max(top[name] for name in row) + BOX_HEIGHT + 5
        parts.append(f'<rect x="{left - 6}" y="{begin}" rx="6" width="{BOX_WIDTH + 12}" '
                     f'height="{end - begin}" fill="#eee"/>')
    widest = 0
    for source, target in essential(includes(names), height):
        begin, end = top[source] + BOX_HEIGHT * 0.7, top[target] + BOX_HEIGHT * 0.3
        swing = ARC * (names.index(target) - names.index(source))
        widest = max(widest, swing)
        parts.append(f'<path d="M{right} {begin:.0f}C{right + swing} {begin:.0f} {right + swing} '
                     f'{end:.0f} {right} {end:.0f}" fill="none" stroke="#2c5aa0" '
                     'marker-end="url(#tip)"/>')
    for name in names:
        parts.append(f'<rect x="{left}" y="{top[name]}" rx="4" width="{BOX_WIDTH}" '
                     f'height="{BOX_HEIGHT}" fill="#fff" stroke="#444"/>')
        label = name.removeprefix("qx/").rstrip("/")
        parts.append(svg.text((left + right) / 2, top[name] + 17, label))
    return svg.document(right + widest * 3 // 4 + MARGIN, STEP * len(names) + 2 * MARGIN, parts)


if __name__ == "__main__":
    print("<!-- Made by: python3 scripts/layers-picture.py -->")
    print(picture())
