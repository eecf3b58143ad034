"""What a subscriber knows of the hub's properties, and the order in which values belong.

Two kinds of message bring values, and neither is always the newer one. A publication holds values of
the hub's last ticks, so the first publication behind an answer may hold a value from before it. An
answer holds values of some moment between question and answer, so a publication that comes in
between may be newer or older. In both cases the property is doubtful: its value is not delivered,
but read again, and what that brings is newer than all that came before the question. A publication
that follows another one behind the answer is newer than the answer, so doubts end there.

There is no input or output here, and nothing waits.
"""

from __future__ import annotations

from typing import Callable, Dict, FrozenSet, Iterable, List, Optional, Set, Tuple

from .properties import Change, ChangeKind, Property, PropertyId

Outcome = Tuple[List[Change], Set[PropertyId]]
"""What is to be delivered, and what is to be read again."""


class Mirror:
    """The values that were reported to a subscriber of the properties for which `covers` holds."""

    def __init__(self, covers: Callable[[PropertyId], bool]):
        self._covers = covers
        self._known: Dict[PropertyId, Property] = {}
        self._doubtful: Set[PropertyId] = set()
        self._all_doubtful = False
        self._read: Set[PropertyId] = set()
        """Those whose present value came by reading."""
        self._meanwhile: Set[PropertyId] = set()
        """Those that were published since the last question."""

    def __len__(self) -> int:
        return len(self._known)

    def ask(self) -> None:
        """To be called when a question goes out. At most one may be open at a time."""
        self._meanwhile = set()

    def publication(self, records: Iterable[Property]) -> Outcome:
        """Takes a publication."""
        changes: List[Change] = []
        again: Set[PropertyId] = set()
        last: Dict[PropertyId, Property] = {}
        for record in records:
            if self._covers(record.id):
                # Changes stand before withdrawals, whatever their order was.
                if record.id in last and last[record.id].available != record.available:
                    again.add(record.id)
                last[record.id] = record
        for one, record in last.items():
            self._meanwhile.add(one)
            same = self._is_known(one, record)
            if one in again or (not same and (self._all_doubtful or one in self._doubtful)):
                again.add(one)
            elif not (same and one in self._read):
                self._read.discard(one)
                changes += self._learn(one, record, ChangeKind.CHANGED, False)
            else:
                self._read.discard(one)
        self._doubtful.clear()
        self._all_doubtful = False
        return changes, again

    def answer(
        self,
        found: Iterable[Property],
        asked: Optional[Set[PropertyId]],
        kind: ChangeKind = ChangeKind.CHANGED,
        missed: bool = False,
        at_once: bool = False,
        told: FrozenSet[PropertyId] = frozenset(),
    ) -> Outcome:
        """Takes the answer to a question for `asked`, or for all that is covered if that is None. What
        differs counts as missed if `missed` says so, but for those that a publication has `told` of.
        `at_once` says that the question followed a publication so quickly that no tick of the hub can
        have come between that publication and the answer."""
        values = {record.id: record for record in found if self._covers(record.id)}
        wanted = set(values) | set(self._known) if asked is None else asked
        changes: List[Change] = []
        again: Set[PropertyId] = set()
        for one in sorted(wanted):
            record = values.get(one)
            if self._is_known(one, record):
                continue
            if one in self._meanwhile:
                again.add(one)
                continue
            self._read.add(one)
            changes += self._learn(one, record, kind, missed and one not in told)
        if not at_once:
            self._doubtful |= wanted
            self._all_doubtful = self._all_doubtful or asked is None
        return changes, again

    def _is_known(self, one: PropertyId, record: Optional[Property]) -> bool:
        known = self._known.get(one)
        if record is None or not record.available:
            return known is None
        return known is not None and known.value == record.value

    def _learn(
        self, one: PropertyId, record: Optional[Property], kind: ChangeKind, missed: bool
    ) -> List[Change]:
        if record is not None and record.available:
            self._known[one] = record
            return [Change(record, kind, missed)]
        known = self._known.pop(one, None)
        if known is None:
            return []
        last = record.value if record is not None else known.value
        return [
            Change(
                Property(known.id, known.component_name, known.group_name, known.name, last, False),
                ChangeKind.GONE,
                missed,
            )
        ]
