"""real_faults_test.py COMMAND: the command where the system really refuses: full disks, size limits, closed streams."""

import os
import random
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

COMMAND = os.path.abspath(sys.argv[1])
del sys.argv[1:2]

RECORD = 100
RECORDS = 200_000  # 20 MB: more than -W1 keeps in memory, and than a pipe or a small disk holds
PATIENCE = 120  # seconds until a run counts as hanging; nothing is measured
FAILED = "☆ Sort failed. "
SMALL_DISK = "1m"

PATHS = {
    "in memory": ["-K0,10", "in"],
    "split": ["-K0,10", "-W1", "in"],
    "fixed": [f"-L{RECORD}", "-K0,10", "-W1", "in"],
    "csv": ["-C", "-K1", "-W1", "in"],
    "standard input": ["-K0,10", "-W1"],
    "merge": ["-M", "-K0,10", "sorted", "sorted"],
}
THROUGH_FILE = ["split", "fixed", "csv", "standard input"]


def may_mount():
    """A folder in memory of one's own, in a name space of one's own."""
    probe = ["unshare", "-Urm", "sh", "-c", "mount -t tmpfs -o size=1m none /mnt"]
    try:
        return subprocess.run(probe, capture_output=True, check=False).returncode == 0
    except FileNotFoundError:
        return False


