"""memory_test.py: every refused allocation of the module is a MemoryError that leaves nothing behind. Run with the
library refuse_memory preloaded."""

import ctypes
import os
import tempfile
import unittest

import _orkan

hooks = ctypes.CDLL(None)


class Memory(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        assert hooks.watch(b"/_orkan.") == 1

    def call(self, arguments, refuse=0):
        """Status or exception, allocations made, blocks left."""
        before = hooks.blocks_held()
        hooks.refuse(refuse)
        try:
            result = _orkan.orkan(arguments)
        except (MemoryError, TypeError) as error:
            result = type(error)
        made = hooks.requests_made()
        return result, made, hooks.blocks_held() - before

    def test_a_run_gives_everything_back(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "in")
            with open(path, "w", encoding="ascii") as file:
                file.write("b\na\n")
            arguments = ["-T", folder, "-O", path + ".out", path]
            self.assertEqual(self.call(arguments), (0, 2 + len(arguments), 0))
        self.assertEqual(self.call(["--help"]), (1, 3, 0))

    def test_each_refused_allocation(self):
        arguments = ["--help", "second", "dritte", "四"]
        for number in range(1, 2 + len(arguments) + 1):
            self.assertEqual(self.call(arguments, number), (MemoryError, number, 0))
        self.assertEqual(self.call(arguments), (1, 2 + len(arguments), 0))

    def test_a_text_that_cannot_be_converted(self):
        self.assertEqual(self.call(["first", "\ud800", "third"]), (MemoryError, 3, 0))

    def test_an_item_that_is_no_text(self):
        self.assertEqual(self.call(["first", 7, "third"]), (TypeError, 3, 0))

    def test_something_that_is_no_list(self):
        self.assertEqual(self.call(()), (TypeError, 0, 0))


if __name__ == "__main__":
    unittest.main()
