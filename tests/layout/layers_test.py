#!/usr/bin/env python3
"""Checks every include in src/ against the table in src/layers.txt and the picture in docs/ARCHITECTURE.md.

    layers_test.py SOURCE_DIRECTORY

A folder may include itself, runtime, and the folders that its line of the table names; "*" stands for
every folder above it in the table. In the picture it stands in a row above everything that it includes.
"""
import pathlib
import re
import sys


def read_table(path):
    """The folders that each folder may include."""
    allowed = {}
    for line in path.read_text().splitlines():
        if line and not line.startswith("#"):
            folder, _, names = line.partition(":")
            above = set(allowed)
            uses = above if names.split() == ["*"] else set(names.split())
            if not uses <= above:
                sys.exit(f"layers.txt: {folder} uses what doesn't stand above it: {uses - above}")
            allowed[folder] = uses | {folder, "runtime"}
    return allowed


def read_picture(path):
    """The row of the picture in which each folder stands. A row is an indented line that begins with its number."""
    rows = {}
    for number, names in re.findall(r"^ {4,}(\d+) +(.*)$", path.read_text(), re.MULTILINE):
        for name in names.split():
            if name in rows:
                sys.exit(f"ARCHITECTURE.md: {name} stands in two rows")
            rows[name] = int(number)
    return rows


def main():
    source = pathlib.Path(sys.argv[1]) / "src"
    allowed = read_table(source / "layers.txt")
    rows = read_picture(source.parent / "docs/ARCHITECTURE.md")
    wrong = [f"the picture in ARCHITECTURE.md and layers.txt don't both name {folder}"
             for folder in sorted(set(rows) ^ set(allowed))]
    seen = 0
    for path in sorted(source.rglob("*.h")) + sorted(source.rglob("*.cpp")):
        name = path.relative_to(source)
        folder = name.parent.as_posix()
        if folder not in allowed:
            wrong.append(f"{name}: its folder isn't in layers.txt")
            continue
        for included in re.findall(r'^#include "(.*)"', path.read_text(), re.MULTILINE):
            seen += 1
            other = pathlib.PurePosixPath(included).parent.as_posix()
            if other not in allowed[folder]:
                wrong.append(f"{name} includes {included}")
            elif other != folder and rows.get(other, -1) >= rows.get(folder, 99):
                wrong.append(f"{name} includes {included}, which isn't below it in the picture")
    print("\n".join(wrong) if wrong else f"{seen} includes, all with the layers")
    sys.exit(1 if wrong or not seen else 0)


if __name__ == "__main__":
    main()
