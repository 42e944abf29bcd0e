"""Draws curves over time as SVG, in the looks of the benchmarks' plots."""

import pathlib
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import svg

WIDTH, HEIGHT = 800, 200
LEFT, RIGHT, TOP, BOTTOM = 62, 30, 30, 42
MOST_STEPS = 6


def step_for(highest):
    """The distance of grid lines: 1, 2 or 5 times a power of ten."""
    step = 10.0 ** -3
    factors = [2, 2.5, 2]
    for i in range(60):
        if highest / step <= MOST_STEPS:
            break
        step *= factors[i % 3]
    return step


def steps(highest):
    step = step_for(highest)
    return [i * step for i in range(int(highest / step) + 2)]


def draw_panel(title, seconds, curves):
    rows = steps(max(value for curve in curves.values() for value in curve if value is not None))
    columns = [second for second in steps(seconds[-1]) if second <= seconds[-1]]
    width, height = WIDTH - LEFT - RIGHT, HEIGHT - TOP - BOTTOM

    def place(second, value):
        return LEFT + width * second / seconds[-1], TOP + height * (1 - value / rows[-1])

    parts = [svg.text(LEFT, 18, title, "start", ' font-weight="bold"')]
    for value in rows:
        _, y = place(0, value)
        parts.append(f'<path class="grid" d="M{LEFT} {y:.1f}h{width}"/>')
        parts.append(svg.text(LEFT - 6, y + 4, f"{value:g}", "end"))
    for second in columns:
        x, _ = place(second, 0)
        parts.append(f'<path class="grid" d="M{x:.1f} {TOP}v{height}"/>')
        parts.append(svg.text(x, TOP + height + 15, f"{second:g} s"))
    for i, (name, curve) in enumerate(curves.items()):
        color = svg.COLORS[i]
        points = " ".join("{:.1f},{:.1f}".format(*place(second, value))
                          for second, value in zip(seconds, curve) if value is not None)
        parts.append(f'<polyline points="{points}" fill="none" stroke="{color}"/>')
        if len(curves) > 1:
            x = WIDTH - RIGHT - 110 * (len(curves) - i)
            parts.append(f'<path d="M{x} 14h22" stroke="{color}" stroke-width="2.5"/>')
            parts.append(svg.text(x + 28, 18, name, "start"))
    return "\n".join(parts)


def draw(seconds, panels):
    """SVG of panels one above the other: [(title, {name: [a value or None for every second]})]."""
    parts = []
    for i, (title, curves) in enumerate(panels):
        parts += [f'<g transform="translate(0 {i * HEIGHT})">', draw_panel(title, seconds, curves),
                  "</g>"]
    return svg.document(WIDTH, HEIGHT * len(panels), parts) + "\n"
