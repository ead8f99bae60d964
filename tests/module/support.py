"""support.py: a folder of its own for every test, and what the tests of the Python module share."""

import os
import signal
import subprocess
import sys
import tempfile
import unittest

PATIENCE = 120  # seconds until something counts as hanging; nothing is measured
BANNER = "==== Convert Python Params To C ====\n"


class BoxTest(unittest.TestCase):
    """Runs in an empty folder, which is the current one; temporary files go to another."""

    def setUp(self):
        box = tempfile.TemporaryDirectory(prefix="orkan_test_")
        self.addCleanup(box.cleanup)
        self.temp = os.path.join(box.name, "temp")
        self.folder = os.path.join(box.name, "folder")
        os.mkdir(self.temp)
        os.mkdir(self.folder)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder)
        self.addCleanup(self.expect_no_temporary_files)

    def expect_no_temporary_files(self):
        self.assertEqual(os.listdir(self.temp), [])

    def write(self, name, data):
        with open(name, "wb") as file:
            file.write(data if isinstance(data, bytes) else data.encode())
        return name

    def read(self, name):
        with open(name, "rb") as file:
            return file.read()

    def expect_bytes(self, actual, expected):
        """Says where two long texts differ, not all of them."""
        if actual != expected:
            same = next((i for i, pair in enumerate(zip(actual, expected)) if pair[0] != pair[1]), None)
            at = max(0, (min(len(actual), len(expected)) if same is None else same) - 20)
            self.fail(f"{len(actual)} and {len(expected)} bytes, from byte {at}: "
                      f"{actual[at:at + 60]!r} and {expected[at:at + 60]!r}")


def python(program, *arguments, **options):
    """A child interpreter runs the program text."""
    options = {"input": b"", "timeout": PATIENCE, "check": False, **options}
    return subprocess.run([sys.executable, "-c", program, *arguments], capture_output=True, **options)


def echo_of(*arguments):
    lines = [f'argv[{i}] = "{text}"\n' for i, text in enumerate(("orkan", *arguments))]
    return BANNER + "".join(lines) + BANNER


def by_default_interrupted():
    """For a child: as a shell starts it, whatever is ignored here."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)
