"""One run of the library, in a child process or in this one.

Either has a folder of its own for temporary files, which is gone afterwards, and its messages are collected.
"""

from __future__ import annotations

import contextlib
import dataclasses
import json
import os
import subprocess
import sys
import tempfile
from collections.abc import Iterator, Sequence
from typing import BinaryIO

import _orkan

from ._errors import SortError, system_errors
from ._texts import Path, option_path

EXTENSION = os.path.abspath(_orkan.__file__)
WORKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "_worker.py")
STANDARD_ERROR = 2

# Read by the library when a run starts.
COMPLETE = "ORKAN_COMPLETE"

# What the library writes around its messages.
ECHO = "==== Convert Python Params To C ====\n"
FRAME = ("☆ orkan start...", "☆ orkan end.", "☆ Sort failed.", "☆ソートは失敗しました。")


@dataclasses.dataclass(frozen=True, kw_only=True)
class How:
    """In which mode and which process a sort runs."""

    complete: bool
    in_process: bool

    def environment(self) -> dict[str, str]:
        return {COMPLETE: "1" if self.complete else "0"}


@contextlib.contextmanager
def temporary_folder(parent: Path | None) -> Iterator[str]:
    """A new folder in `parent`, or where the system keeps such folders."""
    where = tempfile.gettempdir() if parent is None else os.fsdecode(parent)
    option_path("temp_dir", os.path.join(os.path.abspath(where), "orkan"))
    with contextlib.ExitStack() as stack:
        with system_errors():
            where = os.path.abspath(where)
            folder = tempfile.TemporaryDirectory(prefix="orkan-", dir=where, ignore_cleanup_errors=True)
        yield stack.enter_context(folder)


def run(arguments: Sequence[str], inputs: Sequence[str], output: str | None, folder: str, how: How) -> bytes:
    """The records when there is no output, else nothing. A failure is a SortError."""
    words = ["-T", folder, *arguments]
    operands = ["--", *inputs]  # an input may begin with a dash
    with tempfile.TemporaryFile(dir=folder) as standard_error:
        if how.in_process:
            target = output or os.path.join(folder, "output")
            status = _in_this_process([*words, "-O", target, *operands], how, standard_error)
        else:
            words += [] if output is None else ["-O", output]
            status, records = _in_child([*words, *operands], how, folder, standard_error)
        if status != 0:
            raise SortError(status, _messages(standard_error))
    if how.in_process:
        records = _content(target) if output is None else b""
    return records


def _content(path: str) -> bytes:
    with open(path, "rb") as file:
        return file.read()


def _messages(standard_error: BinaryIO) -> list[str]:
    standard_error.seek(0)
    text = standard_error.read().decode("utf-8", "replace")
    text = text.split(ECHO, 2)[-1]
    lines = [line.strip() for line in text.splitlines()]
    return [line for line in lines if line and line not in FRAME]


def _in_this_process(arguments: list[str], how: How, standard_error: BinaryIO) -> int:
    """The file stands for the standard error of the whole process meanwhile."""
    if sys.stderr is not None:
        sys.stderr.flush()
    kept = os.dup(STANDARD_ERROR)
    try:
        os.dup2(standard_error.fileno(), STANDARD_ERROR)
        with _environment(how.environment()):
            return _orkan.orkan(arguments)
    finally:
        os.dup2(kept, STANDARD_ERROR)
        os.close(kept)


@contextlib.contextmanager
def _environment(changes: dict[str, str]) -> Iterator[None]:
    before = {name: os.environ.get(name) for name in changes}
    os.environ.update(changes)
    try:
        yield
    finally:
        for name, value in before.items():
            if value is None:
                del os.environ[name]
            else:
                os.environ[name] = value


def _in_child(arguments: list[str], how: How, folder: str, standard_error: BinaryIO) -> tuple[int, bytes]:
    """What the child writes to its standard output is returned; with an output file that is nothing."""
    if not sys.executable:
        raise RuntimeError("there is no interpreter to run the sort: use in_process=True")
    command = [sys.executable, "-S", WORKER, EXTENSION]
    job = json.dumps({"arguments": arguments, "folder": folder}).encode()
    environment = os.environ | how.environment()
    with system_errors():
        child = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=standard_error, env=environment
        )
    assert child.stdin is not None and child.stdout is not None
    try:
        with contextlib.suppress(BrokenPipeError):  # its end tells more
            child.stdin.write(len(job).to_bytes(8, "big") + job)
            child.stdin.flush()
        records = child.stdout.read()
        return child.wait(), records
    finally:
        _dismiss(child)


def _dismiss(child: subprocess.Popen[bytes]) -> None:
    """Ends a child that still runs: it stops at a byte, and at the end of the pipe. Then it is waited for."""
    assert child.stdin is not None and child.stdout is not None
    with contextlib.suppress(BrokenPipeError):
        if child.returncode is None:
            child.stdin.write(b"\n")
        child.stdin.close()
    child.stdout.close()
    child.wait()
