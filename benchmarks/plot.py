"""Curves of cost against size as SVG: sizes on a logarithmic scale, costs from zero or, when they
differ by more than twenty times, on a logarithmic scale too."""

import math
from xml.sax.saxutils import escape

WIDTH, HEIGHT = 720, 360
LEFT, RIGHT, TOP, BOTTOM = 70, 200, 44, 56
COLOURS = ["#1f5fae", "#c8502d", "#7a4ea3", "#4d7f3a", "#7d7d7d"]


def _short(value):
    for limit, letter in ((1e6, "M"), (1e3, "k")):
        if value >= limit:
            return f"{value / limit:g}{letter}"
    return f"{value:g}"


def _steps(highest):
    """Round numbers from zero to just above `highest`."""
    step = 10 ** math.floor(math.log10(highest))
    step = next(s for s in (step / 5, step / 2, step, step * 2) if highest / s <= 6)
    return [step * i for i in range(math.floor(highest / step) + 2)]


def svg(spec, curves):
    """`curves` is a list of (name, [(size or None, seconds)]); a size of None is a level line."""
    curves = [(name, [(x, y * spec["scale"]) for x, y in points]) for name, points in curves]
    curves = [(name, points) for name, points in curves if points]
    sizes = sorted({x for _, points in curves for x, _ in points if x is not None})
    costs = [y for _, points in curves for _, y in points]
    if len(sizes) < 2:
        return ""
    logarithmic = max(costs) > 20 * min(costs)
    if logarithmic:
        low, high = math.floor(math.log10(min(costs))), math.ceil(math.log10(max(costs)))
        ticks = [10.0**e for e in range(low, high + 1)]
        level = lambda y: (math.log10(y) - low) / (high - low)
    else:
        ticks = _steps(max(costs))
        level = lambda y: y / ticks[-1]
    span = math.log(sizes[-1] / sizes[0])
    across = lambda x: LEFT + (WIDTH - LEFT - RIGHT) * math.log(x / sizes[0]) / span
    up = lambda y: HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * level(y)

    out = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
        'font-family="sans-serif" font-size="12">',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        f'<text x="{LEFT}" y="22" font-size="15" font-weight="bold">{escape(spec["title"])}</text>',
        f'<text x="{LEFT}" y="{TOP - 6}" fill="#555">{escape(spec["y"])}</text>',
        f'<text x="{(LEFT + WIDTH - RIGHT) / 2}" y="{HEIGHT - 14}" fill="#555" '
        f'text-anchor="middle">{escape(spec["x"])}</text>',
    ]
    for tick in ticks:
        y = up(tick)
        out.append(f'<line x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{y:.1f}" y2="{y:.1f}" stroke="#ddd"/>')
        out.append(f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end">{tick:g}</text>')
    for size in sizes:
        x = across(size)
        out.append(f'<text x="{x:.1f}" y="{HEIGHT - BOTTOM + 18}" text-anchor="middle">{_short(size)}</text>')
    labels = []
    for colour, (name, points) in zip(COLOURS, curves):
        if points[0][0] is None:
            points = [(sizes[0], points[0][1]), (sizes[-1], points[0][1])]
            dash, dots = ' stroke-dasharray="6 4"', []
        else:
            dash, dots = "", points
        path = " ".join(f"{across(x):.1f},{up(y):.1f}" for x, y in points)
        out.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"{dash}/>')
        out += [f'<circle cx="{across(x):.1f}" cy="{up(y):.1f}" r="3.5" fill="{colour}"/>' for x, y in dots]
        labels.append((up(points[-1][1]) + 4, colour, f"{name} {points[-1][1]:.3g}"))
    below = -1e9
    for y, colour, text in sorted(labels):
        below = max(y, below + 16)
        out.append(f'<text x="{WIDTH - RIGHT + 10}" y="{below:.1f}" fill="{colour}">{escape(text)}</text>')
    return "\n".join(out + ["</svg>"]) + "\n"
