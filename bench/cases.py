"""The workloads, and what the command is to reach on each."""

import dataclasses

from task import Key, Task


@dataclasses.dataclass(frozen=True)
class Targets:
    """Ratios: at least so many times as fast as the best peer and as coreutils' sort with one thread, at most so many
    times the time of `cat`. The stable sort costs at most so many times the plain one's time."""

    peer: float = 0
    sort: float = 0
    cat: float = 0
    stable: float = 1.10


@dataclasses.dataclass(frozen=True)
class Case:
    """`records` of generate.py's `shape`. `also` are other ways to call the command, timed in the same rounds:
    "stable", "file" (instead of standard input). `only` names the peers, where not all of them take part."""

    name: str
    title: str
    shape: str
    records: int
    task: Task
    targets: Targets = Targets()
    order: str = "random"
    also: tuple[str, ...] = ()
    only: tuple[str, ...] = ()
    series: str = ""  # cases of one series differ in their size only
    bounded: bool = True  # its peak memory has a limit


MILLION = 1_000_000
TEXT_KEY, NUMBER, CITY = Key(3), Key(5, numeric=True), Key(6)
FIXED = Task("fixed", (Key(0, 10),), 100)
SMALL_TEXT = Task("fixed", (Key(0, 10),), 16)
SMALL_NUMBER = Task("fixed", (Key(0, 12, numeric=True),), 16)
LINES = Task("lines")
NUMBERS = Task("lines", (Key(8, 12, numeric=True),))
CSV = Task("csv", (TEXT_KEY,))
CSV_NUMBER = Task("csv", (dataclasses.replace(NUMBER, descending=True),))
CSV_TWO_KEYS = Task("csv", (CITY, NUMBER))


def changed(task: Task, **changes) -> Task:
    return dataclasses.replace(task, **changes)


def fixed_case(name: str, title: str, targets: Targets, task: Task = FIXED, **more) -> Case:
    return Case(name, title, "fixed", 5 * MILLION, task, targets, **more)


def line_case(name: str, title: str, targets: Targets, task: Task, shape: str = "lines", **more) -> Case:
    return Case(name, title, shape, 5 * MILLION, task, targets, **more)


def csv_case(name: str, title: str, targets: Targets, task: Task, **more) -> Case:
    return Case(name, title, "csv", 2 * MILLION, task, targets, **more)


# Cases with the same data stand together: the data are made once, and removed before the next are made.
WORKLOADS = [
    fixed_case("fixed", "100-byte records, 10-byte text key", Targets(5, 10, 2.5), also=("stable",)),
    fixed_case("external_fixed", "100-byte records within 64 MiB", Targets(4, cat=5), changed(FIXED, memory=64)),
    fixed_case("external_fixed_16", "100-byte records within 16 MiB", Targets(5, cat=5), changed(FIXED, memory=16)),
    fixed_case(
        "stdin_fixed", "100-byte records from standard input", Targets(3), changed(FIXED, feed="stdin"), also=("file",)
    ),
    fixed_case("fixed_sorted", "100-byte records, sorted beforehand", Targets(4, cat=2.5), order="sorted"),
    fixed_case("fixed_reversed", "100-byte records, reversed beforehand", Targets(4, cat=2.5), order="reversed"),
    Case("small_text", "16-byte records, text key", "small", 10 * MILLION, SMALL_TEXT, Targets(6)),
    Case("small_number", "16-byte records, numeric key", "small_numbers", 10 * MILLION, SMALL_NUMBER, Targets(6)),
    line_case("lines", "lines with long shared prefixes", Targets(3, 5, 8), LINES, also=("stable",)),
    line_case("external_lines", "lines within 64 MiB", Targets(2.5, cat=12), changed(LINES, memory=64)),
    line_case("stdin_lines", "lines from standard input", Targets(3), changed(LINES, feed="stdin"), also=("file",)),
    line_case("merge_lines", "lines, 8 sorted inputs merged", Targets(3), changed(LINES, feed="parts"), bounded=False),
    line_case("numbers", "lines by a signed number", Targets(8), NUMBERS, "numbers", also=("stable",)),
    csv_case("csv_text", "CSV, text key", Targets(5, cat=7), CSV, also=("stable",)),
    csv_case("csv_number", "CSV, numeric key, descending", Targets(8, cat=7), CSV_NUMBER, also=("stable",)),
    csv_case("csv_two_keys", "CSV, two keys", Targets(5, cat=7), CSV_TWO_KEYS, also=("stable",)),
    csv_case("external_csv", "CSV, text key, within 64 MiB", Targets(5, cat=12), changed(CSV, memory=64)),
    csv_case("stdin_csv", "CSV, text key, from standard input", Targets(3), changed(CSV, feed="stdin"), also=("file",)),
    csv_case("merge_csv", "CSV, 8 sorted inputs merged", Targets(3), changed(CSV, feed="parts"), bounded=False),
    Case(
        "unique_lines",
        "unique lines, each 50 times",
        "line_duplicates",
        5 * MILLION,
        changed(LINES, unique=True),
        Targets(1.5),
    ),
    Case(
        "unique_fixed",
        "100-byte records, unique keys, each 50 times",
        "fixed_duplicates",
        5 * MILLION,
        changed(FIXED, unique=True),
        Targets(5),
        also=("stable",),
    ),
    Case(
        "stable_fixed",
        "100-byte records, stable, each key 50 times",
        "fixed_duplicates",
        5 * MILLION,
        changed(FIXED, stable=True),
    ),
]

SIZES = [250_000, 500_000, MILLION, 2 * MILLION, 4 * MILLION]
SERIES = {"fixed": ("100-byte records", FIXED), "lines": ("lines", LINES), "csv": ("CSV, text key", CSV)}
SCALING = [
    Case(
        f"scaling_{shape}_{size // 1000}k",
        f"{title}, {size / MILLION:g} million",
        shape,
        size,
        task,
        only=("sort, 2 threads", "duckdb, 2 threads"),
        series=shape,
        bounded=False,
    )
    for shape, (title, task) in SERIES.items()
    for size in SIZES
]

TINY = [
    Case(
        f"tiny_{records}",
        f"{records} line{'s' * (records > 1)}",
        "lines",
        records,
        LINES,
        Targets(1),
        only=("sort, 1 thread",),
        series="tiny",
        bounded=False,
    )
    for records in (1, 10, 100, 1000)
]

CASES = {case.name: case for case in [*WORKLOADS, *SCALING, *TINY]}
