"""What every row of the comparison uses: where the programs are, and the load on a server."""

from __future__ import annotations

import subprocess
from pathlib import Path
from typing import Dict, List, NamedTuple

from servers import Echo, Hub, Server
from table import Table

SUBSCRIBE_ALL = '{"SubscribeAllCurrentAndNewProperties": true}'


class Stand(NamedTuple):
    programs: Path
    scratch: Path
    runs: int
    seconds: float
    table: Table

    def hub(self) -> Hub:
        return Hub(self.programs / "src" / "vantryd")

    def echo(self, request: int, answer: int, way: str) -> Echo:
        return Echo(self.programs / "bench" / "compare_echo", request, answer, way)


class Target(NamedTuple):
    server: Server
    where: str
    request: bytes
    answer: int


class Loaded(NamedTuple):
    rate: List[float]
    median: List[float]
    slow: List[float]
    cpu: List[float]


def load(stand: Stand, targets: Dict[str, Target], connections: int) -> Dict[str, Loaded]:
    """Loads each target in turn. Returns requests a second, latencies and the server's processor
    time a request in microseconds."""
    results = {name: Loaded([], [], [], []) for name in targets}
    for _ in range(stand.runs):
        for name, target in targets.items():
            request = stand.scratch / "request"
            request.write_bytes(target.request)
            before = target.server.cpu()
            printed = subprocess.run(
                [str(stand.programs / "bench" / "compare_load"), target.where, str(connections),
                 str(stand.seconds), str(request), str(target.answer)],
                check=True, stdout=subprocess.PIPE, text=True).stdout.split()
            rate, median, slow, count = map(float, printed)
            result = results[name]
            result.rate.append(rate)
            result.median.append(median)
            result.slow.append(slow)
            result.cpu.append((target.server.cpu() - before) / count * 1e6)
    return results
