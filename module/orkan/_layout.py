"""How data are cut into records and in what order these go: the options that sorting and checking share."""

from __future__ import annotations

import dataclasses
from collections.abc import Sequence
from typing import Any

from ._header import Header
from ._key import Key, as_keys, checked_flag, checked_number
from ._texts import WHITE_SPACE, checked_text

# The command's escapes.
NEWLINES = {"\n": r"\n", "\r": r"\r", "\r\n": r"\r\n"}
TAB, TYPED_TAB = "\t", r"\t"

LARGEST_RECORD = 2**63 - 1


@dataclasses.dataclass(frozen=True, kw_only=True)
class Layout:
    """Checked when it is made; see orkan.sort for the options."""

    keys: Any
    record_length: int | None
    csv: bool
    delimiter: str
    newline: str
    header: bool
    reverse: bool
    empty_last: bool
    complete: bool

    def __post_init__(self) -> None:
        for name in ("csv", "header", "reverse", "empty_last", "complete"):
            checked_flag(name, getattr(self, name))
        object.__setattr__(self, "keys", as_keys(self.keys))
        self._check_format()
        if self.csv:
            _check_delimiter(self.delimiter)
        for key in self.keys:
            self._check_key(key)

    def _check_format(self) -> None:
        if self.newline not in NEWLINES:
            raise ValueError(rf"newline must be '\n', '\r' or '\r\n', not {self.newline!r}")
        if self.record_length is not None:
            checked_number("record_length", self.record_length, 1, LARGEST_RECORD)
            if self.csv or self.newline != "\n":
                raise ValueError("record_length: fixed-length records have no newline and are not CSV")
        if not self.csv and (self.header or self.empty_last or self.delimiter != ","):
            raise ValueError("header, delimiter and empty_last are for csv=True")

    def _check_key(self, key: Key) -> None:
        if self.csv and key.column is None:
            raise ValueError(f"keys: CSV needs columns, as in [1, 2] or 'name', not bytes: {key}")
        if not self.csv and key.column is not None:
            raise ValueError(f"keys: a column needs csv=True, others a position and a length: {key}")
        if isinstance(key.column, str) and not self.header:
            raise ValueError(f"keys: the column name {key.column!r} needs header=True")
        if self.record_length is not None and key.end > self.record_length:
            raise ValueError(f"keys: behind the record's {self.record_length} bytes: {key}")

    def arguments(self, inputs: Sequence[str]) -> list[str]:
        """The options of the command, with names looked up in the inputs' headers."""
        arguments = []
        if self.record_length is not None:
            arguments += ["-L", str(int(self.record_length))]
        elif self.newline != "\n":
            arguments += ["-P", NEWLINES[self.newline]]
        if self.csv:
            arguments += ["-C", "-D", TYPED_TAB if self.delimiter == TAB else self.delimiter]
        arguments += ["-H"] * self.header + ["-N"] * self.empty_last
        return arguments + self._order(inputs)

    def _order(self, inputs: Sequence[str]) -> list[str]:
        keys = self._numbered(inputs)
        if not keys:
            return ["-R" if self.reverse else "-A"]
        return [word for key in keys for word in ("-K", key.argument(self.reverse))]

    def _numbered(self, inputs: Sequence[str]) -> list[Key]:
        """The keys with numbers for names, which are the same in every input."""
        numbered = list(self.keys)
        if self.header:
            headers = [Header(path, self.delimiter.encode(), self.newline.encode()) for path in inputs]
            if self.complete:  # where an empty input has neither header nor records
                headers = [header for header in headers if header.names] or headers
            numbered = [_with_number(key, headers) for key in numbered]
        if not self.complete and self.csv and len({key.column for key in numbered}) < len(numbered):
            raise ValueError("keys: two keys on one column")
        return numbered


def _check_delimiter(delimiter: str) -> None:
    checked_text("delimiter", delimiter)
    if delimiter == TAB:
        return
    if not delimiter or delimiter[0] in WHITE_SPACE or delimiter[-1] in WHITE_SPACE:
        raise ValueError(f"delimiter: empty or with white space at an end: {delimiter!r}")
    if delimiter == TYPED_TAB:
        raise ValueError(f"delimiter: {delimiter!r} would be read as a tab")
    if any(special in delimiter for special in '"\r\n'):
        raise ValueError(f"delimiter: a quote or a newline in {delimiter!r}")


def _with_number(key: Key, headers: Sequence[Header]) -> Key:
    if not isinstance(key.column, str):
        return key
    columns = {header.column(key.column) for header in headers}
    if len(columns) > 1:
        raise ValueError(f"keys: {key.column!r} is another column in another input")
    return dataclasses.replace(key, column=columns.pop())
