"""comparison_jobs.py: the jobs of docs/comparison.md, each done with every tool of its table.

A job gets a folder to work in and gives, for every tool, a function that runs it and tells whether it did the job.
Where a tool cannot, its own nearest way of trying is run.
"""

import os
import re
import shutil
import subprocess
from collections.abc import Callable
from pathlib import Path

LARGE = 200_000  # lines of 200 bytes: 40 MB


class Folder:
    """Files to work on, and the ways to run the tools on them."""

    def __init__(self, path: Path, command: str):
        self.path = path
        self.command = command
        self.environment = {**os.environ, "TMPDIR": str(path), "LC_ALL": "C.UTF-8", "LANG": "C.UTF-8"}

    def write(self, name: str, data: str) -> str:
        (self.path / name).write_bytes(data.encode())
        return name

    def read(self, name: str) -> str:
        path = self.path / name
        return path.read_bytes().decode() if path.exists() else ""

    def run(self, *command: str) -> str:
        ended = subprocess.run(command, cwd=self.path, env=self.environment, capture_output=True, check=False)
        return ended.stdout.decode("utf-8", "replace")

    def orkan(self, *arguments: str) -> str:
        return self.run(self.command, *arguments)

    def sort(self, *arguments: str) -> str:
        return self.run("env", "LC_ALL=C", "sort", *arguments)

    def mlr(self, *arguments: str) -> str:
        return self.run("mlr", *arguments)

    def lines_by_mlr(self, *arguments: str) -> str:
        return self.run("mlr", "--inidx", "--ifs", "\001", "--onidx", *arguments)

    def headless_by_mlr(self, *arguments: str) -> str:
        return self.run("mlr", "--csv", "--implicit-csv-header", "--headerless-csv-output", *arguments)

    def csvsort(self, *arguments: str) -> str:
        return self.run("csvsort", *arguments)

    def sqlite(self, name: str, query: str, *before: str) -> str:
        """The file as table t. Line ends of the output as they were in the input."""
        given = ("sqlite3", ":memory:", ".mode csv", f".import {name} t", *before, query)
        return self.run(*given).replace("\r\n", "\n")

    def peak_kib(self, *command: str) -> int:
        """Resident memory; this program's own is in it."""
        process = subprocess.Popen(
            command, cwd=self.path, env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
        )
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = status
        if status != 0:
            raise AssertionError(f"{command}: status {status}")
        return usage.ru_maxrss

    def large(self) -> str:
        """Descending numbers in lines of 200 bytes."""
        with open(self.path / "large", "w", encoding="ascii") as file:
            file.writelines(f"{number:0199}\n" for number in range(LARGE, 0, -1))
        return "large"


Job = Callable[[Folder], dict[str, Callable[[], bool]]]
JOBS: dict[str, Job] = {}


def job(title: str) -> Callable[[Job], Job]:
    def register(function: Job) -> Job:
        JOBS[title] = function
        return function

    return register


