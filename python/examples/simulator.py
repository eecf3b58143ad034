#!/usr/bin/env python3
"""Simulates a temperature sensor whose faults are chosen by writing to "Sensor Fault".

    none       the temperature goes up and down between 40 and 60
    stuck      it keeps its value
    absurd     it reads 4294967295
    flapping   the property is withdrawn and announced again, over and over
    gone       the property is withdrawn
"""

import sys
import time

import vantry

FAULTS = ("none", "stuck", "absurd", "flapping", "gone")


class Sensor:
    """A sensor in the hub, and the fault that it has at the moment."""

    def __init__(self, hub: vantry.Hub):
        self.hub = hub
        self.fault = "none"
        self.sensor = vantry.Component("Simulated Sensor", "Sensors")
        self.temperature = self.sensor.number("Simulated Temperature", 40)
        self.is_there = True
        faults = vantry.Component("Simulated Sensor", "Faults")
        faults.text("Sensor Fault", self.fault, self.choose)
        hub.announce([*self.sensor, *faults])

    def choose(self, fault: str) -> "str | None":
        """Takes a fault; an unknown one is refused."""
        if fault not in FAULTS:
            return None
        self.fault = fault
        return fault

    def step(self, second: int) -> None:
        """Does what the sensor does in one second."""
        fault = self.fault
        wanted = fault != "gone" and not (fault == "flapping" and second % 2)
        if wanted and not self.is_there:
            self.hub.announce(self.sensor)
        elif self.is_there and not wanted:
            self.hub.withdraw(self.temperature)
        self.is_there = wanted
        if wanted and fault != "stuck":
            degrees = 40 + abs(second % 40 - 20)
            self.hub.change(self.temperature, 2**32 - 1 if fault == "absurd" else degrees)


def main() -> None:
    with vantry.Hub() as hub:
        sensor = Sensor(hub)
        second = 0
        while True:
            sensor.step(second)
            time.sleep(1)
            second += 1


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        pass
    except vantry.VantryError as error:
        sys.exit(f"simulator.py: {error}")
