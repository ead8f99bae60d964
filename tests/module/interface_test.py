"""interface_test.py SOURCE: what the package promises to readers and type checkers: annotations, docstrings, stubs,
one version."""

import ast
import collections.abc
import inspect
import os
import re
import sys
import typing
import unittest

import _orkan
import orkan

SOURCE = os.path.abspath(sys.argv[1])
del sys.argv[1:2]
PACKAGE = os.path.join(SOURCE, "module", "orkan")


def read(*path):
    with open(os.path.join(SOURCE, *path), encoding="utf-8") as file:
        return file.read()


class Interface(unittest.TestCase):
    def test_the_names(self):
        self.assertEqual(orkan.__all__, ["Key", "SortError", "is_sorted", "raw", "sort"])
        for name in orkan.__all__:
            self.assertTrue(getattr(orkan, name).__doc__, name)
        self.assertTrue(os.path.exists(os.path.join(PACKAGE, "py.typed")))

    def test_the_options(self):
        parameters = inspect.signature(orkan.sort).parameters
        self.assertEqual(
            list(parameters),
            "inputs output keys record_length csv delimiter newline header stable unique reverse empty_last merge memory"
            " temp_dir errors complete in_process".split(),
        )
        named = [name for name, parameter in parameters.items() if parameter.kind is parameter.KEYWORD_ONLY]
        self.assertEqual(named, list(parameters)[2:])
        for name in named:
            self.assertRegex(orkan.sort.__doc__, rf"\b{name}\b")
        for name, parameter in inspect.signature(orkan.is_sorted).parameters.items():
            self.assertEqual((parameter.default, parameter.annotation, parameter.kind),
                             (parameters[name].default, parameters[name].annotation, parameters[name].kind), name)

    def test_what_sort_returns(self):
        """Bytes without an output, for type checkers too; the options are the same in each form."""
        forms = [node for node in ast.parse(read("module", "orkan", "_sort.py")).body
                 if isinstance(node, ast.FunctionDef) and node.name == "sort"]
        self.assertEqual([ast.unparse(form.returns) for form in forms], ["bytes", "None", "bytes | None"])
        outputs = [(ast.unparse(form.args.args[1].annotation), len(form.args.defaults)) for form in forms]
        self.assertEqual(outputs, [("None", 1), ("Path", 0), ("Path | None", 1)])
        options = [[ast.unparse(one) for one in form.args.kwonlyargs + form.args.kw_defaults] for form in forms]
        self.assertEqual(options, [options[-1]] * 3)

    def test_annotations_can_be_resolved(self):
        for function in orkan.sort, orkan.is_sorted, orkan.Key.__init__, orkan.SortError.__init__:
            hints = typing.get_type_hints(function)
            expected = [name for name in inspect.signature(function).parameters if name != "self"]
            self.assertEqual([name for name in hints if name != "return"], expected)

    def test_every_function_of_the_package_is_annotated(self):
        for name in sorted(os.listdir(PACKAGE)):
            if not name.endswith(".py") or name == "_worker.py":  # the worker is a program of its own
                continue
            tree = ast.parse(read("module", "orkan", name))
            self.assertTrue(ast.get_docstring(tree), name)
            for node in ast.walk(tree):
                if isinstance(node, ast.FunctionDef):
                    with self.subTest(f"{name}: {node.name}"):
                        self.assertIsNotNone(node.returns)
                        arguments = [*node.args.args, *node.args.kwonlyargs, node.args.kwarg, node.args.vararg]
                        named = [one for one in arguments if one and one.arg != "self"]
                        self.assertEqual([one.arg for one in named if one.annotation is None], [])

    def test_the_raw_call_is_annotated(self):
        """By itself, for an installed module's stub may not be found."""
        self.assertEqual(typing.get_type_hints(orkan)["raw"], collections.abc.Callable[[list[str]], int])

    def test_the_stub_of_the_module(self):
        (function,) = ast.parse(read("module", "_orkan.pyi")).body
        self.assertEqual(function.name, "orkan")
        self.assertEqual(ast.get_docstring(function), _orkan.orkan.__doc__)
        self.assertEqual([argument.arg for argument in function.args.posonlyargs], ["arguments"])
        self.assertEqual((ast.unparse(function.args.posonlyargs[0].annotation), ast.unparse(function.returns)),
                         ("list[str]", "int"))

    def test_one_version(self):
        project = re.search(r"project\(orkan VERSION ([0-9.]+)", read("CMakeLists.txt"))[1]
        self.assertEqual(orkan.__version__, project)


if __name__ == "__main__":
    unittest.main()
