"""One run of the library, in a child process or in this one.

Either has a folder of its own for temporary files, which is gone afterwards, and its messages are collected.
"""

from __future__ import annotations

import contextlib
import dataclasses
import json
import os
import signal
import socket
import subprocess
import sys
import tempfile
import threading
from collections.abc import Iterator, Sequence
from typing import BinaryIO

import _orkan

from ._errors import SortError
from ._texts import Path, operand, option_path

EXTENSION = os.path.abspath(_orkan.__file__)
WORKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "_worker.py")
STANDARD_ERROR = 2

# For the caller and not for its child: a terminal sends the first three to both, and others any to the whole group.
CALLERS_SIGNALS = (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP, signal.SIGTERM)

# With these an interpreter adds lines to the messages, or does not end.
TALKATIVE = ("PYTHONVERBOSE", "PYTHONINSPECT", "PYTHONMALLOCSTATS")

# Standard error and environment belong to the whole process.
IN_PROCESS = threading.Lock()

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
    where = os.path.abspath(tempfile.gettempdir() if parent is None else operand("temp_dir", parent))
    option_path("temp_dir", os.path.join(where, "orkan"))
    with tempfile.TemporaryDirectory(prefix="orkan-", dir=where, ignore_cleanup_errors=True) as folder:
        yield folder


def run(
    arguments: Sequence[str], inputs: Sequence[str], output: str | None, folder: str, how: How, passing: bool = False
) -> bytes:
    """The records when there is no output, else nothing. A failure is a SortError.

    passing: the output is a temporary file itself, and goes with the folder when the caller ends before its child.
    """
    words, records = ["-T", folder, *arguments], b""
    operands = ["--", *inputs]  # an input may begin with a dash
    with tempfile.TemporaryFile(dir=folder) as standard_error:
        if how.in_process:
            target = output or os.path.join(folder, "output")
            status = _in_this_process([*words, "-O", target, *operands], how, standard_error)
            if output is None and status == 0:
                records = _content(target)
        else:
            words += [] if output is None else ["-O", output]
            temporary = [folder, output] if output is not None and passing else [folder]
            status, records = _in_child([*words, *operands], temporary, how, standard_error)
        if status != 0:
            raise SortError(status, _messages(standard_error))
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
    """The file stands for the standard error of the whole process meanwhile, so that one thread at a time sorts."""
    with IN_PROCESS:
        return _with_standard_error(arguments, how, standard_error)


def _with_standard_error(arguments: list[str], how: How, standard_error: BinaryIO) -> int:
    with contextlib.suppress(AttributeError, ValueError, OSError):  # there may be none, or a closed one
        sys.stderr.flush()
    kept = None
    with contextlib.suppress(OSError):
        kept = os.dup(STANDARD_ERROR)
    try:
        os.dup2(standard_error.fileno(), STANDARD_ERROR)
        with _environment(how.environment()):
            return _orkan.orkan(arguments)
    finally:
        if kept is None:
            os.close(STANDARD_ERROR)
        else:
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


def _in_child(arguments: list[str], temporary: list[str], how: How, standard_error: BinaryIO) -> tuple[int, bytes]:
    """What the child writes to its standard output is returned; with an output file that is nothing."""
    if not sys.executable:
        raise RuntimeError("there is no interpreter to run the sort: use in_process=True")
    message = json.dumps(arguments).encode()
    ours, theirs = socket.socketpair()
    with contextlib.ExitStack() as stack:
        stack.enter_context(ours)
        with theirs, _callers_signals_blocked():
            child = _start(temporary, theirs, how, standard_error)
            stack.callback(_dismiss, child, ours)
        with contextlib.suppress(OSError):  # its end tells more
            ours.sendall(len(message).to_bytes(8, "big") + message, socket.MSG_NOSIGNAL)
        assert child.stdout is not None
        records = child.stdout.read()
        return _status(child, ours), records


def _start(
    temporary: list[str], channel: socket.socket, how: How, standard_error: BinaryIO
) -> subprocess.Popen[bytes]:
    environment = {name: value for name, value in os.environ.items() if name not in TALKATIVE}
    return subprocess.Popen(
        [sys.executable, "-S", WORKER, EXTENSION, *temporary],
        stdin=channel.fileno(),
        stdout=subprocess.PIPE,
        stderr=standard_error,
        env=environment | how.environment(),
    )


@contextlib.contextmanager
def _callers_signals_blocked() -> Iterator[None]:
    """A process that is started meanwhile keeps them blocked."""
    before = signal.pthread_sigmask(signal.SIG_BLOCK, CALLERS_SIGNALS)
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


def _status(child: subprocess.Popen[bytes], channel: socket.socket) -> int:
    """As the child tells it: its own may be lost, where the caller ignores SIGCHLD or waits for any child."""
    with contextlib.suppress(OSError, ValueError):
        return int(channel.recv(16))
    return child.wait() or 1  # it ended without a word


def _dismiss(child: subprocess.Popen[bytes], channel: socket.socket) -> None:
    """Ends a child that still runs, also where other processes have the channel by now, and waits for it."""
    with contextlib.suppress(OSError):
        channel.shutdown(socket.SHUT_WR)
    assert child.stdout is not None
    child.stdout.close()
    child.wait()
