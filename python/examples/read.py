#!/usr/bin/env python3
"""Prints properties of a printer: those that are named, else all of them.

    read.py [NAME...]
"""

import sys

import vantry


def main() -> None:
    with vantry.Hub() as hub:
        names = sys.argv[1:]
        for found in map(hub.read, names) if names else hub.read_all():
            print(f"{found} = {found.value}")


if __name__ == "__main__":
    try:
        main()
    except vantry.VantryError as error:
        sys.exit(f"read.py: {error}")
