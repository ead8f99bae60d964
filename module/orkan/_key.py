"""Sort keys."""

from __future__ import annotations

import dataclasses
from collections.abc import Iterable
from typing import Any

from ._texts import checked_text

# The library keeps positions and columns in 32 bits.
LARGEST = 2**31 - 1


def checked_flag(name: str, value: object) -> bool:
    if not isinstance(value, bool):
        raise TypeError(f"{name} must be True or False, not {value!r}")
    return value


def checked_number(name: str, value: object, least: int, largest: int) -> int:
    """An integer, which True and False are not, within bounds."""
    if isinstance(value, bool) or not isinstance(value, int):
        raise TypeError(f"{name} must be an integer, not {value!r}")
    if not least <= value <= largest:
        raise ValueError(f"{name} must be from {least} to {largest}, not {value}")
    return int(value)  # without a text of its own, as an Enum's members have


@dataclasses.dataclass(frozen=True)
class Key:
    """One sort key: a column of CSV records, or bytes of fixed-length records and lines.

    column: for CSV the column's number, from 1, or its name in the header.
    position, length: else the bytes, counted from 0.
    numeric: compared as whole numbers with an optional sign, not as text.
    descending: largest first.
    """

    column: int | str | None = None
    position: int | None = dataclasses.field(default=None, kw_only=True)
    length: int | None = dataclasses.field(default=None, kw_only=True)
    numeric: bool = dataclasses.field(default=False, kw_only=True)
    descending: bool = dataclasses.field(default=False, kw_only=True)

    def __post_init__(self) -> None:
        if (self.column is None) == (self.position is None and self.length is None):
            raise ValueError("a key has either a column or a position and a length")
        if isinstance(self.column, str):
            checked_text("column", self.column)
        elif self.column is not None:
            checked_number("column", self.column, 1, LARGEST)
        else:
            self._check_bytes()
        checked_flag("numeric", self.numeric)
        checked_flag("descending", self.descending)

    def _check_bytes(self) -> None:
        if self.position is None or self.length is None:
            raise ValueError("a key of bytes needs both a position and a length")
        checked_number("position", self.position, 0, LARGEST)
        checked_number("length", self.length, 1, LARGEST)
        checked_number("position + length", self.position + self.length, 1, LARGEST)

    @property
    def end(self) -> int:
        """The byte behind a key of bytes."""
        return (self.position or 0) + (self.length or 0)

    def argument(self, reverse: bool) -> str:
        """The key as the command takes it; a name is a number by then."""
        numbers = (self.column, self.position, self.length)
        place = ",".join(str(int(number)) for number in numbers if number is not None)
        return place + ("n" if self.numeric else "") + ("d" if self.descending != reverse else "a")


def as_keys(keys: Any) -> tuple[Key, ...]:
    """Keys from what a caller may say: one key or a sequence of keys, each a Key, a column's number or name, or a tuple
    of position and length."""
    if keys is None:
        return ()
    if _is_one_key(keys):
        return (_as_key(keys),)
    if not isinstance(keys, Iterable) or isinstance(keys, bytes):
        raise TypeError(f"keys: neither a key nor a sequence of keys: {keys!r}")
    return tuple(_as_key(key) for key in keys)


def _is_bytes_place(key: Any) -> bool:
    return isinstance(key, tuple) and len(key) == 2 and all(isinstance(number, int) for number in key)


def _is_one_key(keys: Any) -> bool:
    return isinstance(keys, (Key, str, int)) or _is_bytes_place(keys)


def _as_key(key: Any) -> Key:
    if isinstance(key, Key):
        return key
    if isinstance(key, (str, int)):
        return Key(key)
    if _is_bytes_place(key):
        return Key(position=key[0], length=key[1])
    raise TypeError(f"keys: not a key: {key!r}")
