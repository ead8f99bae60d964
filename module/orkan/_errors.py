"""The exception of a sort that failed."""

from __future__ import annotations

import contextlib
from collections.abc import Iterable, Iterator


class SortError(Exception):
    """A sort failed.

    status: what the run returned, 1; negative the number of the signal that ended it.
    messages: the lines it wrote, in the language that the environment variable LANG names.
    """

    def __init__(self, status: int, messages: Iterable[str] = ()) -> None:
        self.status = status
        self.messages = tuple(messages)
        super().__init__(status, self.messages)

    def __str__(self) -> str:
        what = f"ended by signal {-self.status}" if self.status < 0 else f"failed with status {self.status}"
        said = "; ".join(message.strip("☆ ") for message in self.messages)
        return f"the sort {what}: {said}" if said else f"the sort {what}"


@contextlib.contextmanager
def system_errors() -> Iterator[None]:
    """Files that cannot be reached are the same failure in Python as inside the sort."""
    try:
        yield
    except OSError as error:
        raise SortError(1, [str(error)]) from error