class RealFaults(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        numbers = random.Random(5)
        records = [b"%010d," % numbers.randrange(10**10) + b"." * (RECORD - 12) + b"\n" for _ in range(RECORDS)]
        cls.sorted = b"".join(sorted(records))
        cls.merged = b"".join(record * 2 for record in sorted(records))
        for name, data in (("in", b"".join(records)), ("sorted", cls.sorted)):
            with open(os.path.join(cls.folder.name, name), "wb") as file:
                file.write(data)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def setUp(self):
        for name in ("temp", "small"):
            os.makedirs(self.path(name), exist_ok=True)
            self.assertEqual(os.listdir(self.path(name)), [])
        self.before = self.contents("in"), self.contents("sorted")

    def tearDown(self):
        self.assertTrue(self.before == (self.contents("in"), self.contents("sorted")), "an input has changed")
        self.assertEqual(os.listdir(self.path("temp")), [])
        for name in ("out", "errors"):
            if os.path.exists(self.path(name)):
                os.remove(self.path(name))

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def contents(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def run_command(self, path, *more, shell=None, stdin=None, **how):
        """One run along a path. `shell` runs in front of the command, in the same shell."""
        arguments = [COMMAND, *more, *PATHS[path]]
        if shell is not None:
            arguments = ["sh", "-c", shell + ' exec "$0" "$@"', *arguments]
        with open(self.path("in") if path == "standard input" else "/dev/null", "rb") as standard_input:
            return subprocess.run(
                arguments,
                stdin=standard_input if stdin is None else stdin,
                cwd=self.folder.name,
                env={**os.environ, "LANG": "C", "LC_ALL": "C", "TMPDIR": "temp"},
                timeout=PATIENCE,
                check=False,
                **{"capture_output": True, **how},
            )

    def expect_failure(self, run, message):
        said = run.stderr.decode()
        self.assertEqual(run.returncode, 1, said)
        self.assertIn(message, said)
        self.assertTrue(said.endswith(f"\n{FAILED}\n"), said)

    def expect_sorted(self, path, run, output):
        self.assertEqual(run.returncode, 0, run.stderr)
        expected = self.merged if path == "merge" else self.sorted
        self.assertTrue(output == expected, "the output is not what it should be")

    # --- full devices ----------------------------------------------------------------------------------------------

    def test_a_full_device_as_output(self):
        for path in PATHS:
            with self.subTest(path):
                run = self.run_command(path, "-O", "/dev/full")
                self.expect_failure(run, "☆ Error occurred while writing output file [/dev/full]!\n")

    def test_a_full_device_as_standard_output(self):
        for path in PATHS:
            with self.subTest(path), open("/dev/full", "wb") as full:
                run = self.run_command(path, capture_output=False, stdout=full, stderr=subprocess.PIPE)
                self.expect_failure(run, "☆ Error occurred while writing to standard output!\n")

    def test_a_full_device_as_error_file(self):
        with open(self.path("short"), "wb") as file:
            file.write(b"0\n" * 100_000)
        for options in (["-K5,5"], ["-K5,5", "-W1"], ["-C", "-K2"], ["-C", "-K2", "-W1"]):
            with self.subTest(options):
                run = subprocess.run(
                    [COMMAND, *options, "-T", "temp", "-O", "out", "-E", "/dev/full", "short"],
                    cwd=self.folder.name,
                    env={**os.environ, "LANG": "C"},
                    capture_output=True,
                    timeout=PATIENCE,
                    check=False,
                )
                self.expect_failure(run, "☆ Error occurred while writing error file [/dev/full]!\n")

    def test_a_full_device_as_standard_error(self):
        for path in PATHS:
            with self.subTest(path), open("/dev/full", "wb") as full:
                run = self.run_command(path, "-O", "out", capture_output=False, stderr=full)
                self.expect_sorted(path, run, self.contents("out"))

    # --- limits ----------------------------------------------------------------------------------------------------

    def test_a_limit_on_the_size_of_files(self):
        """Whether the signal that goes with it was ignored or not."""
        for path in PATHS:
            for size in (0, 1 << 20):
                for ignored in (False, True):
                    with self.subTest(path, size=size, ignored=ignored):
                        run = self.run_command(path, "-O", "out", preexec_fn=lambda: self.limit(size, ignored))
                        temporary = path in THROUGH_FILE
                        target = "to output file during split sort!" if temporary else "output file [out]!"
                        self.expect_failure(run, f"☆ Error occurred while writing {target}\n")

    @staticmethod
    def limit(size, ignored):
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN if ignored else signal.SIG_DFL)
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))

    # --- a disk of 1 MiB -------------------------------------------------------------------------------------------

    def run_on_small_disk(self, path, *more):
        """What is in the folder `small` of 1 MiB, behind the run, goes to standard output."""
        arguments = [COMMAND, *more, *PATHS[path]]
        script = f'mount -t tmpfs -o size={SMALL_DISK} none small && "$@"; status=$?; ls small; exit $status'
        with open(self.path("in"), "rb") as standard_input:
            return subprocess.run(
                ["unshare", "-Urm", "sh", "-c", script, "sh", *arguments],
                stdin=standard_input,
                cwd=self.folder.name,
                env={**os.environ, "LANG": "C", "TMPDIR": "temp"},
                capture_output=True,
                timeout=PATIENCE,
                check=False,
            )

    @unittest.skipUnless(may_mount(), "no name space of one's own to mount in")
    def test_a_small_disk_for_the_temporary_file(self):
        for path in THROUGH_FILE:
            with self.subTest(path):
                run = self.run_on_small_disk(path, "-T", "small", "-O", "out")
                self.expect_failure(run, "☆ Error occurred while writing to output file during split sort!\n")
                self.assertEqual(run.stdout, b"")

    @unittest.skipUnless(may_mount(), "no name space of one's own to mount in")
    def test_a_small_disk_for_the_output(self):
        for path in PATHS:
            with self.subTest(path):
                run = self.run_on_small_disk(path, "-O", "small/out")
                self.expect_failure(run, "☆ Error occurred while writing output file [small/out]!\n")
                self.assertEqual(run.stdout, b"out\n")

    # --- streams ---------------------------------------------------------------------------------------------------

    def test_a_reader_that_goes_away(self):
        """After a few bytes; with the signal ignored it is an error like any other."""
        for path in PATHS:
            for ignored in (False, True):
                with self.subTest(path, ignored=ignored):
                    status, said = self.run_into_closing_pipe(path, ignored)
                    self.assertEqual(status, 1 if ignored else -signal.SIGPIPE, said)
                    self.assertEqual("☆ Error occurred while writing to standard output!\n" in said, ignored)
                    self.assertEqual(os.listdir(self.path("temp")), [])

    def run_into_closing_pipe(self, path, ignored):
        def set_signal():
            signal.signal(signal.SIGPIPE, signal.SIG_IGN if ignored else signal.SIG_DFL)

        with open(self.path("in"), "rb") as standard_input:
            run = subprocess.Popen(
                [COMMAND, *PATHS[path]],
                stdin=standard_input,
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                cwd=self.folder.name,
                env={**os.environ, "LANG": "C", "TMPDIR": "temp"},
                preexec_fn=set_signal,
                restore_signals=False,
            )
        self.assertEqual(run.stdout.read(RECORD), self.sorted[:RECORD])
        run.stdout.close()
        said = run.stderr.read().decode()
        run.stderr.close()
        return run.wait(PATIENCE), said

    def test_standard_output_is_closed(self):
        for path in PATHS:
            with self.subTest(path):
                run = self.run_command(path, shell="exec >&-;")
                self.expect_failure(run, "☆ Error occurred while writing to standard output!\n")
                self.expect_sorted(path, self.run_command(path, "-O", "out", shell="exec >&-;"), self.contents("out"))

    def test_standard_input_is_closed(self):
        run = self.run_command("standard input", shell="exec <&-;")
        self.expect_failure(run, "☆ Error occurred while reading standard input!\n")
        for path in PATHS:
            if path != "standard input":
                with self.subTest(path):
                    run = self.run_command(path, shell="exec <&-;")
                    self.expect_sorted(path, run, run.stdout)

    def test_standard_error_is_closed(self):
        for path in PATHS:
            with self.subTest(path):
                run = self.run_command(path, shell="exec 2>&-;")
                self.expect_sorted(path, run, run.stdout)
                run = self.run_command(path, "-O", "/dev/full", shell="exec 2>&-;")
                self.assertEqual(run.returncode, 1)
                self.assertEqual(run.stderr, b"")

    def test_every_standard_stream_is_closed(self):
        for path in PATHS:
            if path != "standard input":
                with self.subTest(path):
                    run = self.run_command(path, "-O", "out", shell="exec <&- >&- 2>&-;")
                    self.expect_sorted(path, run, self.contents("out"))


if __name__ == "__main__":
    unittest.main()
