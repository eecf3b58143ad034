#!/usr/bin/env python3
"""Compares the hub with a bare echo, Redis, mosquitto and RapidJSON, and prints the table."""

from __future__ import annotations

import argparse
import json
import resource
import tempfile
from pathlib import Path

from growth import growth
from plots import draw
from rows import ROWS
from stand import Stand
from table import Table


def main() -> None:
    choice = {**ROWS, "growth": growth}
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", type=Path, required=True, help="the directory of the build")
    parser.add_argument("--results", type=Path, required=True,
                        help="the directory for results.json and the plots")
    parser.add_argument("--runs", type=int, default=5, help="interleaved runs of each row (5)")
    parser.add_argument("--seconds", type=float, default=1.0, help="length of one load (1)")
    parser.add_argument("rows", nargs="*", help="of " + ", ".join(choice) + "; all by default")
    options = parser.parse_args()
    for row in options.rows:
        if row not in choice:
            parser.error(f"there is no row {row}")
    # The rows with a thousand connections need as many descriptors, and so do the servers.
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    table = Table()
    with tempfile.TemporaryDirectory(prefix="vantry-compare-") as scratch:
        stand = Stand(options.programs, Path(scratch), options.runs, options.seconds, table)
        for row in options.rows or choice:
            choice[row](stand)
    options.results.mkdir(parents=True, exist_ok=True)
    (options.results / "results.json").write_text(json.dumps(table.content(), indent=1) + "\n")
    draw(table.curves, options.results)


if __name__ == "__main__":
    main()
