"""Runs one command to its end and tells what it took."""

import dataclasses
import os
import subprocess


@dataclasses.dataclass(frozen=True)
class Command:
    """`times_itself`: it prints the seconds that count, without the start of an interpreter."""

    arguments: list[str]
    stdin: str = os.devnull
    stdout: str = os.devnull
    environment: dict[str, str] = dataclasses.field(default_factory=dict)
    times_itself: bool = False


@dataclasses.dataclass(frozen=True)
class Run:
    seconds: float
    processor_seconds: float
    peak_bytes: int


class Failed(Exception):
    """The command did not succeed; the text says how."""


def last_words(path: str) -> str:
    with open(path, encoding="utf-8", errors="replace") as file:
        lines = [line.strip() for line in file]
    said = next((line for line in lines if "rror" in line), lines[-1] if lines else "")
    return said[:100]


def measure(measured: str, command: Command, folder: str) -> Run:
    """`measured` is the program made of measured.cpp. Files for the command's words are put into `folder`."""
    errors, printed = os.path.join(folder, "errors"), os.path.join(folder, "printed")
    output = printed if command.times_itself else command.stdout
    environment = {**os.environ, "LC_ALL": "C", "LANG": "C", "TMPDIR": folder, **command.environment}
    arguments = [measured, command.stdin, output, errors, *command.arguments]
    outcome = subprocess.run(arguments, env=environment, capture_output=True, text=True, check=False)
    if outcome.returncode != 0:
        raise Failed(outcome.stderr.strip())
    seconds, processor_seconds, peak, status = outcome.stdout.split()
    if int(status) != 0:
        raise Failed(f"status {os.waitstatus_to_exitcode(int(status))} {last_words(errors)}".strip())
    if command.times_itself:
        with open(printed, encoding="ascii") as file:
            seconds = file.read()
    return Run(float(seconds), float(processor_seconds), int(peak))
