#!/usr/bin/env python3
"""A component that owns a fan, with asyncio. It warms up while the fan stands still."""

import asyncio
import sys

import vantry


async def main() -> None:
    async with await vantry.AsyncHub.connect() as hub:
        turning = 0

        async def turn(speed: int) -> "int | None":
            nonlocal turning
            if speed > 3000:
                return None  # The fan can't; whoever wrote this sees the old value.
            turning = speed
            print(f"the fan turns at {speed}", flush=True)
            return speed

        fan = vantry.Component("Fan Control", "Fans")
        fan.number("Fan Speed", turning, turn)
        temperature = fan.number("Air Temperature", 20)
        await hub.announce(fan)
        degrees = 20
        while True:
            await asyncio.sleep(1)
            degrees = max(20, degrees - 1) if turning else min(60, degrees + 1)
            hub.change(temperature, degrees)


if __name__ == "__main__":
    try:
        asyncio.run(main())
    except KeyboardInterrupt:
        pass
    except vantry.VantryError as error:
        sys.exit(f"component.py: {error}")
