"""arguments_test.py: what orkan.sort refuses before anything is run, and what it hands over so that nothing is read as
something else."""

import enum
import itertools
import os
import unittest
from unittest import mock

import orkan
from orkan import Key
from orkan import _run, _sort
from support import BoxTest


class Refused(BoxTest):
    """Each is an exception of its own kind, and no run is started and no file made."""

    def expect(self, exception, message, *arguments, **options):
        with self.subTest(message=message, arguments=arguments, options=options):
            before = {name: os.lstat(name) for name in os.listdir()}
            with mock.patch.object(_run, "_in_child") as child, self.assertRaisesRegex(exception, message):
                orkan.sort(*arguments, temp_dir=options.pop("temp_dir", self.temp), **options)
            child.assert_not_called()
            self.assertEqual({name: os.lstat(name).st_mtime_ns for name in os.listdir()},
                             {name: status.st_mtime_ns for name, status in before.items()})

    def setUp(self):
        super().setUp()
        self.write("in", "b\na\n")
        self.write("in.csv", 'id,"a ""b""",id 2\n2,x,1\n1,y,2\n')

    def test_texts_that_do_not_reach_the_library(self):
        for text in ["in\0side", "\ud800", "in\udcff"]:
            self.expect(ValueError, "^inputs: ", text)
            self.expect(ValueError, "^inputs: ", ["in", text])
            self.expect(ValueError, "^output: ", "in", text)
            self.expect(ValueError, "^errors: ", "in", errors=text)
            self.expect(ValueError, "^temp_dir: ", "in", temp_dir=text)
            self.expect(ValueError, "^delimiter: ", "in", csv=True, delimiter=text)
            with self.assertRaisesRegex(ValueError, "^column: "):
                Key(text)
        self.expect(ValueError, "^inputs: .*UTF-8", b"in\xff")

    def test_paths_that_another_encoding_would_change(self):
        with mock.patch("os.fsencode", lambda text: text.encode("latin-1")):
            self.expect(ValueError, "^inputs: .*file system encoding", "ü")

    def test_no_paths(self):
        self.expect(ValueError, "^inputs: there are none", [])
        self.expect(ValueError, "^inputs: an empty path", "")
        self.expect(ValueError, "^inputs: an empty path", ["in", b""])
        self.expect(ValueError, "^output: an empty path", "in", "")
        self.expect(ValueError, "^errors: an empty path", "in", errors="")
        self.expect(ValueError, "^temp_dir: an empty path", "in", temp_dir="")
        for other in None, 7, [7], [None], 1.5:
            self.expect(TypeError, "", other)
        self.expect(TypeError, "", "in", 1)

    def test_blanks_that_would_be_lost(self):
        for blank in " \t\n\v\f\r":
            self.expect(ValueError, "^output: white space at the end", "in", "out" + blank)
            self.expect(ValueError, "^errors: white space at the end", "in", errors="out" + blank)
        for delimiter in "", " ", "  ", " ;", "; ", "\v", "\t\t", "\t;":
            self.expect(ValueError, "^delimiter: empty or with white space", "in", csv=True, delimiter=delimiter)

    def test_delimiters_that_mean_something_else(self):
        self.expect(ValueError, "^delimiter: .* read as a tab", "in", csv=True, delimiter="\\t")
        for delimiter in '"', ';"', "a\nb", "a\rb":
            self.expect(ValueError, "^delimiter: a quote or a newline", "in", csv=True, delimiter=delimiter)
        for delimiter in None, [","], 7, b",":
            self.expect(TypeError, "^delimiter must be a text", "in", csv=True, delimiter=delimiter)

    def test_newlines(self):
        for newline in "", "\\n", "\n\n", "\n\r", "n", None:
            self.expect(ValueError, "^newline must be", "in", newline=newline)

    def test_options_of_another_format(self):
        for options in {"header": True}, {"empty_last": True}, {"delimiter": ";"}:
            self.expect(ValueError, "for csv=True", "in", **options)
        for options in {"csv": True}, {"newline": "\r\n"}:
            self.expect(ValueError, "^record_length: ", "in", record_length=4, **options)

    def test_numbers(self):
        for number in 0, -1, 2**63:
            self.expect(ValueError, "^record_length must be from 1", "in", record_length=number)
        for number in True, 4.0, "4":
            self.expect(TypeError, "^record_length must be an integer", "in", record_length=number)

    def test_memory(self):
        for memory in 16 * 1024 * 1024 - 1, 2**31, -1, "15M", "16383K", "2048M", "0", "1":
            self.expect(ValueError, "^memory must be from", "in", memory=memory)
        for memory in "", "M", "64MB", "64 M", " 64M", "64M ", "-64M", "+64M", "6_4M", "٦٤M", "1e9", "1G", "64M\n":
            self.expect(ValueError, "^memory must be a number", "in", memory=memory)
        for memory in True, 64e6, b"64M":
            self.expect(TypeError, "^memory must be an integer", "in", memory=memory)
        with self.assertRaisesRegex(ValueError, "^memory must be from"):
            orkan.is_sorted("in", memory="15M", temp_dir=self.temp)

    def test_flags_are_true_or_false(self):
        flags = ["csv", "header", "stable", "unique", "reverse", "empty_last", "merge", "complete", "in_process"]
        for flag in flags:
            for value in 1, "no", None:
                self.expect(TypeError, f"^{flag} must be True or False", "in", **{flag: value})

    def test_keys_of_another_format(self):
        self.expect(ValueError, "CSV needs columns", "in.csv", csv=True, keys=(1, 2))
        self.expect(ValueError, "CSV needs columns", "in.csv", csv=True, keys=[1, Key(position=1, length=2)])
        for key in 1, "id", Key(1):
            self.expect(ValueError, "a column needs csv=True", "in", keys=key)
        self.expect(ValueError, "needs header=True", "in.csv", csv=True, keys="id")
        self.expect(ValueError, "behind the record's 10 bytes", "in", record_length=10, keys=[(0, 10), (1, 10)])

    def test_names_in_the_header(self):
        options = {"csv": True, "header": True}
        for name in "none", "", "ID", "id ", '"id"', "a b", 'a ""b""':
            known = r"no column named .* which has 'id', 'a \"b\"', 'id 2'"
            self.expect(ValueError, known, "in.csv", keys=name, **options)
        self.write("twice", "a,b,a\n")
        self.expect(ValueError, "several columns named 'a'", "twice", keys="a", **options)
        self.expect(ValueError, "two keys on one column", "in.csv", keys=["id", 2, 1], complete=False, **options)
        self.expect(ValueError, "two keys on one column", "in.csv", csv=True, keys=[1, Key(1, descending=True)], complete=False)
        self.write("other", "id 2,id\n")
        self.expect(ValueError, "'id' is another column in another input", ["in.csv", "other"], keys="id", **options)

    def test_names_in_the_headers_of_empty_inputs(self):
        options = {"csv": True, "header": True, "keys": "id"}
        self.write("empty", "")
        self.expect(ValueError, "no column named 'id' in 'empty', which has no header", "empty", **options)
        self.expect(ValueError, "in 'empty', which has no header", ["in.csv", "empty"], complete=False, **options)
        self.expect(ValueError, "in 'blank', which has ''", ["in.csv", self.write("blank", "\n")], **options)

    def test_a_header_that_may_go_on(self):
        for header, keys in itertools.product(['id,"two\nlines"\n', 'id,5" size\n'], [None, 1, "id"]):
            self.write("in.csv", header + "2,x\n1,y\n")
            message = "the first line of 'in.csv' has an unpaired quote"
            self.expect(ValueError, message, "in.csv", csv=True, header=True, keys=keys)

    def test_a_merge_of_headers(self):
        self.expect(ValueError, "takes a header for a record", "in.csv", csv=True, header=True, merge=True, complete=False)

    def test_files_that_are_one(self):
        os.link("in", "hard link")
        os.symlink("in", "soft link")
        for path in "in", "./in", "hard link", "soft link", os.path.abspath("in"), b"in":
            self.expect(ValueError, "^output: a merge reads", ["in.csv", "in"], path, merge=True)
            self.expect(ValueError, "^errors: .* is an input", ["in.csv", "in"], "out", errors=path)
        for path in "new", "./new", os.path.abspath("new"):
            self.expect(ValueError, "^errors: .* is the output", "in", "new", errors=path)
        os.symlink("new", "link to nothing yet")
        self.expect(ValueError, "^errors: .* is the output", "in", "new", errors="link to nothing yet")

    def test_inputs_that_would_run_into_each_other(self):
        for data, options in [("a\nb", {}), ("a\n", {"newline": "\r\n"}), ("a,b", {"csv": True})]:
            self.write("open", data)
            self.expect(ValueError, "'open' does not end in a newline", ["open", "in"], complete=False, **options)

    def test_only_the_first_two_arguments_have_no_name(self):
        with self.assertRaises(TypeError):
            orkan.sort("in", "out", (0, 1))
        with self.assertRaises(TypeError):
            orkan.is_sorted("in", (0, 1))
        with self.assertRaises(TypeError):
            orkan.sort("in", no_such_option=True)


