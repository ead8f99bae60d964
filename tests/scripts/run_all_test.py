"""run_all_test.py RUN_ALL COMMAND: pages with and without faults, and whether run_all notices."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

RUN_ALL, COMMAND = sys.argv[1], os.path.abspath(sys.argv[2])

RIGHT = """
```console
$ printf 'b\\na\\n' | orkan -A
a
b
```
"""


def console(*lines: str) -> str:
    return "\n".join(("```console", *lines, "```", ""))


class RunAll(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def check(self, text: str, command: str = COMMAND) -> tuple[int, str]:
        page = self.folder / "page.md"
        page.write_text(text, encoding="utf-8")
        environment = {**os.environ, "ORKAN": command, "MARK": str(self.folder / "mark")}
        ended = subprocess.run(
            [RUN_ALL, page], env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False
        )
        return ended.returncode, ended.stdout

    def assert_right(self, text: str) -> str:
        status, output = self.check(text)
        self.assertEqual(status, 0, output)
        return output

    def assert_wrong(self, text: str, message: str) -> None:
        status, output = self.check(text)
        self.assertEqual(status, 1, output)
        self.assertIn(message, output)

    def test_right_output(self) -> None:
        self.assertIn("page.md: 1 run, 0 marked no-run, 0 other blocks", self.assert_right(RIGHT))

    def test_wrong_output(self) -> None:
        self.assert_wrong(RIGHT.replace("a\nb\n", "a\nc\n"), "-c\n    +b")

    def test_order_of_lines(self) -> None:
        self.assert_wrong(RIGHT.replace("a\nb\n", "b\na\n"), "page.md:3: printf")

    def test_too_much_and_too_little_output(self) -> None:
        self.assert_wrong(RIGHT.replace("a\nb\n", "a\nb\nb\n"), "-b")
        self.assert_wrong(RIGHT.replace("a\nb\n", "a\n"), "+b")
        self.assert_wrong(RIGHT.replace("a\nb\n", ""), "+a")

    def test_a_missing_line_end(self) -> None:
        self.assert_wrong(console("$ printf a", "a"), "the last line has no end")

    def test_the_second_command_of_a_block(self) -> None:
        self.assert_wrong(console("$ echo 1", "1", "$ echo 2", "3"), "page.md:4: echo 2")

    def test_status(self) -> None:
        self.assert_wrong(console("$ echo why >&2; false"), "status 1\n    why")
        self.assert_right(console("$ orkan missing; echo status $?", "status 1"))

    def test_messages_only_where_asked_for(self) -> None:
        self.assert_right(console("$ orkan missing 2>&1 | grep stat", "☆ Failed to stat input file 1 [missing]!"))

    def test_several_lines_and_here_documents(self) -> None:
        self.assert_right(console("$ cat <<END |", "> two", "> ", "> lines", "> END", "> wc -l", "3"))

    def test_files(self) -> None:
        self.assert_right("```text file=words\nb\na\n```\n" + console("$ orkan words", "a", "b"))

    def test_the_data_is_there_and_a_copy(self) -> None:
        self.assert_right(console("$ ls orders.dat fixed.sh; rm orders.dat", "fixed.sh", "orders.dat"))
        self.assertTrue((Path(RUN_ALL).parent / "orders.dat").exists())

    def test_marked_blocks_do_not_run(self) -> None:
        marked = "```sh no-run\ntouch $MARK\n```\n```console no-run\n$ touch $MARK\n```\n"
        self.assertIn("1 run, 2 marked no-run", self.assert_right(RIGHT + marked))
        self.assertFalse((self.folder / "mark").exists())

    def test_unmarked_shell_blocks(self) -> None:
        self.assert_wrong(RIGHT + "```sh\ntrue\n```\n", "`sh no-run`")

    def test_other_languages(self) -> None:
        self.assertIn("1 other blocks", self.assert_right(RIGHT + "```python\nimport this\n```\n"))

    def test_pages_without_examples(self) -> None:
        self.assert_wrong("# Nothing\n", "no example was run")
        self.assert_wrong("```sh no-run\ntrue\n```\n", "no example was run")
        exempt = "<!-- run_all: nothing to run -->\n"
        self.assert_right(exempt)
        self.assertIn("0 run, 0 marked no-run, 1 other blocks", self.assert_right(exempt + "```sh\nfalse\n```\n"))
        self.assert_wrong(exempt + RIGHT, "an example, although")

    def test_broken_blocks(self) -> None:
        self.assert_wrong("```console\n$ true\n", "does not end")
        self.assert_wrong(RIGHT + "- an item\n\n  ```console\n  $ false\n  ```\n", "an indented block")
        self.assert_wrong(console("a"), "output without a command")

    def test_temporary_files_left_behind(self) -> None:
        self.assert_wrong(console("$ touch $TMPDIR/orkan_1.tmp"), "left behind: ['orkan_1.tmp']")

    def test_no_command(self) -> None:
        status, output = self.check(RIGHT, command="/nowhere/orkan")
        self.assertEqual(status, 1)
        self.assertIn("/nowhere/orkan is not there", output)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
