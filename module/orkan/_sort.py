"""sort and is_sorted."""

from __future__ import annotations

import os
import re
from collections.abc import Iterable, Sequence
from typing import Any, overload

from ._errors import system_errors
from ._files import (
    check_ends,
    check_regular,
    ends_with,
    errors_path,
    in_place_of,
    input_paths,
    is_among,
    make_errors_file,
    output_path,
)
from ._header import header_length
from ._key import Key, checked_flag, checked_number
from ._layout import Layout
from ._run import How, run, temporary_folder
from ._texts import Path

KeyLike = Key | int | str | tuple[int, int]

MEBIBYTE = 1024 * 1024
# Below and above these the library takes a size of its own choice.
LEAST_MEMORY, MOST_MEMORY = 16 * MEBIBYTE, 2**31 - 1
UNITS = {"": 1, "K": 1024, "M": MEBIBYTE}
CHUNK = MEBIBYTE
SWITCHES = {"stable": "-S", "unique": "-U", "merge": "-M"}


@overload
def sort(
    inputs: Path | Iterable[Path],
    output: None = None,
    *,
    keys: KeyLike | Sequence[KeyLike] | None = None,
    record_length: int | None = None,
    csv: bool = False,
    delimiter: str = ",",
    newline: str = "\n",
    header: bool = False,
    stable: bool = False,
    unique: bool = False,
    reverse: bool = False,
    empty_last: bool = False,
    merge: bool = False,
    memory: int | str | None = None,
    temp_dir: Path | None = None,
    errors: Path | None = None,
    complete: bool = True,
    in_process: bool = False,
) -> bytes: ...


@overload
def sort(
    inputs: Path | Iterable[Path],
    output: Path,
    *,
    keys: KeyLike | Sequence[KeyLike] | None = None,
    record_length: int | None = None,
    csv: bool = False,
    delimiter: str = ",",
    newline: str = "\n",
    header: bool = False,
    stable: bool = False,
    unique: bool = False,
    reverse: bool = False,
    empty_last: bool = False,
    merge: bool = False,
    memory: int | str | None = None,
    temp_dir: Path | None = None,
    errors: Path | None = None,
    complete: bool = True,
    in_process: bool = False,
) -> None: ...


@system_errors()
def sort(
    inputs: Path | Iterable[Path],
    output: Path | None = None,
    *,
    keys: KeyLike | Sequence[KeyLike] | None = None,
    record_length: int | None = None,
    csv: bool = False,
    delimiter: str = ",",
    newline: str = "\n",
    header: bool = False,
    stable: bool = False,
    unique: bool = False,
    reverse: bool = False,
    empty_last: bool = False,
    merge: bool = False,
    memory: int | str | None = None,
    temp_dir: Path | None = None,
    errors: Path | None = None,
    complete: bool = True,
    in_process: bool = False,
) -> bytes | None:
    """Sorts the records of the inputs, taken together, into the output; without one, returns them as bytes.

    inputs: a path or several, of regular files; in complete mode and without a header also of pipes.
    output: a path, which may be that of a regular file among the inputs: then it is replaced at the end.
    keys: a key or a sequence of keys, the first one first; without keys whole records are compared. A key is a Key; or
        for CSV a column's number, from 1, or its name in the header; or else a tuple (position, length) of bytes.
    record_length: the bytes of fixed-length records. Without it records are lines, or with csv=True CSV records.
    delimiter, newline: of CSV; of CSV and lines: "\\n", "\\r" or "\\r\\n".
    header: the first line of every CSV input is a header; the first input's stays on top.
    stable: records with equal keys stay in input order.
    unique: only one of several records with equal keys is kept, with stable=True the first.
    reverse: the other way round, for every key.
    empty_last: records with an empty key column go last.
    merge: the inputs are sorted already and only merged.
    memory: bytes, or a text as "64M" or "65536K", from 16M to 2047M. Without it, what the data take.
    temp_dir: where the run makes its folder for temporary files; else tempfile.gettempdir().
    errors: a file for the records that are too short to hold every key; else they are an error.
    complete: every record reaches the output or the errors file, or the sort fails. With complete=False the rules of
        the command without ORKAN_COMPLETE=1 hold, of which some lose records.
    in_process: run in this process, not in a child. No thread runs and no Ctrl-C works until the sort ends.

    Raises SortError when the sort fails; ValueError or TypeError, before anything is written, for arguments that make
    no sense.
    """
    layout = Layout(
        keys=keys,
        record_length=record_length,
        csv=csv,
        delimiter=delimiter,
        newline=newline,
        header=header,
        reverse=reverse,
        empty_last=empty_last,
        complete=complete,
    )
    switches = _switches(stable=stable, unique=unique, merge=merge)
    if merge and header and not complete:
        raise ValueError("merge: without complete=True a merge takes a header for a record")
    how = How(complete=complete, in_process=checked_flag("in_process", in_process))
    sources = input_paths(inputs)
    target = output_path(output, sources, merge)
    rejected = errors_path(errors, sources, target)
    if not complete and not merge and record_length is None:
        check_ends(sources, newline)
    arguments = [*switches, *_memory_argument(memory), *layout.arguments(sources)]
    with temporary_folder(temp_dir) as folder:
        if rejected is not None:
            make_errors_file(rejected)
            arguments += ["-E", rejected]
        if target is None:
            return run(arguments, sources, None, folder, how)
        if is_among(target, sources):
            with in_place_of(target) as new:
                run(arguments, sources, new, folder, how, passing=True)
        else:
            run(arguments, sources, target, folder, how)
    return None


