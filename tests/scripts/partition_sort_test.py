"""partition_sort_test.py SCRIPT COMMAND: sorting in parts gives what one run gives, also when every process needs its
temporary file, and processes that share a folder keep out of each other's way."""

import os
import random
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

SCRIPT, COMMAND = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
WAYS = ("range", "merge")
FIRST_CHUNK = 12 * 1024 * 1024  # more lines than a run within 16 MiB takes before it makes its temporary file


def lines(count: int, seed: int) -> bytes:
    """Lines of a key of 4 digits, which are few, and a text; some too short for the key, some empty."""
    dice = random.Random(seed)
    found = (b"%04d %0*d" % (dice.randrange(3000), dice.randrange(1, 120), i) for i in range(count))
    return b"".join((line if i % 50 else line[: i % 4]) + b"\n" for i, line in enumerate(found))


class Folder(unittest.TestCase):
    """A folder to work in, with a folder for temporary files in it."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory(prefix="a name with blanks ")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.temporary = self.folder / "tmp"
        self.temporary.mkdir()
        self.environment = {**os.environ, "ORKAN": COMMAND, "TMPDIR": str(self.temporary), "LANG": "C"}

    def run_in_folder(self, *command: object) -> subprocess.CompletedProcess[str]:
        return subprocess.run(
            [str(word) for word in command], cwd=self.folder, env=self.environment, capture_output=True, text=True
        )

    def plain(self, key: str) -> bytes:
        ended = self.run_in_folder(COMMAND, "-S", "-K", key, "-O", "plain", "input")
        self.assertEqual(ended.returncode, 0, ended.stderr)
        return (self.folder / "plain").read_bytes()


class PartitionSort(Folder):
    def assert_same(self, data: bytes, key: str, *options: str, parts: tuple[int, ...] = (1, 3, 8)) -> None:
        (self.folder / "input").write_bytes(data)
        expected = self.plain(key)
        for way in WAYS:
            for count in parts:
                ended = self.run_in_folder(SCRIPT, way, count, key, "input", "output", *options)
                self.assertEqual(ended.returncode, 0, ended.stderr)
                same = (self.folder / "output").read_bytes() == expected
                self.assertTrue(same, f"{way}, {count} parts: not what one run gives")
                self.assertEqual(os.listdir(self.temporary), [])

    def test_few_lines(self) -> None:
        self.assert_same(lines(500, 1), "0,4")
        self.assert_same(lines(500, 2), "5,1")

    def test_more_parts_than_lines(self) -> None:
        self.assert_same(b"b\na\n", "0,1")

    def test_a_last_line_without_newline(self) -> None:
        self.assert_same(lines(100, 3) + b"0000 end", "0,4")

    def test_parts_of_nothing_but_short_lines(self) -> None:
        self.assert_same(b"x\n" * 300 + lines(100, 4) + b"x\n" * 300, "0,4")

    def test_parts_that_need_temporary_files(self) -> None:
        data = lines(500_000, 5)
        self.assertGreater(len(data), 2.5 * FIRST_CHUNK)
        self.assert_same(data, "0,4", "-W", "16M", parts=(2,))

    def test_failures(self) -> None:
        (self.folder / "input").write_bytes(lines(100, 6))
        for way in WAYS:
            for key, options in (("0,4", ["-W", "64MB"]), ("0,4", ["-X"]), ("4", []), ("0,4n", [])):
                ended = self.run_in_folder(SCRIPT, way, 2, key, "input", "output", *options)
                self.assertEqual(ended.returncode, 1, f"{way} {key} {options}: {ended.stderr}")
                self.assertEqual(os.listdir(self.temporary), [])
        self.assertEqual(self.run_in_folder(SCRIPT, "range", 2, "0,4", "missing", "output").returncode, 1)
        self.assertEqual(self.run_in_folder(SCRIPT, "range", 0, "0,4", "input", "output").returncode, 1)
        self.assertEqual(self.run_in_folder(SCRIPT, "other", 2, "0,4", "input", "output").returncode, 1)


class OneFolder(Folder):
    """Several runs whose temporary files exist at the same time, in the same folder."""

    def start(self, number: int) -> subprocess.Popen[bytes]:
        return subprocess.Popen(
            [COMMAND, "-W", "16M", "-S", "-K", "0,4", "-O", f"output{number}"],
            cwd=self.folder,
            env=self.environment,
            stdin=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
        )

    def wait_for_files(self, names: set[str]) -> None:
        for _ in range(600):
            if set(os.listdir(self.temporary)) == names:
                return
            time.sleep(0.05)
        self.fail(f"expected {names}, found {os.listdir(self.temporary)}")

    def test_concurrent_runs(self) -> None:
        data = [lines(220_000, seed) for seed in (7, 8, 9)]
        self.assertGreater(min(map(len, data)), FIRST_CHUNK)
        runs = [self.start(number) for number in range(3)]
        for run, text in zip(runs, data):
            run.stdin.write(text[:FIRST_CHUNK])
            run.stdin.flush()
        self.wait_for_files({f"orkan_{run.pid}.tmp" for run in runs})
        for run, text in zip(runs, data):
            run.stdin.write(text[FIRST_CHUNK:])
            run.stdin.close()
        for number, (run, text) in enumerate(zip(runs, data)):
            self.assertEqual(run.wait(), 0)
            (self.folder / "input").write_bytes(text)
            same = (self.folder / f"output{number}").read_bytes() == self.plain("0,4")
            self.assertTrue(same, f"run {number}: not what it gives alone")
        self.assertEqual(os.listdir(self.temporary), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