class HandedOver(BoxTest):
    """Names that look like something else are names."""

    def test_names_like_options(self):
        for name in "-A", "-Verbose", "--help", "--", "-", "-K", "-Q", "-V", " blank", "blank ", "\n", "%s%n", "'\"":
            with self.subTest(name):
                self.write(name, "b\na\n")
                self.assertEqual(orkan.sort(name, temp_dir=self.temp), b"a\nb\n")
                os.remove(name)

    def test_outputs_like_options(self):
        self.write("in", "b\nlong\n")
        for name in "-A", "-Verbose", "--help", "--", "-", "  blank", "\tblank", "x  y":
            with self.subTest(name):
                orkan.sort("in", name, keys=(0, 4), errors=name + "e", temp_dir=self.temp)
                self.assertEqual((self.read(name), self.read(name + "e")), (b"long\n", b"b\n"))
                os.remove(name)
                os.remove(name + "e")

    def test_folders_like_options(self):
        self.write("in", "b\na\n")
        for name in "-A", " blank ", "日本":
            folder = os.path.join(self.temp, name)
            os.mkdir(folder)
            self.assertEqual(orkan.sort("in", temp_dir=folder), b"a\nb\n")
            os.chdir(self.temp)
            self.assertEqual(orkan.sort(os.path.join(self.folder, "in"), temp_dir=name), b"a\nb\n")
            os.chdir(self.folder)
            os.rmdir(folder)

    def test_without_a_folder_the_system_s(self):
        self.write("in", "b\na\n")
        with mock.patch("tempfile.gettempdir", lambda: self.temp), mock.patch.dict(os.environ):
            os.environ.pop("TMPDIR", None)
            self.assertEqual(orkan.sort("in"), b"a\nb\n")
        with mock.patch("tempfile.gettempdir", lambda: "/none"), self.assertRaisesRegex(orkan.SortError, "/none"):
            orkan.sort("in")

    def test_names_in_the_header(self):
        rows = "2,5,a\n1,6,b\n"
        for header, delimiter, name in [
            ("x,id,z", ",", "id"),
            ('x,"id",z', ",", "id"),
            ('x,"i""d",z', ",", 'i"d'),
            ('"x,y",id,z', ",", "id"),
            ('z,"x,y","b,c"', ",", "x,y"),
            ('""",""",id,z', ",", "id"),
            ("x,,z", ",", ""),
            ("x, id ,z", ",", " id "),
            ("x;;id;;z", ";;", "id"),
            ("x\tid\tz", "\t", "id"),
            ("x,見出し,z", ",", "見出し"),
            ("id\u00df,id,z", ",", "id"),
        ]:
            with self.subTest(header):
                data = header + "\n" + rows.replace(",", delimiter)
                options = {"csv": True, "header": True, "delimiter": delimiter, "temp_dir": self.temp}
                by_name = orkan.sort(self.write("in", data), keys=Key(name, descending=True), **options)
                self.assertEqual(by_name.decode(), header + "\n" + "".join(reversed(data.splitlines(True)[1:])))

    def test_headers_with_a_byte_order_mark_or_another_newline(self):
        options = {"csv": True, "header": True, "keys": Key("id", numeric=True), "temp_dir": self.temp}
        data = self.write("in", "\ufeffid,x\n10,a\n9,b\n")
        self.assertEqual(orkan.sort(data, **options).decode(), "\ufeffid,x\n9,b\n10,a\n")
        data = self.write("in", 'x,"two\nlines",id\r\na,,10\r\nb,,9\r\n')
        self.assertEqual(orkan.sort(data, newline="\r\n", **options), b'x,"two\nlines",id\r\nb,,9\r\na,,10\r\n')

    def test_several_headers(self):
        self.write("x", "id,n\nb,2\n")
        self.write("y", "id,m\na,3\n")
        options = {"csv": True, "header": True, "keys": "id", "temp_dir": self.temp}
        self.assertEqual(orkan.sort(["x", "y"], **options), b"id,n\na,3\nb,2\n")
        self.write("empty", "")
        for inputs in ["x", "y", "empty"], ["x", "empty", "y"], ["empty", "x", "y"]:
            self.assertEqual(orkan.sort(inputs, **options), b"id,n\na,3\nb,2\n", inputs)

    def test_numbers_that_have_names(self):
        class Number(int, enum.Enum):
            ONE = 1
            TWO = 2
            MEMORY = 2**24

        self.write("in", "b1\na2\n")
        self.write("in.csv", "a,2\nb,1\n")
        options = {"memory": Number.MEMORY, "temp_dir": self.temp}
        for keys in Number.TWO, [Number.TWO, Number.ONE], Key(Number.TWO):
            self.assertEqual(orkan.sort("in.csv", csv=True, keys=keys, **options), b"b,1\na,2\n")
        for key in Key(position=0, length=Number.ONE), Key(position=0, length=Number.TWO):
            self.assertEqual(orkan.sort("in", keys=key, **options), b"a2\nb1\n")
        self.assertEqual(orkan.sort("in", keys=(Number.ONE, Number.ONE), **options), b"b1\na2\n")
        self.assertEqual(orkan.sort(self.write("fixed", "2413"), record_length=Number.TWO, **options), b"1324")

    def test_memory_for_is_sorted(self):
        self.write("in", "a\nb\n")
        with mock.patch.object(_sort, "run", wraps=_run.run) as run:
            self.assertTrue(orkan.is_sorted("in", memory="32M", temp_dir=self.temp))
        arguments = run.call_args.args[0]
        self.assertEqual(arguments[arguments.index("-W") + 1], str(32 * 1024 * 1024))


