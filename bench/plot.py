"""A line plot as an SVG file, without any library."""

import math

WIDTH, HEIGHT = 640, 360
LEFT, RIGHT, TOP, BOTTOM = 70, 40, 60, 50
COLOURS = ("#1f5fa8", "#b04a1f", "#3f7f3f")


def ticks(highest, count=5):
    """Round numbers from 0 to at least `highest`."""
    if highest <= 0:
        return [0, 1]
    step = 10.0 ** -9
    while step * count < highest:
        for factor in (1, 2, 5):
            if step * factor * count >= highest:
                step *= factor
                break
        else:
            step *= 10
    return [step * i for i in range(math.ceil(highest / step) + 1)]


def number(value):
    return f"{value:,.0f}" if value >= 100 or value == 0 else f"{value:.3g}"


def write(path, title, x_name, y_name, lines):
    """Plots lines, each a name and its (x, y) points, joined in their order."""
    points = [point for _, line in lines for point in line]
    if not points:
        return
    x_ticks, y_ticks = ticks(max(x for x, _ in points)), ticks(max(y for _, y in points))

    def x_at(x):
        return LEFT + (WIDTH - LEFT - RIGHT) * x / x_ticks[-1]

    def y_at(y):
        return HEIGHT - BOTTOM - (HEIGHT - TOP - BOTTOM) * y / y_ticks[-1]

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
             'font-family="sans-serif" font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
             f'<text x="{WIDTH / 2}" y="22" text-anchor="middle" font-size="15">{title}</text>']
    for x in x_ticks:
        parts.append(f'<line x1="{x_at(x):.1f}" y1="{TOP}" x2="{x_at(x):.1f}" '
                     f'y2="{HEIGHT - BOTTOM}" stroke="#e4e4e4"/>'
                     f'<text x="{x_at(x):.1f}" y="{HEIGHT - BOTTOM + 18}" '
                     f'text-anchor="middle">{number(x)}</text>')
    for y in y_ticks:
        parts.append(f'<line x1="{LEFT}" y1="{y_at(y):.1f}" x2="{WIDTH - RIGHT}" '
                     f'y2="{y_at(y):.1f}" stroke="#e4e4e4"/>'
                     f'<text x="{LEFT - 8}" y="{y_at(y) + 4:.1f}" '
                     f'text-anchor="end">{number(y)}</text>')
    for at, ((name, line), colour) in enumerate(zip(lines, COLOURS)):
        joined = " ".join(f"{x_at(x):.1f},{y_at(y):.1f}" for x, y in line)
        parts.append(f'<polyline points="{joined}" fill="none" stroke="{colour}" '
                     'stroke-width="2"/>')
        for x, y in line:
            parts.append(f'<circle cx="{x_at(x):.1f}" cy="{y_at(y):.1f}" r="4" fill="{colour}">'
                         f"<title>{x:,} {x_name}: {y:.3g} {y_name}</title></circle>")
        left = LEFT + at * (WIDTH - LEFT - RIGHT) / len(lines)
        parts.append(f'<line x1="{left:.0f}" y1="44" x2="{left + 18:.0f}" y2="44" '
                     f'stroke="{colour}" stroke-width="3"/>'
                     f'<text x="{left + 24:.0f}" y="48">{name}</text>')
    parts.append(f'<text x="{WIDTH / 2}" y="{HEIGHT - 12}" text-anchor="middle">{x_name}</text>'
                 f'<text x="16" y="{HEIGHT / 2}" text-anchor="middle" '
                 f'transform="rotate(-90 16 {HEIGHT / 2})">{y_name}</text></svg>')
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(parts) + "\n")
