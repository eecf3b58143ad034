#!/usr/bin/env python3
"""Writes the changes of properties to a CSV file for some seconds, with the present values first.

    export.py FILE SECONDS [NAME...]
"""

import csv
import datetime
import sys
import time

import vantry


def main() -> None:
    file, seconds, names = sys.argv[1], float(sys.argv[2]), sys.argv[3:]
    with vantry.Hub() as hub, hub.changes(*names) as changes, open(file, "w", newline="") as out:
        table = csv.writer(out)
        table.writerow(["time", "component", "group", "name", "value", "kind", "read again"])
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            change = changes.next(left)
            if change is not None:
                now = datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="milliseconds")
                one = change.property
                table.writerow(
                    [now, one.component_name, one.group_name, one.name, one.value]
                    + [change.kind.value, change.missed]
                )


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit("usage: export.py FILE SECONDS [NAME...]")
    try:
        main()
    except (vantry.VantryError, OSError) as error:
        sys.exit(f"export.py: {error}")
