"""Draws the curves of a comparison as SVG files, with logarithmic scales."""

from __future__ import annotations

import math
from pathlib import Path
from typing import Dict, List, Tuple

WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 640, 360, 70, 150, 40, 40
COLOURS = ("#1b6ca8", "#c0392b", "#2e8b57", "#8e6bbf", "#7f6000")


def decades(values: List[float]) -> List[int]:
    return list(range(math.floor(math.log10(min(values))), math.ceil(math.log10(max(values))) + 1))


def label(value: float) -> str:
    return f"{value:,.0f}" if value >= 1 else f"{value:g}"


def svg(title: str, curves: Dict[str, List[List[float]]]) -> str:
    points = [point for curve in curves.values() for point in curve]
    across, up = decades([p[0] for p in points]), decades([p[1] for p in points])

    def x(value: float) -> float:
        share = (math.log10(value) - across[0]) / max(1, across[-1] - across[0])
        return LEFT + share * (WIDTH - LEFT - RIGHT)

    def y(value: float) -> float:
        share = (math.log10(value) - up[0]) / max(1, up[-1] - up[0])
        return HEIGHT - BOTTOM - share * (HEIGHT - TOP - BOTTOM)

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
             'font-family="sans-serif" font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
             f'<text x="{LEFT}" y="22" font-size="15">{title}</text>']
    def grid(begin: Tuple[float, float], end: Tuple[float, float]) -> None:
        parts.append(f'<line x1="{begin[0]:.1f}" y1="{begin[1]:.1f}" x2="{end[0]:.1f}" '
                     f'y2="{end[1]:.1f}" stroke="#ddd"/>')

    def write(at: Tuple[float, float], anchor: str, power: int) -> None:
        parts.append(f'<text x="{at[0]:.1f}" y="{at[1]:.1f}" text-anchor="{anchor}">'
                     f'{label(10.0**power)}</text>')

    for power in across:
        place = x(10.0**power)
        grid((place, TOP), (place, HEIGHT - BOTTOM))
        write((place, HEIGHT - BOTTOM + 18), "middle", power)
    for power in up:
        place = y(10.0**power)
        grid((LEFT, place), (WIDTH - RIGHT, place))
        write((LEFT - 8, place + 4), "end", power)
    for number, (name, curve) in enumerate(curves.items()):
        colour = COLOURS[number % len(COLOURS)]
        line = " ".join(f"{x(p[0]):.1f},{y(p[1]):.1f}" for p in curve)
        parts.append(f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2"/>')
        parts.extend(f'<circle cx="{x(p[0]):.1f}" cy="{y(p[1]):.1f}" r="3" fill="{colour}"/>'
                     for p in curve)
        parts.append(f'<text x="{WIDTH - RIGHT + 10}" y="{TOP + 16 * number + 8}" fill="{colour}">'
                     f'{name}</text>')
    return "\n".join(parts + ["</svg>"]) + "\n"


def draw(curves: Dict[str, Dict[str, List[List[float]]]], directory: Path) -> None:
    """Writes a file for each plot, named after its title."""
    directory.mkdir(parents=True, exist_ok=True)
    for title, lines in curves.items():
        words = "".join(c if c.isalnum() else " " for c in title.lower()).split()
        (directory / ("_".join(words) + ".svg")).write_text(svg(title, lines))
