"""raw_test.py: the module's own function: list of strings in, status out."""

import os
import sys
import threading
import unittest

import _orkan
import orkan
from support import BoxTest, echo_of, python

CALL = "import sys, _orkan; print(_orkan.orkan(sys.argv[1:]), flush=True)"


class Raw(BoxTest):
    def test_the_module(self):
        self.assertEqual([name for name in dir(_orkan) if not name.startswith("__")], ["orkan"])
        self.assertIsNone(_orkan.__doc__)
        self.assertEqual(_orkan.orkan.__doc__, "Run orkan with argument list")
        self.assertIs(orkan.raw, _orkan.orkan)

    def test_sorts_and_shows_the_arguments(self):
        self.write("in", "b\na\n")
        arguments = ["-T", self.temp, "-O", "out  ", "in"]
        run = python(CALL, *arguments)
        self.assertEqual(run.stdout, b"0\n")
        self.assertEqual(run.stderr.decode(), echo_of(*arguments) + "☆ orkan start...\n☆ orkan end.\n")
        self.assertEqual(self.read("out"), b"a\nb\n")

    def test_the_list_stays_as_it_is(self):
        self.write("in", "b\na\n")
        arguments = ["-T", f"  {self.temp}  ", "-O", " out ", "in"]
        before = list(arguments)
        self.assertEqual(_orkan.orkan(arguments), 0)
        self.assertEqual(arguments, before)

    def test_a_failure_is_the_status_1(self):
        run = python(CALL, "-T", self.temp, "none")
        self.assertEqual((run.returncode, run.stdout), (0, b"1\n"))
        self.assertIn("☆ Failed to stat input file 1 [none]!\n", run.stderr.decode())

    def test_help_is_the_status_1(self):
        run = python(CALL, "--help")
        self.assertEqual(run.stdout, b"1\n")
        self.assertIn("Specify sort key.", run.stderr.decode())

    def test_no_arguments_sort_standard_input(self):
        run = python(CALL, input=b"b\na\n", env={**os.environ, "TMPDIR": self.temp})
        self.assertEqual(run.stdout, b"a\nb\n0\n")
        self.assertEqual(run.stderr.decode(), echo_of() + "☆ orkan start...\n☆ orkan end.\n")

    def test_empty_standard_input_ends_the_process(self):
        run = python(CALL, env={**os.environ, "TMPDIR": self.temp})
        self.assertEqual((run.returncode, run.stdout), (0, b""))

    def test_an_unknown_option_ends_the_process(self):
        run = python(CALL, "-Q")
        self.assertEqual((run.returncode, run.stdout), (0, b""))
        self.assertTrue(run.stderr.decode().endswith("orkan: : illegal option -- \n"), run.stderr)

    def test_only_a_list(self):
        for other in [(), ("-A",), None, "-A", iter([]), {}]:
            with self.assertRaisesRegex(TypeError, "^argument 1 must be list, not "):
                _orkan.orkan(other)
        for bad in [lambda: _orkan.orkan(), lambda: _orkan.orkan([], []), lambda: _orkan.orkan(list=[])]:
            with self.assertRaises(TypeError):
                bad()

    def test_only_strings_in_it(self):
        program = """
import _orkan
for arguments in [7], ["-A", b"in"], ["-A", None], ["-A", 7, "in"]:
    try:
        _orkan.orkan(arguments)
    except TypeError as error:
        print(error)
"""
        run = python(program)
        self.assertEqual(run.stdout, b"All arguments must be strings\n" * 4)
        self.assertEqual(run.stderr, b"", "nothing is shown before the arguments are complete")

    def test_strings_and_lists_of_other_types(self):
        class Text(str):
            pass

        class List(list):
            pass

        self.write("in", "b\na\n")
        self.assertEqual(_orkan.orkan(List([Text("-T"), self.temp, "-O", Text("out"), "in"])), 0)
        self.assertEqual(self.read("out"), b"a\nb\n")

    def test_what_utf_8_cannot_express_is_no_memory(self):
        for text in ["\ud800", "in\udcff"]:
            with self.assertRaises(MemoryError):
                _orkan.orkan(["-A", text])

    def test_utf_8_reaches_the_files(self):
        name = "入力 ü 𝄞"
        self.write(name, "b\na\n")
        self.assertEqual(_orkan.orkan(["-T", self.temp, "-O", "出力", name]), 0)
        self.assertEqual(self.read("出力"), b"a\nb\n")

    def test_a_nul_ends_the_text(self):
        self.write("in", "b\na\n")
        self.assertEqual(_orkan.orkan(["-T", self.temp, "-O", "out\0more", "in\0side"]), 0)
        self.assertEqual(sorted(os.listdir()), ["in", "out"])

    def test_a_long_text_and_many_texts(self):
        self.write("in", "b\na\n")
        self.assertEqual(_orkan.orkan(["-T", self.temp, "-A"] + ["-S"] * 10000 + ["-O", "out", "in"]), 0)
        self.assertEqual(self.read("out"), b"a\nb\n")
        self.assertEqual(_orkan.orkan(["-T", self.temp, "x" * 1000000]), 1)

    def test_again_and_again(self):
        self.write("in", "b\na\n")
        for _ in range(3):
            self.assertEqual(_orkan.orkan(["-T", self.temp, "none"]), 1)
            self.assertEqual(_orkan.orkan(["-T", self.temp, "-O", "out", "in"]), 0)

    def test_the_lock_is_kept(self):
        """Another thread waits for the interpreter and gets it only when this one gives it away."""
        self.write("in", b"".join(b"%08d\n" % (i * 7919 % 1000003) for i in range(200000)))
        ran, go = [], threading.Lock()
        go.acquire()

        def other():
            with go:
                ran.append(True)

        self.addCleanup(sys.setswitchinterval, sys.getswitchinterval())
        thread = threading.Thread(target=other)
        thread.start()
        sys.setswitchinterval(1000)
        arguments = ["-T", self.temp, "-O", "out", "-A", "in"]
        go.release()
        status = _orkan.orkan(arguments)
        ran_meanwhile = bool(ran)
        sys.setswitchinterval(0.005)
        thread.join()
        self.assertEqual((status, ran_meanwhile, ran), (0, False, [True]))


if __name__ == "__main__":
    unittest.main()
