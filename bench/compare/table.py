"""The table of a comparison: the median of interleaved runs, with the lowest and the highest."""

from __future__ import annotations

import statistics
from typing import Dict, List, NamedTuple


class Line(NamedTuple):
    row: str
    what: str
    runs: List[float]
    goal: str
    unit: str

    def cells(self) -> List[str]:
        return [self.row, self.what, number(statistics.median(self.runs)) + self.unit,
                f"{number(min(self.runs))} to {number(max(self.runs))}", self.goal]


def number(value: float) -> str:
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


class Table:
    """Collects lines, prints each one at once, and keeps what the plots need."""

    def __init__(self) -> None:
        self.lines: List[Line] = []
        self.curves: Dict[str, Dict[str, List[List[float]]]] = {}
        print("| row | what | median | lowest to highest | goal |\n| --- | --- | ---: | --- | --- |")

    def add(self, row: str, what: str, runs: List[float], goal: str = "", unit: str = "") -> None:
        line = Line(row, what, runs, goal, unit)
        self.lines.append(line)
        print("| " + " | ".join(line.cells()) + " |", flush=True)

    def ratio(self, row: str, what: str, above: List[float], below: List[float],
              goal: str = "") -> None:
        """Adds the ratios of two measurements of the same runs."""
        self.add(row, what, [one / other for one, other in zip(above, below)], goal)

    def curve(self, plot: str, name: str, place: float, runs: List[float]) -> None:
        """Adds a point of a curve."""
        self.curves.setdefault(plot, {}).setdefault(name, []).append(
            [place, statistics.median(runs)])

    def content(self) -> Dict[str, object]:
        return {"lines": [line._asdict() for line in self.lines], "curves": self.curves}
