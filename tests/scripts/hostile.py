"""What the tests with hostile input share. Their arguments: COMMAND CPU_SECONDS. Each run gives its result or its message:
no signal, bounded processor time, nothing left in the temporary folder."""

import os
import resource
import subprocess
import sys
import tempfile
import unittest

COMMAND = os.path.abspath(sys.argv[1])
CPU_SECONDS = int(sys.argv[2])
del sys.argv[1:3]

KEY = "☆ Sort key 1 is invalid!\n"
ARGUMENTS = "☆ Error occurred during argument processing!\n"
START, END, FAILED = "☆ orkan start...\n", "☆ orkan end.\n", "\n☆ Sort failed. \n"
TOO_LONG, TOO_LONG_JA = "☆ Invalid record length detected! \n", "☆不正なレコード長を検知しました！ \n"

LINES = b"b2\na1\nc3\n"
SORTED = b"a1\nb2\nc3\n"
FORMATS = {"lines": ["-A"], "csv": ["-C", "-A"], "fixed": ["-L3", "-A"]}
# In memory; with less than the data need; presorted; and without names on standard input.
PATHS = {"memory": ["-W64M"], "split": ["-W1"], "merge": ["-M"], "stdin": None}


def bounded(seconds):
    """Processor time of the process that is about to start."""

    def limit():
        resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    return limit


class Hostile(unittest.TestCase):
    complete = False  # the mode of all runs
    cpu_seconds = CPU_SECONDS

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = os.fsencode(folder.name)
        self.temp = self.path(b"tmp")
        os.mkdir(self.temp)
        self.write(b"in", LINES)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def environment(self):
        mode = "1" if self.complete else "0"
        return {"LANG": "C", "TMPDIR": self.temp, "PATH": os.environ["PATH"], "ORKAN_COMPLETE": mode}

    def run_orkan(self, *args, stdin=b"", **how):
        """Status, standard output and error of a run in the folder; a signal or something left is a failure."""
        environment = self.environment()
        source = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin}
        done = subprocess.run(
            [COMMAND, *args], cwd=self.folder, env=environment, capture_output=True, preexec_fn=bounded(self.cpu_seconds), timeout=300,
            check=False, **source, **how,
        )
        self.assertIn(done.returncode, (0, 1), done.stderr[-300:])
        self.assertEqual(os.listdir(self.temp), [])
        return done.returncode, done.stdout, done.stderr.decode("utf-8", "surrogateescape")

    def assert_refused(self, message, *args, **how):
        status, out, err = self.run_orkan(*args, **how)
        self.assertEqual((status, out), (1, b""))
        self.assertIn(message, err)
        self.assertTrue(err.startswith(START) and err.endswith(FAILED), err[-300:])

    def assert_gives(self, expected, *args, **how):
        status, out, err = self.run_orkan(*args, **how)
        self.assertEqual((status, err.replace(START, "").replace(END, "")), (0, self.released(err)))
        self.assertTrue(out == expected, f"{len(out)} bytes, {len(expected)} expected; {out[:60]} ...")

    @staticmethod
    def released(err):
        """The line about released memory that most sorts end with."""
        return "".join(line for line in err.splitlines(True) if "メモリ解放がかかった[" in line)

    def in_every_path(self, args, name, data):
        """Arguments for the input in each path, with standard input."""
        for path, more in PATHS.items():
            with self.subTest(path=path, args=args):
                yield path, (*args, *more, name) if more is not None else tuple(args), b"" if more is not None else data
