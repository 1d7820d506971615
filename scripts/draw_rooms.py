#!/usr/bin/env python3
"""Draws docs/rooms.svg from the includes: rooms by level, an arrow where one includes another.

draw_rooms.py writes the picture; draw_rooms.py --check fails if the one in the tree is not
the current one.
"""

import collections
import sys

import rooms

PICTURE = rooms.ROOT / "docs" / "rooms.svg"
LEFT_OUT = ("tests", "fuzz", "bench", "examples")  # No part of the house.
WIDTH, HEIGHT, GAP_X, GAP_Y, MARGIN = 132, 40, 26, 44, 16


def arrows():
    """The rooms, and pairs of them of which the first includes the second."""
    drawn = {room for room in map(rooms.room_of, rooms.sources())
             if not room.startswith(LEFT_OUT)}
    between = set()
    for path, included in rooms.includes():
        upper, lower = rooms.room_of(path), rooms.room_of(included)
        if upper in drawn and lower in drawn and upper != lower:
            between.add((upper, lower))
    return drawn, between


def reaches(below, start):
    seen, left = set(), [start]
    while left:
        for lower in below[left.pop()]:
            if lower not in seen:
                seen.add(lower)
                left.append(lower)
    return seen


def reduced(drawn, between):
    """Without the arrows that a longer way stands for."""
    below = {room: sorted(low for up, low in between if up == room) for room in drawn}
    far = {room: reaches(below, room) for room in drawn}
    return {(up, low) for up, low in between
            if not any(low in far[other] for other in below[up] if other != low)}


def levels(drawn, between):
    """The level of each room: one above the highest that it includes."""
    level = dict.fromkeys(drawn, 0)
    for _ in drawn:
        for upper, lower in between:
            level[upper] = max(level[upper], level[lower] + 1)
    return level


def places(level):
    """The upper left corner of each room, centred level by level, the highest on top."""
    rows = collections.defaultdict(list)
    for room in sorted(level):
        rows[level[room]].append(room)
    widest = max(len(row) for row in rows.values())
    total = widest * WIDTH + (widest - 1) * GAP_X
    place = {}
    for number, row in rows.items():
        width = len(row) * WIDTH + (len(row) - 1) * GAP_X
        x = MARGIN + (total - width) / 2
        y = MARGIN + (max(rows) - number) * (HEIGHT + GAP_Y)
        for room in row:
            place[room] = (x, y)
            x += WIDTH + GAP_X
    return place, total + 2 * MARGIN, MARGIN * 2 + (max(rows) + 1) * (HEIGHT + GAP_Y) - GAP_Y


def picture():
    drawn, between = arrows()
    place, width, height = places(levels(drawn, between))
    out = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:g}" height="{height:g}" '
        f'viewBox="0 0 {width:g} {height:g}" font-family="sans-serif" text-anchor="middle">',
        "<title>Rooms and what they include; ways over other rooms are left out</title>",
        '<defs><marker id="tip" viewBox="0 0 8 8" refX="8" refY="4" markerWidth="7" '
        'markerHeight="7" orient="auto"><path d="M0,0 L8,4 L0,8 z" fill="#555"/></marker></defs>',
        f'<rect width="{width:g}" height="{height:g}" fill="white"/>',
    ]
    for upper, lower in sorted(reduced(drawn, between)):
        (x1, y1), (x2, y2) = place[upper], place[lower]
        x1, x2, y1 = x1 + WIDTH / 2, x2 + WIDTH / 2, y1 + HEIGHT
        bend = (y2 - y1) / 2
        out.append(f'<path d="M{x1:g},{y1:g} C{x1:g},{y1 + bend:g} {x2:g},{y2 - bend:g} '
                   f'{x2:g},{y2:g}" fill="none" stroke="#555" marker-end="url(#tip)"/>')
    for room, (x, y) in sorted(place.items()):
        fill = "#dce9f7" if room.startswith("jet/") else "#f4f0e2"
        out.append(f'<rect x="{x:g}" y="{y:g}" width="{WIDTH}" height="{HEIGHT}" rx="5" '
                   f'fill="{fill}" stroke="#555"/>')
        out.append(f'<text x="{x + WIDTH / 2:g}" y="{y + HEIGHT / 2 + 5:g}" font-size="14">'
                   f'{room}</text>')
    return "\n".join(out + ["</svg>", ""])


def main():
    current = picture()
    if "--check" not in sys.argv:
        PICTURE.write_text(current, encoding="utf-8")
        return 0
    if PICTURE.exists() and PICTURE.read_text(encoding="utf-8") == current:
        return 0
    print("docs/rooms.svg is not current: run scripts/draw_rooms.py", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
