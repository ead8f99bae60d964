"""end_to_end_test.py END_TO_END COMMAND: the benchmark script runs, believes a right output and finds a wrong one."""

import os
import stat
import subprocess
import sys
import tempfile
import unittest

END_TO_END, COMMAND = (os.path.abspath(path) for path in sys.argv[1:3])
del sys.argv[1:3]

# Stands in for the command: sorts or spoils the input. The last two arguments are the output and the input.
PRETENDER = """#!/bin/sh
while [ $# -gt 2 ]; do shift; done
{{ {}; }} > "$1" < "$2"
"""


class EndToEnd(unittest.TestCase):
    def bench(self, command, case="fixed"):
        """Status and printed text of a small run."""
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.run(
                [sys.executable, END_TO_END, "--records", "3000", "--runs", "2", "--case", case, "--dir", folder]
                + ["--orkan", command],
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                check=False,
            )
            self.assertEqual(os.listdir(folder), [])
        return run.returncode, run.stdout

    def bench_pretender(self, filter_command, case="fixed"):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "pretender")
            with open(path, "w", encoding="utf-8") as file:
                file.write(PRETENDER.format(filter_command))
            os.chmod(path, stat.S_IRWXU)
            return self.bench(path, case)

    def test_the_command_in_every_case(self):
        for case in ("fixed", "stable", "unique"):
            with self.subTest(case):
                status, text = self.bench(COMMAND, case)
                self.assertEqual(status, 0, text)
                self.assertIn("outputs agree", text)

    def test_right_output_of_another_tool(self):
        self.assertEqual(self.bench_pretender("sort -k1.1,1.10")[0], 0)

    def test_unsorted_output(self):
        status, text = self.bench_pretender("cat")
        self.assertEqual(status, 1)
        self.assertIn("out of order", text)

    def test_lost_record(self):
        status, text = self.bench_pretender("sort | sed 1d")
        self.assertEqual(status, 1)
        self.assertIn("not those of the input", text)

    def test_changed_record(self):
        status, text = self.bench_pretender("sort | sed '7s/.$/!/'")
        self.assertEqual(status, 1)
        self.assertIn("not those of the input", text)

    def test_unstable_output(self):
        status, text = self.bench_pretender("sort", "stable")
        self.assertEqual(status, 1)
        self.assertIn("differ", text)

    def test_failing_command(self):
        status, text = self.bench_pretender("false")
        self.assertEqual(status, 1)
        self.assertIn("status 1", text)


if __name__ == "__main__":
    unittest.main()
