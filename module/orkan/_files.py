"""Inputs and targets of a sort: which may be which file, and what is written in whose place."""

from __future__ import annotations

import contextlib
import os
import shutil
import tempfile
from collections.abc import Iterable, Iterator, Sequence

from ._texts import Path, is_special, operand, option_path, same_file

# Linux follows no more in one path.
MOST_LINKS = 40


def input_paths(inputs: Path | Iterable[Path]) -> list[str]:
    """One path or several."""
    if isinstance(inputs, (str, bytes, os.PathLike)):
        inputs = [inputs]
    paths = [for_every_process(operand("inputs", path)) for path in inputs]
    if not paths:
        raise ValueError("inputs: there are none")
    return paths


def output_path(output: Path | None, inputs: Sequence[str], merge: bool) -> str | None:
    if output is None:
        return None
    path = _written_path("output", output)
    if is_among(path, inputs):
        if merge:
            raise ValueError(f"output: a merge reads {path!r} while it writes")
        if is_special(path):
            raise ValueError(f"output: {path!r} is an input and no regular file")
    return path


def errors_path(errors: Path | None, inputs: Sequence[str], output: str | None) -> str | None:
    if errors is None:
        return None
    path = _written_path("errors", errors)
    if is_among(path, inputs):
        raise ValueError(f"errors: {path!r} is an input")
    if output is not None and same_file(path, output):
        raise ValueError(f"errors: {path!r} is the output")
    return path


def _written_path(name: str, path: Path) -> str:
    text = option_path(name, path)
    if for_every_process(text) != text:
        raise ValueError(f"{name}: {text!r} is an open file of this process, and another one in its child")
    return text


def for_every_process(path: str) -> str:
    """Another name for what every process has of its own, as /dev/stdin: that which a child, too, finds it by."""
    ours = os.path.realpath("/proc/self") + os.sep
    place = path
    for _ in range(MOST_LINKS):
        folder = os.path.realpath(os.path.dirname(place))
        place = os.path.join(folder, os.path.basename(place))
        if place.startswith(ours):
            return place
        if not os.path.islink(place):
            break
        place = os.path.join(folder, os.readlink(place))
    return path


def check_regular(inputs: Sequence[str]) -> None:
    for path in inputs:
        if is_special(path):
            raise ValueError(f"inputs: {path!r} is no regular file, and would have to be read twice")


def check_ends(inputs: Sequence[str], newline: str) -> None:
    """The library reads inputs as one: behind a last line without its newline code the next input's first goes on."""
    for path in inputs[:-1]:
        if not ends_with(path, newline.encode()):
            raise ValueError(f"inputs: {path!r} does not end in a newline, and another input follows")


def ends_with(path: str, code: bytes) -> bool:
    """Whether a file ends so, which an empty one counts as; one that cannot be read is left to the library."""
    with contextlib.suppress(OSError):
        size = os.path.getsize(path) if os.path.isfile(path) else 0
        if size > 0:
            with open(path, "rb") as file:
                file.seek(-min(len(code), size), os.SEEK_END)
                return file.read() == code
    return True


def is_among(path: str, inputs: Sequence[str]) -> bool:
    return any(same_file(path, one) for one in inputs)


def make_errors_file(path: str) -> None:
    """Empty, for the library makes none for some formats and may go on without one that it cannot make."""
    if not is_special(path):
        with open(path, "wb"):
            pass


@contextlib.contextmanager
def in_place_of(path: str) -> Iterator[str]:
    """A new file beside an existing one, which it replaces when all has gone well."""
    path = os.path.realpath(path)
    descriptor, new = tempfile.mkstemp(prefix=".orkan-", dir=os.path.dirname(path))
    os.close(descriptor)
    try:
        yield new
        shutil.copymode(path, new)
        os.replace(new, path)
    except BaseException:
        with contextlib.suppress(OSError):
            os.unlink(new)
        raise
