"""What the scripts that draw plots have in common."""

COLORS = ["#c0392b", "#2c5aa0", "#2e8b57", "#b8860b", "#7d3c98", "#444444"]


def text(x, y, content, anchor="middle", extra=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}"{extra}>{content}</text>'


def document(width, height, parts):
    """The image of the parts, on white."""
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
        f'viewBox="0 0 {width} {height}" font-family="sans-serif" font-size="11" fill="#222">',
        "<style>.grid{stroke:#ddd;fill:none}</style>",
        f'<rect width="{width}" height="{height}" fill="#fff"/>',
        *parts,
        "</svg>",
    ])


def legend(x, names, colors):
    """Names beside strokes of their colours, in one line at the top."""
    parts = []
    for i, name in enumerate(names):
        parts.append(f'<path d="M{x + 100 * i} 20h22" stroke="{colors[name]}" stroke-width="2.5"/>')
        parts.append(text(x + 100 * i + 28, 24, name, "start"))
    return parts
