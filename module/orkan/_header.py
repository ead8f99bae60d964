"""Header lines of CSV files: column names become numbers.

The library takes the bytes up to the first newline code as the header, also when that newline stands inside quotes;
such a header is refused here, for the sort would tear it apart.
"""

from __future__ import annotations

from ._texts import is_special

# The library looks no further for the header's end.
SEARCH_LIMIT = 1024 * 1024

QUOTE = b'"'
BYTE_ORDER_MARK = b"\xef\xbb\xbf"


def header_length(path: str, newline: bytes) -> int:
    """The bytes of the header line with its newline code."""
    line, ended = _header_line(path, newline)
    return len(line) + len(newline) if ended else len(line)


def _header_line(path: str, newline: bytes) -> tuple[bytes, bool]:
    if is_special(path):
        raise ValueError(f"header: {path!r} is no regular file, and reading its header would take it away")
    with open(path, "rb") as file:
        line, found, _ = file.read(SEARCH_LIMIT).partition(newline)
    if line.count(QUOTE) % 2 != 0:
        raise ValueError(f"header: the first line of {path!r} has an unpaired quote, and may not be the whole header")
    return line, bool(found)


def _fields(line: bytes, delimiter: bytes) -> list[bytes]:
    """A delimiter counts where the quotes before it, in its field, are even in number."""
    fields, start, at = [], 0, line.find(delimiter)
    while at >= 0:
        if line.count(QUOTE, start, at) % 2 == 0:
            fields.append(line[start:at])
            start = at + len(delimiter)
            at = line.find(delimiter, start)
        else:
            at = line.find(delimiter, at + 1)
    return [*fields, line[start:]]


def _unquoted(field: bytes) -> bytes:
    if len(field) >= 2 and field.startswith(QUOTE) and field.endswith(QUOTE):
        return field[1:-1].replace(QUOTE + QUOTE, QUOTE)
    return field


class Header:
    """The column names of one file; none of an empty one."""

    def __init__(self, path: str, delimiter: bytes, newline: bytes) -> None:
        line, ended = _header_line(path, newline)
        fields = _fields(line.removeprefix(BYTE_ORDER_MARK), delimiter) if line or ended else []
        self.path = path
        self.names = [_unquoted(field) for field in fields]

    def column(self, name: str) -> int:
        wanted = name.encode("utf-8")
        if self.names.count(wanted) == 1:
            return self.names.index(wanted) + 1
        known = ", ".join(repr(known.decode("utf-8", "replace")) for known in self.names) or "no header"
        number = "no column" if wanted not in self.names else "several columns"
        raise ValueError(f"keys: {number} named {name!r} in {self.path!r}, which has {known}")
