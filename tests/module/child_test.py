"""child_test.py: the sort's child process, whatever the caller does with signals, children, files and environment."""

import os
import sys
from unittest import mock

import orkan
from orkan import SortError
from support import BoxTest, python

IGNORES_ITS_CHILDREN = """
import signal
signal.signal(signal.SIGCHLD, signal.SIG_IGN)
"""
WAITS_FOR_ANY_CHILD = """
import os, threading, time
def wait():
    while True:
        try:
            os.waitpid(-1, 0)
        except ChildProcessError:
            time.sleep(0.001)
threading.Thread(target=wait, daemon=True).start()
"""
SORTS_AND_FAILS = """
import sys, orkan
print(orkan.sort("in", temp_dir=sys.argv[1]))
try:
    orkan.sort("none", temp_dir=sys.argv[1])
except orkan.SortError as error:
    print(error.status, *error.messages, sep="\\n")
"""
FAILURE = ["☆ Failed to stat input file 1 [none]!", "☆ Error occurred during argument processing!"]

# Its own error, if there is one, goes to a file: standard output and error may be closed.
WITHOUT = """
import os, sys, traceback, orkan
out = open("out", "w")
{without}
try:
    for in_process in False, True:
        print(orkan.sort("in", temp_dir=sys.argv[1], in_process=in_process), file=out)
        try:
            orkan.sort("none", temp_dir=sys.argv[1], in_process=in_process)
        except orkan.SortError as error:
            print(error.messages[0], file=out)
except BaseException:
    traceback.print_exc(file=out)
for descriptor in 0, 1, 2:
    try:
        os.fstat(descriptor)
        print("open", file=out)
    except OSError:
        print("closed", file=out)
"""


class Child(BoxTest):
    def setUp(self):
        super().setUp()
        self.write("in", "b\na\n")

    def interpreter(self, program):
        """A program that becomes the interpreter at its end."""
        self.write("interpreter", f'#!/bin/sh\n{program}\nexec "{sys.executable}" "$@"\n')
        os.chmod("interpreter", 0o755)
        return mock.patch("sys.executable", os.path.abspath("interpreter"))

    def failure(self):
        with self.assertRaises(SortError) as caught:
            orkan.sort("none", temp_dir=self.temp)
        return caught.exception

    def test_failures_are_seen_whoever_waits_for_the_child(self):
        for caller in IGNORES_ITS_CHILDREN, WAITS_FOR_ANY_CHILD:
            with self.subTest(caller):
                run = python(caller + SORTS_AND_FAILS, self.temp)
                self.assertEqual(run.stdout.decode().splitlines(), [r"b'a\nb\n'", "1", *FAILURE], run.stderr)

    def test_a_child_that_ends_without_a_word_has_failed(self):
        for program, status in ("/bin/true", 1), ("/bin/false", 1):
            with mock.patch("sys.executable", program):
                error = self.failure()
            self.assertEqual((error.status, error.messages), (status, ()))
        with self.interpreter("kill -s KILL $$"):
            self.assertEqual(self.failure().status, -9)

    def test_signals_of_the_caller_do_not_reach_a_child_that_starts(self):
        for name in "INT", "QUIT", "HUP", "TERM":
            with self.subTest(name), self.interpreter(f"kill -s {name} $$"):
                self.assertEqual(orkan.sort("in", temp_dir=self.temp), b"a\nb\n")

    def test_an_environment_that_makes_interpreters_talk(self):
        for name in "PYTHONVERBOSE", "PYTHONINSPECT", "PYTHONMALLOCSTATS":
            with self.subTest(name), mock.patch.dict(os.environ, {name: "1", "LANG": "C"}):
                self.assertEqual(orkan.sort("in", temp_dir=self.temp), b"a\nb\n")
                self.assertEqual(list(self.failure().messages), FAILURE)

    def test_verbose_runs_of_the_caller_do_not_matter(self):
        verbose = 'import sys, orkan; orkan.raw(["-Verbose", "-T", sys.argv[1], "-O", "out", "in"])\n'
        run = python(verbose + SORTS_AND_FAILS, self.temp, env={**os.environ, "LANG": "C"})
        self.assertIn("Number of sorted records", run.stderr.decode())
        self.assertIn("\n".join([r"b'a\nb\n'", "1", *FAILURE]) + "\n", run.stdout.decode())

    def test_standard_files_that_are_closed(self):
        for without, files in [
            ("os.close(2)", ["open", "open", "closed"]),
            ("os.close(0); os.close(2)", ["closed", "open", "closed"]),
            ("os.close(0); os.close(1); os.close(2)", ["closed"] * 3),
            ("sys.stderr.close()", None),
            ("sys.stderr = None", ["open"] * 3),
        ]:
            with self.subTest(without):
                python(WITHOUT.format(without=without), self.temp, env={**os.environ, "LANG": "C"})
                said = self.read("out").decode().splitlines()
                self.assertEqual(said[:-3], [r"b'a\nb\n'", FAILURE[0]] * 2)
                self.assertEqual(said[-3:], files or said[-3:])


if __name__ == "__main__":
    import unittest

    unittest.main()