@system_errors()
def is_sorted(
    inputs: Path | Iterable[Path],
    *,
    keys: KeyLike | Sequence[KeyLike] | None = None,
    record_length: int | None = None,
    csv: bool = False,
    delimiter: str = ",",
    newline: str = "\n",
    header: bool = False,
    reverse: bool = False,
    empty_last: bool = False,
    memory: int | str | None = None,
    temp_dir: Path | None = None,
    complete: bool = True,
    in_process: bool = False,
) -> bool:
    """Whether every input by itself is in the order that `sort` gives records; equal ones may follow in any order.

    inputs: a path or several, of regular files. The options are those of `sort`.

    It sorts each input into a temporary file and compares, so it takes a sort's time and memory, and as much room in
    `temp_dir` as the largest input. Raises SortError as `sort` does, and ValueError for an input with records that the
    sort would drop.
    """
    layout = Layout(
        keys=keys,
        record_length=record_length,
        csv=csv,
        delimiter=delimiter,
        newline=newline,
        header=header,
        reverse=reverse,
        empty_last=empty_last,
        complete=complete,
    )
    how = How(complete=complete, in_process=checked_flag("in_process", in_process))
    sources = input_paths(inputs)
    check_regular(sources)
    options = ["-S", *_memory_argument(memory)]
    jobs = [(path, [*options, *layout.arguments([path])]) for path in sources if os.path.getsize(path) > 0]
    with temporary_folder(temp_dir) as folder:
        return all(_one_is_sorted(path, layout, arguments, folder, how) for path, arguments in jobs)


def _switches(**flags: bool) -> list[str]:
    return [SWITCHES[name] for name, flag in flags.items() if checked_flag(name, flag)]


def _memory_argument(memory: int | str | None) -> list[str]:
    if memory is None:
        return []
    size: object = memory
    if isinstance(memory, str):
        parts = re.fullmatch(r"([0-9]{1,10})([KM]?)", memory.upper())
        if parts is None:
            raise ValueError(f"memory must be a number with K or M or nothing behind it, not {memory!r}")
        size = int(parts[1]) * UNITS[parts[2]]
    return ["-W", str(checked_number("memory", size, LEAST_MEMORY, MOST_MEMORY))]


def _one_is_sorted(path: str, layout: Layout, arguments: list[str], folder: str, how: How) -> bool:
    newline = layout.newline.encode()
    if layout.header and os.path.getsize(path) <= header_length(path, newline):
        return True
    output, short = os.path.join(folder, "sorted"), os.path.join(folder, "short")
    make_errors_file(short)
    run([*arguments, "-E", short], [path], output, folder, how)
    if os.path.getsize(short) > 0:
        raise ValueError(f"inputs: records of {path!r} are too short to hold every key")
    return _same_records(path, output, b"" if layout.record_length is not None else newline)


def _same_records(path: str, output: str, newline: bytes) -> bool:
    """A last record of the input without its newline code has got one in the output."""
    added = b"" if ends_with(path, newline) else newline
    if os.path.getsize(output) != os.path.getsize(path) + len(added):
        raise ValueError(f"inputs: a quote of {path!r} is not closed")
    with open(path, "rb") as before, open(output, "rb") as after:
        while expected := before.read(CHUNK):
            if after.read(len(expected)) != expected:
                return False
    return True
