"""hardening_flags_test.py COMPILE_COMMANDS BUILD_TYPE SANITIZERS TEST_PROGRAM: each source is compiled with what
cmake/hardening.cmake asks for, and those of the tests with the checks of the standard library. What no symbol of a
binary shows is asked of the compiler, once for each set of flags that the build has."""

import json
import shlex
import subprocess
import sys
import unittest
from pathlib import Path

COMMANDS, BUILD_TYPE, SANITIZERS, TEST_PROGRAM = sys.argv[1:5]
del sys.argv[1:5]

HARDENED = Path(__file__).parent / "hardened.h"
TREE = HARDENED.parent.parent.parent
# Compiled from the tests' folder, but loaded into the ordinary product.
LOADED_BY_TESTS = TREE / "tests" / "module" / "refuse_memory.cpp"


class Command:
    """A line of the build: what it compiles, for which target, and how."""

    def __init__(self, entry: dict[str, str]) -> None:
        words = shlex.split(entry["command"])
        output, source = words.index("-o"), words.index("-c")
        self.source = Path(entry["file"])
        self.target = next(part for part in Path(words[output + 1]).parts if part.endswith(".dir"))
        self.folder = entry["directory"]
        self.compiler = tuple(words[: min(output, source)])


def commands() -> list[Command]:
    with open(COMMANDS, encoding="utf-8") as file:
        return [Command(entry) for entry in json.load(file)]


def of_tests(command: Command) -> bool:
    folder = command.source.relative_to(TREE).parts[0]
    with_hooks = command.target == "orkan_internals.dir"
    return with_hooks or folder in ("tests", "fuzz") and command.source != LOADED_BY_TESTS


class Flags(unittest.TestCase):
    def test_product_and_tests_are_both_seen(self) -> None:
        sources = set((TREE / "src").rglob("*.cpp"))
        self.assertNotEqual(sources, set())
        for wanted in (False, True):
            seen = {command.source for command in commands() if of_tests(command) == wanted}
            self.assertEqual(sources - seen, set(), "tests" if wanted else "product")

    def test_sources_are_hardened(self) -> None:
        if SANITIZERS:  # they notice more than canaries and checked copies do
            without = {command.source for command in commands() if f"-fsanitize={SANITIZERS}" not in command.compiler}
            self.assertEqual(without, set())
            return
        check = ["-fsyntax-only", "-include", str(HARDENED), "-x", "c++", "/dev/null"]
        if BUILD_TYPE == "Debug":
            check.append("-DNOT_OPTIMISED")
        for compiler, folder in {(command.compiler, command.folder) for command in commands()}:
            with self.subTest(" ".join(compiler)):
                run = subprocess.run([*compiler, *check], cwd=folder, capture_output=True, text=True, check=False)
                self.assertEqual((run.returncode, run.stderr), (0, ""))

    def test_standard_library_is_checked_in_the_tests(self) -> None:
        unchecked = {command.source for command in commands()
                     if of_tests(command) and "-D_GLIBCXX_ASSERTIONS" not in command.compiler}
        self.assertEqual(unchecked, set())
        symbols = subprocess.check_output(["readelf", "--dyn-syms", "-W", TEST_PROGRAM], text=True)
        self.assertIn("__glibcxx_assert_fail", symbols)


if __name__ == "__main__":
    unittest.main()
