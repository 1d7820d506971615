"""A line plot as an SVG file, without any library."""

WIDTH, HEIGHT = 640, 360
LEFT, RIGHT, TOP, BOTTOM = 70, 20, 40, 50


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
    return [step * i for i in range(count + 1)]


def number(value):
    return f"{value:,.0f}" if value >= 100 or value == 0 else f"{value:.3g}"


def write(path, title, x_name, y_name, points):
    """Plots (x, y) points, joined in their order."""
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
    line = " ".join(f"{x_at(x):.1f},{y_at(y):.1f}" for x, y in points)
    parts.append(f'<polyline points="{line}" fill="none" stroke="#1f5fa8" stroke-width="2"/>')
    for x, y in points:
        parts.append(f'<circle cx="{x_at(x):.1f}" cy="{y_at(y):.1f}" r="4" fill="#1f5fa8">'
                     f"<title>{x:,} {x_name}: {y:.3g} {y_name}</title></circle>")
    parts.append(f'<text x="{WIDTH / 2}" y="{HEIGHT - 12}" text-anchor="middle">{x_name}</text>'
                 f'<text x="16" y="{HEIGHT / 2}" text-anchor="middle" '
                 f'transform="rotate(-90 16 {HEIGHT / 2})">{y_name}</text></svg>')
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(parts) + "\n")
