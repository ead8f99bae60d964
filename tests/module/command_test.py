"""command_test.py: python -m orkan is the command."""

import os
import signal
import subprocess
import sys

import orkan
from support import PATIENCE, BoxTest, by_default_interrupted, echo_of


class Command(BoxTest):
    def run_command(self, *arguments, data=b"", **options):
        return subprocess.run([sys.executable, "-X", "utf8", "-m", "orkan", *arguments], input=data,
                              capture_output=True, check=False, timeout=PATIENCE, **options)

    def test_sorts_files(self):
        self.write("in", "b\na\n")
        run = self.run_command("-T", self.temp, "-O", "out", "in")
        self.assertEqual((run.returncode, run.stdout, self.read("out")), (0, b"", b"a\nb\n"))
        self.assertIn(echo_of("-T", self.temp, "-O", "out", "in"), run.stderr.decode())

    def test_sorts_standard_input(self):
        run = self.run_command("-T", self.temp, "-K", "0,1n", data=b"3\n1\n")
        self.assertEqual((run.returncode, run.stdout), (0, b"1\n3\n"))

    def test_fails(self):
        run = self.run_command("-T", self.temp, "none")
        self.assertEqual((run.returncode, run.stdout), (1, b""))
        self.assertIn("☆ Failed to stat input file 1 [none]!", run.stderr.decode())
        self.assertEqual(self.run_command("--help").returncode, 1)

    def test_an_argument_that_is_no_text(self):
        run = self.run_command(b"in\xff")
        self.assertEqual((run.returncode, run.stderr),
                         (1, b"orkan: argument: 'in\\udcff' cannot be expressed in UTF-8\n"))

    def test_control_c(self):
        os.mkfifo("pipe")
        self.write("in", "b\na\n")
        command = [sys.executable, "-m", "orkan", "-T", self.temp, "-O", "pipe", "in"]
        run = subprocess.Popen(command, stderr=subprocess.PIPE, preexec_fn=by_default_interrupted)
        while b"orkan start" not in run.stderr.readline():
            self.assertIsNone(run.poll())
        run.send_signal(signal.SIGINT)
        self.assertEqual(run.wait(PATIENCE), -signal.SIGINT)
        run.stderr.close()

    def test_the_version(self):
        run = self.run_command("-V ")
        self.assertEqual((run.returncode, run.stdout), (0, b""))
        self.assertIn(f"\nVersion: {orkan.__version__}\n", run.stderr.decode())


if __name__ == "__main__":
    import unittest

    unittest.main()
