"""bench_test.py BENCH_RUN COMMAND: the benchmark script runs, believes right outputs and finds wrong ones."""

import os
import stat
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

BENCH, COMMAND = (os.path.abspath(path) for path in sys.argv[1:3])
del sys.argv[1:3]

# Stands in for the command: sorts or spoils the input. The last two arguments are the output and the input.
PRETENDER = """#!/bin/sh
[ $# -ge 2 ] || exit 0
while [ $# -gt 2 ]; do shift; done
{{ {}; }} > "$1" < "$2"
"""


class Bench(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.shared = tempfile.TemporaryDirectory()  # the programs are compiled once
        cls.tools = os.path.join(cls.shared.name, "tools")

    @classmethod
    def tearDownClass(cls):
        cls.shared.cleanup()

    def bench(self, command, case="fixed", *options, search_path=os.environ["PATH"]):
        """Status and printed text of a small run."""
        with tempfile.TemporaryDirectory() as folder:
            arguments = [sys.executable, BENCH, "--scale", "0.001", "--runs", "2", "--case", case, "--orkan", command]
            arguments += ["--peer", "sort, 1 thread", "--dir", folder, "--tools", self.tools, *options]
            run = subprocess.run(
                arguments,
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                check=False,
                cwd=folder,
                env={**os.environ, "PATH": search_path},
            )
            self.assertEqual(os.listdir(folder), [])
        return run.returncode, run.stdout

    def program(self, folder, name, filter_command):
        path = os.path.join(folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(PRETENDER.format(filter_command))
        os.chmod(path, stat.S_IRWXU)
        return path

    def expect_wrong(self, words, filter_command, case="fixed"):
        with tempfile.TemporaryDirectory() as folder:
            status, text = self.bench(self.program(folder, "pretender", filter_command), case)
        self.assertEqual(status, 1, text)
        self.assertIn(words, text)

    def test_the_command(self):
        cases = ["fixed", "small_number", "numbers", "csv_two_keys", "csv_number", "stdin_lines", "merge_csv"]
        for case in [*cases, "external_lines", "unique_lines", "unique_fixed", "stable_fixed", "tiny_1"]:
            with self.subTest(case):
                status, text = self.bench(COMMAND, case)
                self.assertEqual(status, 0, text)
                self.assertIn("outputs verified", text)
                self.assertEqual("moving alone" in text, case != "tiny_1")

    def test_report_and_plots(self):
        with tempfile.TemporaryDirectory() as folder:
            markdown, plots = os.path.join(folder, "report.md"), os.path.join(folder, "plots")
            more = ["--case", "scaling_fixed_250k", "--case", "scaling_fixed_500k", "--peer", "sort, 2 threads"]
            status, text = self.bench(COMMAND, "fixed", *more, "--markdown", markdown, "--svg", plots)
            self.assertEqual(status, 0, text)
            with open(markdown, encoding="utf-8") as file:
                report = file.read()
            expected = ["Trial run", "100-byte records, 10-byte text key", "≥ 10", "| 500 |", "targets reached"]
            for words in [*expected, "| fixed | moving alone |"]:
                self.assertIn(words, report)
            for name in ("speed.svg", "scaling.svg"):
                drawing = xml.etree.ElementTree.parse(os.path.join(plots, name)).getroot()
                self.assertTrue(drawing.tag.endswith("svg"))

    def test_moving_writes_every_record_once(self):
        self.bench(COMMAND)
        program = os.path.join(self.tools, "moving")
        with tempfile.TemporaryDirectory() as folder:
            records = [f"{number:03}\n" for number in range(600)]
            inputs = [os.path.join(folder, f"in.{part}") for part in range(2)]
            for part, path in enumerate(inputs):
                with open(path, "w", encoding="ascii") as file:
                    file.writelines(records[part::2])
            output = os.path.join(folder, "output")
            ways = {
                ("--format", "lines"): (records[::2], False),
                ("--format", "csv"): (records[::2], False),
                ("--format", "fixed", "--length", "4", "--sorted"): (records[::2], True),
                ("--format", "fixed", "--length", "4", "--reversed"): (records[::2][::-1], True),
                ("--format", "fixed", "--length", "4", "--copies", "3", "--key", "2"): (records[::6], False),
                ("--format", "lines", "--file"): (records[::2], True),
                ("--format", "lines", "--merge"): (records, False),
            }
            for options, (expected, in_order) in ways.items():
                with self.subTest(options):
                    wanted = inputs if "--merge" in options else inputs[:1]
                    printed = subprocess.run([program, *options, output, *wanted], capture_output=True, check=True)
                    self.assertGreater(float(printed.stdout), 0)
                    with open(output, encoding="ascii") as file:
                        moved = file.readlines()
                    self.assertEqual(moved if in_order else sorted(moved), expected)
                    self.assertEqual(sorted(os.listdir(folder)), ["in.0", "in.1", "output"])

    def test_right_output_of_another_tool(self):
        with tempfile.TemporaryDirectory() as folder:
            status, text = self.bench(self.program(folder, "pretender", "sort -s -k1.1,1.10"))
        self.assertEqual(status, 0, text)

    def test_unsorted_output(self):
        self.expect_wrong("out of order", "cat")
        self.expect_wrong("out of order", "cat", "csv_text")

    def test_lost_record(self):
        self.expect_wrong("not those of the input", "sort | sed 1d")

    def test_changed_record(self):
        self.expect_wrong("not those of the input", "sort | sed '7s/.$/!/'")

    def test_unstable_output(self):
        self.expect_wrong("not in the order of the input", "sort", "stable_fixed")

    def test_last_instead_of_first_of_equal_keys(self):
        self.expect_wrong("is not the input's for its key", "tac | sort -s -u -k1.1,1.10", "unique_fixed")

    def test_lost_key(self):
        self.expect_wrong("there are", "sort -s -u -k1.1,1.10 | sed '$d'", "unique_fixed")

    def test_key_left_twice(self):
        self.expect_wrong("has the key of the one before", "sort", "unique_lines")

    def test_failing_command(self):
        self.expect_wrong("status 1", "false")

    def test_wrong_peer_is_left_out(self):
        with tempfile.TemporaryDirectory() as folder:
            self.program(folder, "sort", ":")
            status, text = self.bench(COMMAND, search_path=folder + os.pathsep + os.environ["PATH"])
        self.assertEqual(status, 0, text)
        self.assertRegex(text, "sort, 1 thread +left out: the records are not those of the input")

    def test_csv_by_value(self):
        self.bench(COMMAND)
        with tempfile.TemporaryDirectory() as folder:
            for name, text in (("plain", "a,b c\n"), ("quoted", '"a","b c"\n'), ("other", '"a","b d"\n')):
                with open(os.path.join(folder, name), "w", encoding="ascii") as file:
                    file.write(text)
            verify = [os.path.join(self.tools, "verify"), "--format", "csv"]
            for options, name, expected in ((["--values"], "quoted", 0), ([], "quoted", 1), (["--values"], "other", 1)):
                run = subprocess.run([*verify, *options, name, "plain"], cwd=folder, capture_output=True, check=False)
                self.assertEqual(run.returncode, expected, name)


if __name__ == "__main__":
    unittest.main()
