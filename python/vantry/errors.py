"""What goes wrong, as exceptions. The text of each is made for a person and says what to do."""


class VantryError(Exception):
    """The base of all errors that this package raises by itself."""


class NoConnection(VantryError):
    """There is no connection to the hub, or it broke while something was under way."""


class NotAHub(NoConnection):
    """Something listens at the address, but what it says isn't what a hub says."""


class TimedOut(VantryError):
    """The deadline passed."""


class NotFound(VantryError):
    """The hub doesn't have the property, or this connection may not see it."""


class Refused(VantryError):
    """What was asked can't be: a value of another type, a property that is announced already."""


class OwnerGone(TimedOut):
    """Nobody takes what is written: the program that owned the property has ended."""
