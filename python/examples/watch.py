#!/usr/bin/env python3
"""Prints the properties that are named as they change, until Ctrl-C; all of them if none is named.

    watch.py [NAME...]
"""

import sys
import time

import vantry


def main() -> None:
    with vantry.Hub() as hub, hub.changes(*sys.argv[1:]) as changes:
        for change in changes:
            now = time.strftime("%H:%M:%S")
            # What was found by reading again may have changed up to an interval ago.
            late = " (read again)" if change.missed else ""
            value = change.property.value if change.property.available else "gone"
            print(f"{now} {change.property} = {value}{late}", flush=True)


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        pass
    except vantry.VantryError as error:
        sys.exit(f"watch.py: {error}")