class Keys(unittest.TestCase):
    def test_refused(self):
        for exception, arguments, options in [
            (ValueError, (), {}),
            (ValueError, (1,), {"position": 0, "length": 1}),
            (ValueError, (1,), {"length": 1}),
            (ValueError, (), {"position": 0}),
            (ValueError, (), {"length": 1}),
            (ValueError, (0,), {}),
            (ValueError, (-1,), {}),
            (ValueError, (2**31,), {}),
            (ValueError, (), {"position": -1, "length": 1}),
            (ValueError, (), {"position": 0, "length": 0}),
            (ValueError, (), {"position": 2**31 - 1, "length": 1}),
            (TypeError, (True,), {}),
            (TypeError, (1.0,), {}),
            (TypeError, (b"id",), {}),
            (TypeError, (), {"position": False, "length": 1}),
            (TypeError, (), {"position": 0, "length": True}),
            (TypeError, (), {"position": "0", "length": 1}),
            (TypeError, (1,), {"numeric": 1}),
            (TypeError, (1,), {"descending": "d"}),
            (TypeError, (1, 2), {}),
        ]:
            with self.subTest(arguments=arguments, options=options), self.assertRaises(exception):
                Key(*arguments, **options)

    def test_what_is_no_key(self):
        for keys in [True, 1.5, b"id", object(), [None], [1.5], [b"id"], [(0, 1, 2)], (True, 1), [["id"]]]:
            with self.subTest(keys), self.assertRaises(TypeError):
                orkan.sort("in", csv=True, header=True, keys=keys)

    def test_a_value(self):
        self.assertEqual(Key(3, numeric=True), Key(column=3, numeric=True))
        self.assertNotEqual(Key(3), Key("3"))
        self.assertEqual(len({Key(1), Key(1), Key(2)}), 2)
        with self.assertRaises(AttributeError):
            Key(1).column = 2


if __name__ == "__main__":
    unittest.main()
