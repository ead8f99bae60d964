"""The other tools: which are there, and how each is asked for a task with the settings that suit it best.

A peer is a function from a task and its files to a command, or to None when it cannot do the task.
"""

import dataclasses
import json
import os
import shutil
import subprocess
from collections.abc import Callable

from measure import Command
from task import Key, Task

HERE = os.path.dirname(os.path.realpath(__file__))
PACKAGES = ["@duckdb/node-api@1.5.6-r.1", "nodejs-polars@0.26.1", "nodejs-polars-linux-x64-gnu@0.26.1"]
RUST_SORT = "/usr/lib/cargo/bin/coreutils/sort"
NOWHERE = "\x01"  # a byte that does not occur in the data
DUCKDB_FROM = 64  # MiB
DUCKDB_LEAST = "512MB"  # with less its sort of 500 MB fails, or takes twice as long
COLUMNS = {"id": "number", "name": "text", "key": "text", "remark": "text"}
COLUMNS |= {"amount": "number", "city": "text", "flag": "number", "comment": "text"}
COLUMN_NAMES = list(COLUMNS)


@dataclasses.dataclass(frozen=True)
class Files:
    inputs: list[str]
    output: str
    folder: str  # for temporary files
    tools: str  # for what is compiled and installed


Peer = Callable[[Task, Files], Command | None]


def line_sort(program: str, threads: int) -> Peer:
    """coreutils' sort or one that takes its options."""

    def command(task: Task, files: Files) -> Command | None:
        if task.format == "csv":
            return None
        arguments = [program, f"--parallel={threads}", "-T", files.folder, "-o", files.output]
        if task.memory:
            arguments += ["-S", f"{task.memory}M"]
        if not task.whole_lines_decide():
            arguments += ["-s", "-t", NOWHERE, *(line_key(key) for key in task.keys)]
        arguments += ["-u"] * task.unique + ["-m"] * (task.feed == "parts")
        if task.feed == "stdin":
            return Command(arguments, stdin=files.inputs[0])
        return Command(arguments + files.inputs)

    return command


def line_key(key: Key) -> str:
    kind = "n" * key.numeric + "r" * key.descending
    return f"-k1.{key.start + 1},1.{key.start + key.length}{kind}"


def inputs_of(task: Task, files: Files) -> list[str]:
    return ["/dev/stdin"] if task.feed == "stdin" else files.inputs


def stdin_of(task: Task, files: Files) -> str:
    return files.inputs[0] if task.feed == "stdin" else os.devnull


def duckdb_key(task: Task, key: Key) -> str:
    if task.format == "csv":
        return COLUMN_NAMES[key.start - 1]
    part = f"substr(line, {key.start + 1}, {key.length})"
    return f"cast({part} as bigint)" if key.numeric else part


def duckdb_query(task: Task, files: Files) -> str:
    names = ", ".join(f"'{name}'" for name in inputs_of(task, files))
    columns, delimiter, quote = (COLUMNS, ",", '"') if task.format == "csv" else ({"line": "text"}, NOWHERE, "")
    types = ", ".join(f"'{name}': '{'BIGINT' if kind == 'number' else 'VARCHAR'}'" for name, kind in columns.items())
    layout = f"header = false, auto_detect = false, delim = '{delimiter}', quote = '{quote}', escape = '{quote}'"
    source = f"read_csv([{names}], {layout}, columns = {{{types}}})"
    keys = [duckdb_key(task, key) for key in task.keys]
    order = ", ".join(key + " desc" * wanted.descending for key, wanted in zip(keys, task.keys))
    if task.unique and task.keys:
        query = f"select any_value(line) from {source} group by {', '.join(keys)} order by {order}"
    elif task.whole_lines_decide():
        query = f"select {'distinct ' * task.unique}line from {source} order by line"
    else:
        query = f"select * from {source} order by {order}"
    written = f"format csv, header false, delimiter '{delimiter}', quote '{quote}', escape '{quote}'"
    return f"copy ({query}) to '{files.output}' ({written})"


def duckdb(threads: int, memory: str = "") -> Peer:
    """For tasks without a limit or, with `memory`, for those whose limit is not far below it."""

    def command(task: Task, files: Files) -> Command | None:
        if task.stable or bool(task.memory) != bool(memory) or 0 < task.memory < DUCKDB_FROM:
            return None
        settings = ["set preserve_insertion_order = false"]
        if memory:
            settings += [f"set memory_limit = '{memory}'", f"set temp_directory = '{files.folder}'"]
        script = os.path.join(HERE, "peers", "duckdb.mjs")
        arguments = ["node", script, packages_folder(files.tools), str(threads), *settings, duckdb_query(task, files)]
        return Command(arguments, stdin=stdin_of(task, files), times_itself=True)

    return command


def polars(task: Task, files: Files) -> Command | None:
    if task.stable or task.memory or task.feed == "stdin" or (task.unique and task.keys):
        return None
    text = {"columns": {"line": "text"}, "separator": NOWHERE, "quote": "\x02"}
    table = {"columns": COLUMNS, "separator": ",", "quote": '"'}
    keys = [] if task.whole_lines_decide() else [dataclasses.asdict(key) for key in task.keys]
    question = {**(table if task.format == "csv" else text), "keys": keys, "unique": task.unique}
    question |= {"inputs": files.inputs, "output": files.output}
    script = os.path.join(HERE, "peers", "polars.mjs")
    arguments = ["node", script, packages_folder(files.tools), json.dumps(question)]
    return Command(arguments, environment={"POLARS_MAX_THREADS": "2"}, times_itself=True)


