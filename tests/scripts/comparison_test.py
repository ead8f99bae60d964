"""comparison_test.py PAGE COMMAND: the table of the page, cell by cell: each tool does the job where the table says
`yes`, and its own way of trying fails where it says `no`. A tool that is not installed is a visible skip."""

import os
import shutil
import sys
import tempfile
import unittest
from collections.abc import Callable
from pathlib import Path

from comparison_jobs import JOBS, Folder

PAGE, COMMAND = Path(sys.argv[1]), os.path.abspath(sys.argv[2])
PROGRAMS = {"orkan": COMMAND, "sort": "sort", "Miller": "mlr", "csvkit": "csvsort", "sqlite3": "sqlite3"}


def table() -> dict[str, dict[str, str]]:
    """The page's first table: job to tool to cell."""
    rows = [
        [cell.strip() for cell in line.strip("|").split("|")]
        for line in PAGE.read_text(encoding="utf-8").split("\n\n| Job |", 1)[1].split("\n\n", 1)[0].splitlines()
    ]
    tools = rows[0]
    return {row[0]: dict(zip(tools, row[1:], strict=True)) for row in rows[2:]}


class Comparison(unittest.TestCase):
    def test_every_job_of_the_page_is_run(self) -> None:
        self.assertEqual(list(table()), list(JOBS))

    def test_cells_say_yes_or_no(self) -> None:
        for title, cells in table().items():
            self.assertEqual(list(cells), list(PROGRAMS), title)
            for cell in cells.values():
                self.assertRegex(cell, r"^(yes|no)($|: )", title)


def cell_test(title: str, tool: str) -> Callable[[unittest.TestCase], None]:
    def test(self: unittest.TestCase) -> None:
        if shutil.which(PROGRAMS[tool]) is None:
            self.skipTest(f"{PROGRAMS[tool]} is not installed")
        cell = table()[title][tool]
        with tempfile.TemporaryDirectory() as folder:
            done = JOBS[title](Folder(Path(folder), COMMAND))[tool]()
        self.assertEqual("yes" if done else "no", cell[:3].rstrip(":"), f"{title}, {tool}: the page says [{cell}]")

    return test


for _title, _job in JOBS.items():
    for _tool in PROGRAMS:
        setattr(Comparison, f"test_{_job.__name__}_{_tool}", cell_test(_title, _tool))

if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