@job("fixed-length records without line ends")
def fixed(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in", "c3a1b2")
    query = (
        "WITH RECURSIVE at(i) AS (SELECT 0 UNION ALL SELECT i + 2 FROM at WHERE i + 2 < 6) "
        "SELECT group_concat(substr(readfile('in'), i + 1, 2), '') FROM "
        "(SELECT i FROM at ORDER BY substr(readfile('in'), i + 1, 1))"
    )
    return {
        "orkan": lambda: f.orkan("-L", "2", "-K", "0,1", "in") == "a1b2c3",
        "sort": lambda: f.sort("-k1.1,1.1", "in").strip() == "a1b2c3",
        "Miller": lambda: f.lines_by_mlr("sort", "-f", "1", "in").strip() == "a1b2c3",
        "csvkit": lambda: f.csvsort("-H", "in").strip() == "a1b2c3",
        "sqlite3": lambda: f.run("sqlite3", ":memory:", query).strip() == "a1b2c3",
    }


@job("lines by bytes at a position")
def positions(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in", "a b2\nb a1\nb b0\n")
    wanted = "b b0\nb a1\na b2\n"
    mlr = ("put", "$k = substr0($1, 3, 3)", "then", "sort", "-f", "k", "then", "cut", "-x", "-f", "k", "in")
    sqlite = ("sqlite3", ":memory:", "CREATE TABLE t (line)", ".mode ascii", '.separator "\\001" "\\n"', ".import in t")
    return {
        "orkan": lambda: f.orkan("-K", "3,1", "in") == wanted,
        "sort": lambda: f.sort("-k1.4,1.4", "in") == wanted,
        "Miller": lambda: f.lines_by_mlr(*mlr) == wanted,
        "csvkit": lambda: f.csvsort("-H", "-c", "1.4", "in") == wanted,
        "sqlite3": lambda: f.run(*sqlite, ".mode list", "SELECT line FROM t ORDER BY substr(line, 4, 1)") == wanted,
    }


@job("whole numbers, the largest first")
def numbers(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "n\n9\n-10\n100\n")
    wanted = "n\n100\n9\n-10\n"
    return {
        "orkan": lambda: f.orkan("-C", "-H", "-K", "1nd", "in.csv") == wanted,
        "sort": lambda: f.sort("-nr", f.write("in", "9\n-10\n100\n")) == "100\n9\n-10\n",
        "Miller": lambda: f.mlr("--csv", "sort", "-nr", "n", "in.csv") == wanted,
        "csvkit": lambda: f.csvsort("-r", "-c", "n", "in.csv") == wanted,
        "sqlite3": lambda: f.sqlite("in.csv", "SELECT * FROM t ORDER BY CAST(n AS INTEGER) DESC", ".headers on")
        == wanted,
    }


@job("numbers with decimals")
def decimals(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "n\n1.5\n1.25\n-1.5\n")
    wanted = "n\n-1.5\n1.25\n1.5\n"
    return {
        "orkan": lambda: f.orkan("-S", "-C", "-H", "-K", "1n", "in.csv") == wanted,
        "sort": lambda: f.sort("-n", f.write("in", "1.5\n1.25\n-1.5\n")) == "-1.5\n1.25\n1.5\n",
        "Miller": lambda: f.mlr("--csv", "sort", "-nf", "n", "in.csv") == wanted,
        "csvkit": lambda: f.csvsort("-c", "n", "in.csv") == wanted,
        "sqlite3": lambda: f.sqlite("in.csv", "SELECT * FROM t ORDER BY CAST(n AS REAL)", ".headers on") == wanted,
    }


@job("several keys, each in its own direction")
def directions(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "k,n\nb,1\na,1\na,2\n")
    wanted = "k,n\na,2\na,1\nb,1\n"
    tries = (["-c", "k,n"], ["-r", "-c", "k,n"], ["-c", "k,-n"])
    return {
        "orkan": lambda: f.orkan("-C", "-H", "-K", "1", "-K", "2nd", "in.csv") == wanted,
        "sort": lambda: f.sort("-t,", "-k1,1", "-k2,2nr", f.write("in", "b,1\na,1\na,2\n")) == "a,2\na,1\nb,1\n",
        "Miller": lambda: f.mlr("--csv", "sort", "-f", "k", "-nr", "n", "in.csv") == wanted,
        "csvkit": lambda: any(f.csvsort(*options, "in.csv") == wanted for options in tries),
        "sqlite3": lambda: f.sqlite("in.csv", "SELECT * FROM t ORDER BY k, n DESC", ".headers on") == wanted,
    }


@job("text without regard to case")
def case(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "k\nb\nC\nA\n")
    wanted = "k\nA\nb\nC\n"
    return {
        "orkan": lambda: f.orkan("-C", "-H", "-K", "1", "in.csv") == wanted,
        "sort": lambda: f.sort("-f", f.write("in", "b\nC\nA\n")) == "A\nb\nC\n",
        "Miller": lambda: f.mlr("--csv", "sort", "-c", "k", "in.csv") == wanted,
        "csvkit": lambda: f.csvsort("-c", "k", "in.csv") == wanted,
        "sqlite3": lambda: f.sqlite("in.csv", "SELECT * FROM t ORDER BY k COLLATE NOCASE", ".headers on") == wanted,
    }


@job("CSV with line ends and delimiters in quotes")
def quoted(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", 'id,text\n3,"two\nlines, ""3"""\n1,"a, b"\n2,c\n')
    wanted = 'id,text\n1,"a, b"\n2,c\n3,"two\nlines, ""3"""\n'
    return {
        "orkan": lambda: f.orkan("-C", "-H", "-K", "1", "in.csv") == wanted,
        "sort": lambda: f.sort("-t,", "-k1,1", "in.csv").endswith(wanted[8:]),
        "Miller": lambda: f.mlr("--csv", "sort", "-f", "id", "in.csv") == wanted,
        "csvkit": lambda: f.csvsort("-c", "id", "in.csv") == wanted,
        "sqlite3": lambda: f.sqlite("in.csv", "SELECT * FROM t ORDER BY id", ".headers on") == wanted,
    }


@job("quoted text sorts like the same text unquoted")
def unquoted(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", 'k,n\nb,1\n"c",2\na,3\n')

    def right(output: str) -> bool:
        return re.findall(r"[123]", output) == ["3", "1", "2"]

    return {
        "orkan": lambda: right(f.orkan("-C", "-H", "-K", "1", "in.csv")),
        "sort": lambda: right(f.sort("-t,", "-k1,1", "in.csv")),
        "Miller": lambda: right(f.mlr("--csv", "sort", "-f", "k", "in.csv")),
        "csvkit": lambda: right(f.csvsort("-c", "k", "in.csv")),
        "sqlite3": lambda: right(f.sqlite("in.csv", "SELECT * FROM t ORDER BY k")),
    }


@job("CSV fields come out byte for byte")
def bytes_kept(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", 'b,"2"\na,"1"\n')
    wanted = 'a,"1"\nb,"2"\n'
    quotes = ([], ["--quote-original"], ["--quote-all"])
    sqlite = ("CREATE TABLE t (k, v)", ".mode csv", ".import in.csv t", "SELECT * FROM t ORDER BY k")
    return {
        "orkan": lambda: f.orkan("-C", "-K", "1", "in.csv") == wanted,
        "sort": lambda: f.sort("-t,", "-k1,1", "in.csv") == wanted,
        "Miller": lambda: any(f.headless_by_mlr(*option, "sort", "-f", "1", "in.csv") == wanted for option in quotes),
        "csvkit": lambda: f.csvsort("-H", "-I", "-c", "1", "in.csv").endswith(wanted),
        "sqlite3": lambda: f.run("sqlite3", ":memory:", *sqlite).replace("\r\n", "\n") == wanted,
    }


@job("a header line stays in front")
def header(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "k\nz\na\n")
    wanted = "k\na\nz\n"
    return {
        "orkan": lambda: f.orkan("-C", "-H", "-K", "1", "in.csv") == wanted,
        "sort": lambda: f.sort("in.csv") == wanted,
        "Miller": lambda: f.mlr("--csv", "sort", "-f", "k", "in.csv") == wanted,
        "csvkit": lambda: f.csvsort("-c", "k", "in.csv") == wanted,
        "sqlite3": lambda: f.sqlite("in.csv", "SELECT * FROM t ORDER BY k", ".headers on") == wanted,
    }


@job("columns named by their header")
def names(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "n,k\n1,z\n2,a\n")
    wanted = "n,k\n2,a\n1,z\n"
    return {
        "orkan": lambda: f.orkan("-C", "-H", "-K", "k", "in.csv") == wanted,
        "sort": lambda: f.sort("-t,", "-kk", "in.csv") == wanted,
        "Miller": lambda: f.mlr("--csv", "sort", "-f", "k", "in.csv") == wanted,
        "csvkit": lambda: f.csvsort("-c", "k", "in.csv") == wanted,
        "sqlite3": lambda: f.sqlite("in.csv", "SELECT * FROM t ORDER BY k", ".headers on") == wanted,
    }


@job("a delimiter of several bytes")
def delimiter(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in", "b::1\na::2\n")
    wanted = "b::1\na::2\n"
    mlr = ("--csvlite", "--fs", "::", "--implicit-csv-header", "--headerless-csv-output", "sort", "-f", "2", "in")
    sqlite = ("CREATE TABLE t (k, v)", ".mode csv", '.separator "::"', ".import in t", "SELECT * FROM t ORDER BY v")
    return {
        "orkan": lambda: f.orkan("-C", "-D", "::", "-K", "2", "in") == wanted,
        "sort": lambda: f.sort("-t", "::", "-k2,2", "in") == wanted,
        "Miller": lambda: f.mlr(*mlr) == wanted,
        "csvkit": lambda: f.csvsort("-d", "::", "-H", "-c", "2", "in").endswith(wanted),
        "sqlite3": lambda: f.run("sqlite3", ":memory:", *sqlite).replace("\r\n", "\n") == wanted,
    }


@job("empty fields last in both directions")
def empty_last(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "k,v\n1,b\n2,\n3,a\n")

    def right(up: str, down: str) -> bool:
        return re.findall(r"\d", up) == ["3", "1", "2"] and re.findall(r"\d", down) == ["1", "3", "2"]

    orkan = ("-C", "-H", "-N", "-K")
    query = "SELECT * FROM t ORDER BY v = '', v"
    ways = (("-f", "-r"), ("-nf", "-nr"), ("-c", "-cr"), ("-t", "-tr"))
    return {
        "orkan": lambda: right(f.orkan(*orkan, "2", "in.csv"), f.orkan(*orkan, "2d", "in.csv")),
        "sort": lambda: right(f.sort("-t,", "-k2,2", "in.csv"), f.sort("-t,", "-k2,2r", "in.csv")),
        "Miller": lambda: any(
            right(*(f.mlr("--csv", "sort", option, "v", "in.csv") for option in options)) for options in ways
        ),
        "csvkit": lambda: right(f.csvsort("-c", "v", "in.csv"), f.csvsort("-r", "-c", "v", "in.csv")),
        "sqlite3": lambda: right(f.sqlite("in.csv", query), f.sqlite("in.csv", query + " DESC")),
    }


@job("equal keys in input order")
def stable(f: Folder) -> dict[str, Callable[[], bool]]:
    rows = [f"{i * 7 % 5},{99999 - i}" for i in range(1500)]
    data = "k,n\n" + "\n".join(rows) + "\n"
    wanted = "k,n\n" + "\n".join(sorted(rows, key=lambda row: row[0])) + "\n"
    f.write("in.csv", data)
    return {
        "orkan": lambda: f.orkan("-S", "-C", "-H", "-K", "1", "in.csv") == wanted,
        "sort": lambda: f.sort("-s", "-t,", "-k1,1", f.write("in", data[4:])) == wanted[4:],
        "Miller": lambda: f.mlr("--csv", "sort", "-f", "k", "in.csv") == wanted,
        "csvkit": lambda: f.csvsort("-c", "k", "in.csv") == wanted,
        "sqlite3": lambda: f.sqlite("in.csv", "SELECT * FROM t ORDER BY k, rowid", ".headers on") == wanted,
    }


@job("only the first record of each key")
def unique(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "k,n\nb,1\na,2\nb,3\na,4\n")
    wanted = "k,n\na,2\nb,1\n"
    query = "SELECT * FROM t WHERE rowid IN (SELECT min(rowid) FROM t GROUP BY k) ORDER BY k"
    return {
        "orkan": lambda: f.orkan("-S", "-U", "-C", "-H", "-K", "1", "in.csv") == wanted,
        "sort": lambda: f.sort("-s", "-u", "-t,", "-k1,1", f.write("in", "b,1\na,2\nb,3\na,4\n")) == "a,2\nb,1\n",
        "Miller": lambda: f.mlr("--csv", "head", "-n", "1", "-g", "k", "then", "sort", "-f", "k", "in.csv") == wanted,
        "csvkit": lambda: f.csvsort("-c", "k", "in.csv") == wanted or shutil.which("csvuniq") is not None,
        "sqlite3": lambda: f.sqlite("in.csv", query, ".headers on") == wanted,
    }


@job("records without the key column go to their own file")
def short(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "k,v\n1,b\n2\n3,a\n")

    def orkan() -> bool:
        output = f.orkan("-C", "-H", "-K", "2", "-E", "short", "in.csv")
        return output == "k,v\n3,a\n1,b\n" and f.read("short") == "2\n"

    def sort() -> bool:
        f.sort("-t,", "-k2,2", "-o", "sorted", "in.csv")
        return "2\n" not in f.read("sorted")

    def miller() -> bool:
        program = 'tee > (is_present($v) ? "whole" : "torn").".csv", $*'
        f.mlr("--csv", "--allow-ragged-csv-input", "put", "-q", program, "in.csv")
        return f.read("whole.csv") == "k,v\n1,b\n3,a\n" and f.read("torn.csv") == "k\n2\n"

    def csvkit() -> bool:
        f.run("csvclean", "in.csv")
        return f.read("in_out.csv") == "k,v\n1,b\n3,a\n" and f.read("in_err.csv").endswith("found 1 columns\",2\n")

    def sqlite() -> bool:
        f.sqlite("in.csv", "SELECT k FROM t WHERE v IS NULL", ".once null.csv")
        whole = f.sqlite("in.csv", "SELECT * FROM t WHERE v IS NOT NULL ORDER BY v")
        return whole == "3,a\n1,b\n" and f.read("null.csv").split() == ["2"]

    return {"orkan": orkan, "sort": sort, "Miller": miller, "csvkit": csvkit, "sqlite3": sqlite}


@job("files that are sorted already are merged only")
def merge(f: Folder) -> dict[str, Callable[[], bool]]:
    """What is not sorted shows that nothing is: a sort would put a1 in front."""
    f.write("a", "a2\na1\n")
    f.write("b", "b1\n")
    wanted = "a2\na1\nb1\n"
    return {
        "orkan": lambda: f.orkan("-M", "a", "b") == wanted,
        "sort": lambda: f.sort("-m", "a", "b") == wanted,
        "Miller": lambda: "merge" in f.mlr("help", "list-verbs").split(),
        "csvkit": lambda: shutil.which("csvmerge") is not None,
        "sqlite3": lambda: ".merge" in f.run("sqlite3", ":memory:", ".help"),
    }


@job("data larger than the memory allowed")
def memory(f: Folder) -> dict[str, Callable[[], bool]]:
    f.large()
    size_kib = LARGE * 200 // 1024
    sqlite = ("PRAGMA cache_size = -8000", "CREATE TABLE t (line)", ".mode list", '.separator "|" "\\n"',
              ".import large t", ".once sorted", "SELECT line FROM t ORDER BY line")

    def csvkit() -> bool:
        """Memory that does not grow with the data."""
        f.run("sh", "-c", "head -n 500 large > some; head -n 10000 large > more")
        grown_kib = f.peak_kib("csvsort", "-H", "-I", "more") - f.peak_kib("csvsort", "-H", "-I", "some")
        return grown_kib < 9500 * 200 // 1024 // 2

    return {
        "orkan": lambda: f.peak_kib(f.command, "-W", "16M", "-O", "sorted", "large") < size_kib,
        "sort": lambda: f.peak_kib("sort", "-S", "16M", "-o", "sorted", "large") < size_kib,
        "Miller": lambda: f.peak_kib("mlr", "--inidx", "--onidx", "sort", "-f", "1", "large") < size_kib,
        "csvkit": csvkit,
        "sqlite3": lambda: f.peak_kib("sqlite3", "database", *sqlite) < size_kib,
    }


@job("the output may be the input")
def in_place(f: Folder) -> dict[str, Callable[[], bool]]:
    data, wanted = "k\nb\na\n", "k\na\nb\n"

    def after(name: str, run: Callable[[str], object]) -> bool:
        f.write(name, data)
        run(name)
        return f.read(name).replace("\r\n", "\n") == wanted

    return {
        "orkan": lambda: after("1", lambda n: f.orkan("-C", "-H", "-K", "1", "-O", n, n)),
        "sort": lambda: f.write("2", "b\na\n") and f.sort("-o", "2", "2") == "" and f.read("2") == "a\nb\n",
        "Miller": lambda: after("3", lambda n: f.mlr("-I", "--csv", "sort", "-f", "k", n)),
        "csvkit": lambda: after("4", lambda n: f.run("sh", "-c", f"csvsort -c k {n} > {n}")),
        "sqlite3": lambda: after("5", lambda n: f.sqlite(n, "SELECT * FROM t ORDER BY k", ".headers on", f".once {n}")),
    }


@job("records are filtered on the way")
def filtering(f: Folder) -> dict[str, Callable[[], bool]]:
    f.write("in.csv", "k,n\na,1\nb,2\n")
    wanted = "k,n\nb,2\n"
    return {
        "orkan": lambda: f.orkan("-C", "-H", "-K", "2n", "in.csv") == wanted,
        "sort": lambda: f.sort("-t,", "-k2,2", "in.csv") == wanted,
        "Miller": lambda: f.mlr("--csv", "filter", "$n > 1", "in.csv") == wanted,
        "csvkit": lambda: f.run("csvgrep", "-c", "n", "-m", "2", "in.csv") == wanted,
        "sqlite3": lambda: f.sqlite("in.csv", "SELECT * FROM t WHERE n > 1", ".headers on") == wanted,
    }
