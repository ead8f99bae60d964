"""files_test.py: files that are no regular ones, files that every process has of its own, and folders."""

import itertools
import os
from unittest import mock

import orkan
from orkan import SortError
from support import BoxTest, python

SORTS_STANDARD_INPUT = """
import sys, orkan
print(orkan.sort(sys.argv[2], temp_dir=sys.argv[1]), orkan.sort("in", temp_dir=sys.argv[1]))
"""


class Files(BoxTest):
    def setUp(self):
        super().setUp()
        self.write("in", "b\na\n")

    def filled_pipe(self, data):
        """The descriptor to read it from."""
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        os.write(writer, data)
        os.close(writer)
        return reader

    def test_inputs_that_are_open_here(self):
        os.symlink("/dev/fd", "folder")
        for folder in "/dev/fd", "/proc/self/fd", "/proc/thread-self/fd", "folder", f"/proc/{os.getpid()}/fd":
            with self.subTest(folder):
                path = os.path.join(folder, str(self.filled_pipe(b"d\nc\n")))
                self.assertEqual(orkan.sort(["in", path], temp_dir=self.temp), b"a\nb\nc\nd\n")
        os.symlink(f"/dev/fd/{self.filled_pipe(b'0')}", "link")
        for in_process in True, False:
            self.assertEqual(orkan.sort("link", temp_dir=self.temp, in_process=in_process), b"0\n")
            os.remove("link")
            os.symlink(f"/proc/self/fd/{self.filled_pipe(b'0')}", "link")

    def test_standard_input(self):
        run = python(SORTS_STANDARD_INPUT, self.temp, "/dev/stdin", input=b"2\n1\n")
        self.assertEqual(run.stdout, b"b'1\\n2\\n' b'a\\nb\\n'\n", run.stderr)

    def test_an_input_that_is_open_here_and_the_output(self):
        with open("in", "rb") as file:
            orkan.sort(f"/dev/fd/{file.fileno()}", "in", temp_dir=self.temp)
        self.assertEqual((self.read("in"), os.listdir()), (b"a\nb\n", ["in"]))

    def test_outputs_that_are_open_here(self):
        self.write("log", "kept\n")
        os.symlink("/dev/stdout", "link")
        os.symlink("link", "link to a link")
        os.symlink("/proc/self/fd", "folder")
        with open("log", "rb") as log:
            for path in [
                *("/dev/stdin", "/dev/stdout", "/dev/stderr", "/dev/fd/2", "/proc/self/fd/1", "/proc/self/fd/999"),
                *("link", "./link to a link", "folder/1", f"/dev/fd/{log.fileno()}", b"/dev/../dev/stdout"),
            ]:
                for name, in_process in itertools.product(["output", "errors"], [True, False]):
                    refused = self.assertRaisesRegex(ValueError, f"^{name}: .* open file of this process")
                    with self.subTest(path, name=name), refused:
                        orkan.sort("in", temp_dir=self.temp, in_process=in_process, **{name: path})
        self.assertEqual(self.read("log"), b"kept\n")

    def test_links_in_a_circle(self):
        os.symlink("a", "b")
        os.symlink("b", "a")
        with self.assertRaises(SortError):
            orkan.sort("a", temp_dir=self.temp)
        with self.assertRaises(SortError):
            orkan.sort("in", "a", temp_dir=self.temp)

    def test_nothing_is_put_in_the_place_of_a_special_file(self):
        os.mkfifo("pipe")
        os.symlink("pipe", "link")
        for inputs in "pipe", ["in", "pipe"], ["in", "link"]:
            for output in "pipe", "./link":
                with self.assertRaisesRegex(ValueError, "^output: .* is an input and no regular file"):
                    orkan.sort(inputs, output, temp_dir=self.temp)
        self.assertEqual(sorted(os.listdir()), ["in", "link", "pipe"])

    def test_is_sorted_takes_regular_files(self):
        os.mkfifo("pipe")
        pipe = f"/dev/fd/{self.filled_pipe(b'b')}"
        for inputs in "pipe", ["in", "pipe"], "/dev/null", ".", pipe:
            with self.subTest(inputs), self.assertRaisesRegex(ValueError, "^inputs: .* no regular file"):
                orkan.is_sorted(inputs, temp_dir=self.temp)
        with open("in", "rb") as file:
            self.assertFalse(orkan.is_sorted(f"/dev/fd/{file.fileno()}", temp_dir=self.temp))

    def test_a_current_folder_that_is_gone(self):
        os.mkdir("gone")
        os.chdir("gone")
        os.rmdir("../gone")
        for inputs, options in ("in", {}), (["x", "y"], {"output": "out"}), (self.folder, {"temp_dir": "here"}):
            with self.subTest(inputs), self.assertRaisesRegex(SortError, "No such file"):
                orkan.sort(inputs, **{"temp_dir": self.temp, **options})

    def test_no_folder_for_temporary_files(self):
        nowhere = mock.patch("tempfile.gettempdir", side_effect=FileNotFoundError("no usable folder"))
        with nowhere, self.assertRaisesRegex(SortError, "no usable folder"):
            orkan.sort("in")
        with nowhere, self.assertRaisesRegex(SortError, "no usable folder"):
            orkan.is_sorted("in")


if __name__ == "__main__":
    import unittest

    unittest.main()
