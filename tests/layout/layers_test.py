#!/usr/bin/env python3
"""Checks every include in src/ against the table in src/layers.txt.

    layers_test.py SOURCE_DIRECTORY

A folder may include itself, runtime, and the folders that its line names; "*" stands for every folder
above it in the table.
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


def main():
    source = pathlib.Path(sys.argv[1]) / "src"
    allowed = read_table(source / "layers.txt")
    wrong = []
    seen = 0
    for path in sorted(source.rglob("*.h")) + sorted(source.rglob("*.cpp")):
        name = path.relative_to(source)
        folder = name.parent.as_posix()
        if folder not in allowed:
            wrong.append(f"{name}: its folder isn't in layers.txt")
            continue
        for included in re.findall(r'^#include "(.*)"', path.read_text(), re.MULTILINE):
            seen += 1
            if pathlib.PurePosixPath(included).parent.as_posix() not in allowed[folder]:
                wrong.append(f"{name} includes {included}")
    print("\n".join(wrong) if wrong else f"{seen} includes, all with the layers")
    sys.exit(1 if wrong or not seen else 0)


if __name__ == "__main__":
    main()