def miller(task: Task, files: Files) -> Command | None:
    if task.format != "csv" or task.memory:
        return None
    keys = []
    for key in task.keys:
        direction = "r" if key.descending else "f"
        keys += [f"-n{direction}" if key.numeric else f"-{direction}", str(key.start)]
    arguments = ["mlr", "--csv", "--implicit-csv-header", "--headerless-csv-output", "sort", *keys]
    names = [] if task.feed == "stdin" else files.inputs
    return Command(arguments + names, stdin=stdin_of(task, files), stdout=files.output)


def sqlite(task: Task, files: Files) -> Command | None:
    if task.format != "csv":
        return None
    database = os.path.join(files.folder, "table.db") if task.memory else ":memory:"
    kinds = ", ".join(f"{name} {'integer' if kind == 'number' else 'text'}" for name, kind in COLUMNS.items())
    order = ", ".join(COLUMN_NAMES[key.start - 1] + " desc" * key.descending for key in task.keys)
    arguments = ["sqlite3", database, "-csv", "-newline", "\n"]
    for setting in ("journal_mode = off", "synchronous = off", f"temp_store = {'file' if task.memory else 'memory'}"):
        arguments += ["-cmd", f".output {os.devnull}", "-cmd", f"pragma {setting}", "-cmd", ".output"]
    if task.memory:
        arguments += ["-cmd", f"pragma cache_size = -{task.memory * 1024}"]
    arguments += ["-cmd", "drop table if exists t", "-cmd", f"create table t({kinds})"]
    for name in inputs_of(task, files):
        arguments += ["-cmd", f".import --csv '{name}' t"]
    query = f"select * from t order by {order}"
    return Command([*arguments, query], stdin=stdin_of(task, files), stdout=files.output)


def cobol_program(task: Task) -> tuple[str, dict[str, int]] | None:
    """The source under peers/, and the constants it is compiled with."""
    if task.feed != "file" or task.unique or task.stable or task.format == "csv":
        return None
    if not task.keys:
        return "lines", {}
    key = task.keys[0]
    if key.numeric:
        return "numbers", {"KEY-START": key.start + 1, "KEY-BYTES": key.length}
    return "fixed", {"RECORD-BYTES": task.length, "KEY-BYTES": key.length, "REST-BYTES": task.length - key.length}


def cobol(task: Task, files: Files) -> Command | None:
    chosen = cobol_program(task)
    if chosen is None:
        return None
    name, constants = chosen
    source = os.path.join(HERE, "peers", f"{name}.cob")
    program = os.path.join(files.tools, "-".join(["cobol", name, *map(str, constants.values())]))
    if not os.path.exists(program) or os.path.getmtime(program) < os.path.getmtime(source):
        defines = [word for constant in constants.items() for word in ("-D", "{}={}".format(*constant))]
        subprocess.run(["cobc", "-x", "-O2", *defines, "-o", program, source], check=True)
    environment = {"RECORDS_IN": files.inputs[0], "RECORDS_OUT": files.output}
    environment["COB_SORT_MEMORY"] = f"{task.memory or 1024}M"
    return Command([program], environment=environment)


PEERS: dict[str, Peer] = {
    "sort, 1 thread": line_sort("sort", 1),
    "sort, 2 threads": line_sort("sort", 2),
    "rust sort, 2 threads": line_sort(RUST_SORT, 2),
    "duckdb, 1 thread": duckdb(1),
    "duckdb, 2 threads": duckdb(2),
    "duckdb, 1 thread, 512 MB": duckdb(1, DUCKDB_LEAST),
    "duckdb, 2 threads, 512 MB": duckdb(2, DUCKDB_LEAST),
    "polars, 2 threads": polars,
    "Miller": miller,
    "sqlite3": sqlite,
    "GnuCOBOL": cobol,
}


def packages_folder(tools: str) -> str:
    return os.path.join(tools, "peers")


def install(tools: str) -> None:
    """DuckDB and polars, with their native libraries, into a folder of their own."""
    folder = packages_folder(tools)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "package.json"), "w", encoding="ascii") as file:
        file.write('{"private": true}\n')
    # polars' native package is named outright: where Node is older than it asks for, npm leaves it out silently.
    subprocess.run(["npm", "install", "--no-audit", "--no-fund", "--save-exact", *PACKAGES], cwd=folder, check=True)


def absent(tools: str) -> dict[str, str]:
    """Peers that are not there, and what would bring them."""
    programs = {"rust sort, 2 threads": RUST_SORT, "Miller": "mlr", "sqlite3": "sqlite3", "GnuCOBOL": "cobc"}
    missing = {name: f"no {program}" for name, program in programs.items() if not shutil.which(program)}
    for name in PEERS:
        package = {"duckdb": "@duckdb/node-api", "polars": "nodejs-polars"}.get(name.split(",")[0])
        if package and not os.path.isdir(os.path.join(packages_folder(tools), "node_modules", package)):
            missing[name] = "bench/run --install-peers brings it"
    return missing


def first_line(*command: str) -> str:
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[0]
    except (OSError, subprocess.CalledProcessError, IndexError):
        return ""


def versions(tools: str) -> list[str]:
    """One line for every peer that is there."""
    sqlite_version = first_line("sqlite3", "--version").split(" ")[0]
    rust_version = first_line(RUST_SORT, "--version").split(" ")[-1]
    known = [first_line("sort", "--version"), rust_version and f"rust-coreutils sort {rust_version}"]
    known += [first_line("mlr", "--version"), sqlite_version and f"sqlite3 {sqlite_version}"]
    known += [first_line("cobc", "--version")]
    installed = os.path.isdir(os.path.join(packages_folder(tools), "node_modules"))
    known += [f"{package} (Node {first_line('node', '--version')})" for package in PACKAGES[:2] if installed]
    return [line for line in known if line]
