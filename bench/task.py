"""What is asked of every tool, and how the command and the checker are told."""

import dataclasses


@dataclasses.dataclass(frozen=True)
class Key:
    """A key at byte `start`, of `length` bytes; for CSV the column `start`, from 1."""

    start: int
    length: int = 0
    numeric: bool = False
    descending: bool = False

    def option(self) -> str:
        place = f"{self.start},{self.length}" if self.length else str(self.start)
        return place + "n" * self.numeric + "d" * self.descending


@dataclasses.dataclass(frozen=True)
class Task:
    """Without keys whole records are sorted. `memory` is a limit in MiB. `feed`: "file", "stdin" or "parts"."""

    format: str  # "fixed", "lines" or "csv"; fixed records end in a newline, so that tools for lines can take part
    keys: tuple[Key, ...] = ()
    length: int = 0
    unique: bool = False
    stable: bool = False
    memory: int = 0
    feed: str = "file"

    def whole_lines_decide(self) -> bool:
        """Sorting whole lines, which most tools do faster, is an answer to the task."""
        first = self.keys[0] if self.keys else Key(0)
        by_key_only = self.keys and (self.unique or self.stable)
        return self.format != "csv" and not first.start and not first.numeric and not by_key_only


def orkan_options(task: Task) -> list[str]:
    options = {"fixed": ["-L", str(task.length)], "lines": [], "csv": ["-C"]}[task.format]
    for key in task.keys:
        options = [*options, "-K", key.option()]
    flags = {"-A": not task.keys, "-S": task.stable, "-U": task.unique, "-M": task.feed == "parts"}
    options = [*options, *(flag for flag, wanted in flags.items() if wanted)]
    return [*options, "-W", f"{task.memory}M"] if task.memory else options


def verify_options(task: Task, by_value: bool) -> list[str]:
    options = ["--format", task.format, "--length", str(task.length)]
    for key in task.keys:
        options += ["--key", key.option()]
    flags = {"--stable": task.stable, "--unique": task.unique, "--values": by_value and task.format == "csv"}
    return [*options, *(flag for flag, wanted in flags.items() if wanted)]
