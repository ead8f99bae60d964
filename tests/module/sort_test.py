"""sort_test.py: orkan.sort and orkan.is_sorted, option by option, in a child process and in this one."""

import os
import pickle
import pathlib
import resource
import subprocess
import unittest
from unittest import mock

import orkan
from orkan import Key, SortError
from support import BoxTest

CSV = "name,n,city\ncarol,10,\nalice,9,Rome\nbob,10,Bonn\n"


class Both:
    """The tests of both ways to run."""

    in_process: bool

    def sort(self, *arguments, **options):
        options = {"temp_dir": self.temp, "in_process": self.in_process, **options}
        return orkan.sort(*arguments, **options)

    def is_sorted(self, *arguments, **options):
        options = {"temp_dir": self.temp, "in_process": self.in_process, **options}
        return orkan.is_sorted(*arguments, **options)

    def sorted_names(self, **options):
        """The first letters of the CSV sample's records."""
        records = self.sort(self.write("in.csv", CSV), csv=True, header=True, **options)
        self.assertTrue(records.startswith(b"name,n,city\n"))
        return "".join(line[:1] for line in records.decode().splitlines()[1:])

    # --- inputs and outputs

    def test_returns_the_records(self):
        self.assertEqual(self.sort(self.write("in", "b\na\n")), b"a\nb\n")

    def test_writes_the_output(self):
        self.assertIsNone(self.sort(self.write("in", "b\na\n"), "out"))
        self.assertEqual(self.read("out"), b"a\nb\n")
        self.assertEqual(sorted(os.listdir()), ["in", "out"])

    def test_paths_of_every_kind(self):
        self.write("in ü", "b\na\n")
        for path in "in ü", pathlib.Path("in ü"), os.fsencode("in ü"), os.path.abspath("in ü"):
            self.assertEqual(self.sort(path), b"a\nb\n")
        self.sort(pathlib.Path("in ü"), pathlib.Path("out"), temp_dir=pathlib.Path(self.temp))
        self.sort(b"in \xc3\xbc", b"out 2", temp_dir=os.fsencode(self.temp))
        self.assertEqual(self.read("out") + self.read("out 2"), b"a\nb\na\nb\n")

    def test_several_inputs(self):
        paths = [self.write("x", "d\nb\n"), self.write("y", "c\n"), self.write("e", ""), self.write("z", "a")]
        self.assertEqual(self.sort(paths), b"a\nb\nc\nd\n")
        self.assertEqual(self.sort(tuple(paths)), self.sort(iter(paths)))
        self.assertEqual(self.sort(paths[:1] * 2), b"b\nb\nd\nd\n")

    # --- complete mode

    def test_inputs_do_not_run_into_each_other(self):
        paths = [self.write("x", "b"), self.write("y", "a\n")]
        self.assertEqual(self.sort(paths), b"a\nb\n")
        self.assertEqual(self.sort(paths[::-1], complete=False), b"a\nb\n")

    def test_records_are_not_dropped_silently(self):
        self.write("in", "bb\na\n")
        with self.assertRaisesRegex(SortError, "in"):
            self.sort("in", keys=(0, 3))
        self.assertEqual(self.sort("in", keys=(0, 3), complete=False), b"bb\n")
        self.assertEqual(self.sort("in", keys=(0, 3), errors="short"), b"bb\n")
        self.assertEqual(self.read("short"), b"a\n")

    def test_a_merge_with_headers(self):
        paths = [self.write("x", "n\n1\n3\n"), self.write("y", "n\n2\n")]
        self.assertEqual(self.sort(paths, csv=True, header=True, keys=1, merge=True), b"n\n1\n2\n3\n")

    def test_a_pipe_among_the_inputs(self):
        os.mkfifo("pipe")
        writer = subprocess.Popen(["sh", "-c", "printf 'c\na\n' > pipe"])
        self.assertEqual(self.sort([self.write("in", "b\n"), "pipe"]), b"a\nb\nc\n")
        self.assertEqual(writer.wait(), 0)
        with self.assertRaisesRegex(ValueError, "no regular file"):
            self.sort("pipe", csv=True, header=True, keys=1)

    def test_two_keys_on_one_column(self):
        self.write("in.csv", "10\n9\n09\n")
        self.assertEqual(self.sort("in.csv", csv=True, keys=[Key(1, numeric=True), 1]), b"09\n9\n10\n")

    def test_the_callers_environment_does_not_matter_and_stays(self):
        paths = [self.write("x", "a\n"), self.write("y", ""), self.write("z", "b\n")]
        for value in None, "0", "1":
            environment = {} if value is None else {"ORKAN_COMPLETE": value}
            with mock.patch.dict("os.environ", environment):
                self.assertEqual(self.sort(paths, merge=True), b"a\nb\n")
                self.assertEqual(self.sort(paths, merge=True, complete=False), b"a\n")
                self.assertEqual(os.environ.get("ORKAN_COMPLETE"), value)

    def test_output_in_place_of_an_input(self):
        self.write("in", "b\na\n")
        os.chmod("in", 0o640)
        os.symlink("in", "link")
        self.sort(["in", self.write("other", "0\n")], "link")
        self.assertEqual(self.read("in"), b"0\na\nb\n")
        self.assertEqual((os.readlink("link"), os.stat("in").st_mode & 0o777), ("in", 0o640))
        self.assertEqual(sorted(os.listdir()), ["in", "link", "other"])

    def test_a_failure_keeps_the_input_it_would_replace(self):
        self.write("in", "b\na\n")
        with self.assertRaises(SortError):
            self.sort(["in", "none"], "./in")
        self.assertEqual((self.read("in"), os.listdir()), (b"b\na\n", ["in"]))

    def test_a_full_disk_keeps_the_input_it_would_replace(self):
        lines = b"".join(b"%07d\n" % (i * 7919 % 1000003) for i in range(100000))
        self.write("in", lines)
        limits = resource.getrlimit(resource.RLIMIT_FSIZE)
        self.addCleanup(resource.setrlimit, resource.RLIMIT_FSIZE, limits)
        resource.setrlimit(resource.RLIMIT_FSIZE, (len(lines) // 2, limits[1]))
        with self.assertRaisesRegex(SortError, "writing output file"):
            self.sort("in", "in")
        self.expect_bytes(self.read("in"), lines)
        self.assertEqual(os.listdir(), ["in"])

    def test_a_large_result(self):
        lines = [b"%07d\n" % (i * 7919 % 1000003) for i in range(100000)]
        self.expect_bytes(self.sort(self.write("in", b"".join(lines))), b"".join(sorted(lines)))

    def test_through_a_temporary_file(self):
        records = [b"%09d\n" % (i * 7919 % 1000003) for i in range(1800000)]
        options = {"record_length": 10, "keys": (0, 9), "memory": "16M"}
        self.sort(self.write("in", b"".join(records)), "out", **options)
        self.expect_bytes(self.read("out"), b"".join(sorted(records)))

    # --- options

    def test_keys(self):
        for keys, names in [
            (1, "abc"),
            ("name", "abc"),
            (Key("name"), "abc"),
            (Key(1, descending=True), "cba"),
            (["n", "name"], "bca"),
            ([Key("n", numeric=True), Key("name", descending=True)], "acb"),
            ((Key(2, numeric=True, descending=True), 1), "bca"),
            ([], "abc"),
        ]:
            self.assertEqual(self.sorted_names(keys=keys), names, keys)

    def test_reverse_turns_every_key(self):
        self.assertEqual(self.sorted_names(reverse=True), "cba")
        self.assertEqual(self.sorted_names(reverse=True, keys="name"), "cba")
        keys = [Key("n", numeric=True), Key("name", descending=True)]
        self.assertEqual(self.sorted_names(reverse=True, keys=keys), "bca")

    def test_empty_last(self):
        self.assertEqual(self.sorted_names(keys="city"), "cba")
        self.assertEqual(self.sorted_names(keys="city", empty_last=True), "bac")

    def test_stable_and_unique(self):
        self.assertEqual(self.sorted_names(keys=Key("n", numeric=True), stable=True), "acb")
        self.assertEqual(self.sorted_names(keys=Key("n", numeric=True), stable=True, unique=True), "ac")

    def test_bytes_of_lines_and_records(self):
        data = self.write("in", "x10\ny9 \nz-1\n")
        self.assertEqual(self.sort(data, keys=(1, 2)), b"z-1\nx10\ny9 \n")
        key = Key(position=1, length=2, numeric=True)
        self.assertEqual(self.sort(data, keys=key), b"z-1\ny9 \nx10\n")
        self.assertEqual(self.sort(data, keys=[key], record_length=4), b"z-1\ny9 \nx10\n")
        self.assertEqual(self.sort(self.write("fixed", "cb2ca1"), keys=[(1, 1), (0, 1)], record_length=3), b"ca1cb2")

    def test_newlines_and_delimiters(self):
        self.assertEqual(self.sort(self.write("in", "b\r\na"), newline="\r\n"), b"a\r\nb\r\n")
        self.assertEqual(self.sort(self.write("in", "b\ra"), newline="\r"), b"a\rb\r")
        self.assertEqual(self.sort(self.write("in", "x\tb\ny\ta\n"), csv=True, delimiter="\t", keys=2), b"y\ta\nx\tb\n")
        for delimiter in ";", "::", "-", "--", "-K", "a b", "\\", "\\n", "｜", ".\t.":
            data = self.write("in", f"1{delimiter}2\n2{delimiter}1\n")
            records = self.sort(data, csv=True, delimiter=delimiter, keys=2)
            self.assertEqual(records.decode(), f"2{delimiter}1\n1{delimiter}2\n")

    def test_short_records(self):
        data = self.write("in", "x,2\nshort\ny,1\n")
        self.assertEqual(self.sort(data, csv=True, keys=2, complete=False), b"y,1\nx,2\n")
        self.assertEqual(self.sort(data, csv=True, keys=2, errors="errors"), b"y,1\nx,2\n")
        self.assertEqual(self.read("errors"), b"short\n")
        self.sort(data, errors="errors")
        self.assertEqual(self.read("errors"), b"", "none is none, not those of another run")
        self.sort(self.write("fixed", "21"), record_length=1, errors="fixed errors")
        self.assertEqual(self.read("fixed errors"), b"")

    def test_merge(self):
        paths = [self.write("x", "a\nc\n"), self.write("y", "b\nd\n")]
        self.assertEqual(self.sort(paths, merge=True), b"a\nb\nc\nd\n")

    def test_memory(self):
        data = self.write("in", "b\na\n")
        for memory in 16 * 1024 * 1024, "16M", "16m", "16384K", "2047M", 2**31 - 1, "16777216":
            self.assertEqual(self.sort(data, memory=memory), b"a\nb\n")

    def test_languages(self):
        for language, message in [
            ("ja_JP.UTF-8", "☆入力ファイル1[none]"),
            ("C", "☆ Failed to stat input file 1 [none]!"),
        ]:
            with mock.patch.dict(os.environ, LANG=language), self.assertRaises(SortError) as caught:
                self.sort("none")
            self.assertIn(message, caught.exception.messages[0])
            self.assertEqual(len(caught.exception.messages), 2)

    # --- failures

    def test_failures(self):
        data = self.write("in", "b\na\n")
        os.mkfifo("pipe")
        for arguments, options, message in [
            (["none"], {}, "Failed to stat input file 1 [none]"),
            ([["none"], "out"], {}, "Failed to stat input file 1 [none]"),
            ([[data, "none"]], {"csv": True, "header": True}, "No such file or directory"),
            (["none"], {"csv": True, "header": True, "keys": "name"}, "No such file or directory"),
            (["pipe"], {"complete": False}, "is not a regular file"),
            ([data, "none/out"], {}, "Output folder [none/] does not exist"),
            ([data, "."], {}, "Cannot create output file [.]"),
            ([data], {"errors": "none/errors"}, "No such file or directory"),
            ([data], {"temp_dir": "none"}, "No such file or directory"),
            ([data], {"record_length": 3}, "Invalid size [1] for input file 4"),
        ]:
            with self.subTest(message), self.assertRaises(SortError) as caught:
                self.sort(*arguments, **options)
            error = caught.exception
            self.assertEqual(error.status, 1)
            self.assertIn(message, "\n".join(error.messages))
            self.assertIn(message, str(error))
            self.assertFalse(any("orkan start" in text or "====" in text for text in error.messages), error.messages)

    # --- is_sorted

    def test_is_sorted(self):
        for data, options, expected in [
            ("a\nb\n", {}, True),
            ("b\na\n", {}, False),
            ("a\nb", {}, True),
            ("b\na", {}, False),
            ("b\na\n", {"reverse": True}, True),
            ("", {}, True),
            ("", {"record_length": 7}, True),
            ("a", {}, True),
            ("a1b0", {"record_length": 2}, True),
            ("a1b0", {"record_length": 2, "keys": (1, 1)}, False),
            ("a\r\nb", {"newline": "\r\n"}, True),
            ("b\ra", {"newline": "\r"}, False),
            ("x,2\ny,10\n", {"csv": True, "keys": 2}, False),
            ("x,2\ny,10", {"csv": True, "keys": Key(2, numeric=True)}, True),
            ("z,1\nz,0\ny,1\n", {"csv": True, "keys": Key(1, descending=True)}, True),
            ("n\n2\n1\n", {"csv": True, "header": True}, False),
            ("n\n1\n2", {"csv": True, "header": True, "keys": "n"}, True),
            ("n\n", {"csv": True, "header": True}, True),
            ("n", {"csv": True, "header": True}, True),
            ("", {"csv": True, "header": True, "keys": "n"}, True),
            ("b\na\n", {"memory": "16M"}, False),
            ("a,\nb,\n,\n", {"csv": True, "keys": 1, "empty_last": True}, True),
        ]:
            with self.subTest(data=data, options=options):
                self.assertIs(self.is_sorted(self.write("in", data), **options), expected)
        self.assertEqual(os.listdir(), ["in"])

    def test_is_sorted_of_several(self):
        good, bad = self.write("good", "b\nc\n"), self.write("bad", "b\na\n")
        self.assertTrue(self.is_sorted([good, self.write("first", "a\n")]), "each by itself")
        self.assertFalse(self.is_sorted([good, bad]))
        self.assertFalse(self.is_sorted([bad, good]))
        options = {"csv": True, "header": True, "keys": Key("n", descending=True)}
        named = [self.write("x", "n,m\n2,1\n1,2\n"), self.write("y", "m,n\n1,2\n2,1\n"), self.write("e", "")]
        self.assertTrue(self.is_sorted(named, **options), "by a column of its own each")
        self.assertFalse(self.is_sorted([*named, self.write("z", "m,n\n2,1\n1,2\n")], **options))

    def test_is_sorted_of_what_a_sort_would_drop(self):
        with self.assertRaisesRegex(ValueError, "too short"):
            self.is_sorted(self.write("in", "a\nbb\n"), keys=(0, 3))
        with self.assertRaisesRegex(ValueError, "quote of 'in' is not closed"):
            self.is_sorted(self.write("in", 'a\n"b\n'), csv=True, complete=False)
        with self.assertRaises(SortError):
            self.is_sorted("none")

    def test_is_sorted_of_more_than_a_piece(self):
        lines = b"".join(b"%07d\n" % i for i in range(400000))
        self.assertTrue(self.is_sorted(self.write("in", lines)))
        self.assertFalse(self.is_sorted(self.write("in", lines + b"0000000")))


class InChild(Both, BoxTest):
    in_process = False

    def test_needs_an_interpreter(self):
        with mock.patch("sys.executable", ""), self.assertRaisesRegex(RuntimeError, "in_process=True"):
            self.sort(self.write("in", "a\n"))

    def test_an_interpreter_that_cannot_be_started(self):
        with mock.patch("sys.executable", "/none"), self.assertRaisesRegex(SortError, "/none"):
            self.sort(self.write("in", "a\n"))


class InProcess(Both, BoxTest):
    in_process = True

    def test_standard_error_is_back_afterwards(self):
        reader, writer = os.pipe()
        kept = os.dup(2)
        os.dup2(writer, 2)
        self.sort(self.write("in", "b\na\n"))
        with self.assertRaises(SortError):
            self.sort("none")
        os.write(2, b"here")
        os.dup2(kept, 2)
        for descriptor in kept, writer:
            os.close(descriptor)
        with open(reader, "rb") as said:
            self.assertEqual(said.read(), b"here")


class Error(unittest.TestCase):
    def test_text_and_copy(self):
        error = SortError(1, ["☆ One!", "☆ Two!"])
        self.assertEqual(str(error), "the sort failed with status 1: One!; Two!")
        self.assertEqual((error.status, error.messages), (1, ("☆ One!", "☆ Two!")))
        self.assertEqual(str(SortError(1)), "the sort failed with status 1")
        self.assertEqual(str(SortError(-9)), "the sort ended by signal 9")
        copy = pickle.loads(pickle.dumps(error))
        self.assertEqual((copy.status, copy.messages, str(copy)), (1, error.messages, str(error)))


if __name__ == "__main__":
    unittest.main()
