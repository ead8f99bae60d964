"""docs_test.py PAGE: runs every block of the page's code, one after the other in one folder, and compares what it
prints with the text block that follows."""

import contextlib
import io
import os
import re
import subprocess
import sys

from support import BoxTest

PAGE = os.path.abspath(sys.argv[1])
del sys.argv[1:2]

# Run by install_test.py.
INSTALLATION = "pip install --no-build-isolation .\n"


class Page(BoxTest):
    def setUp(self):
        super().setUp()
        programs = os.path.join(os.path.dirname(self.folder), "programs")
        os.mkdir(programs)
        self.write(os.path.join(programs, "python3"), f'#!/bin/sh\nexec "{sys.executable}" "$@"\n')
        os.chmod(os.path.join(programs, "python3"), 0o755)
        self.environment = {**os.environ, "PATH": programs + ":" + os.environ["PATH"]}
        self.names = {}

    def run_block(self, language, code):
        if language == "sh":
            command = ["sh", "-ec", code]
            return subprocess.run(command, env=self.environment, capture_output=True, check=True).stdout.decode()
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            exec(compile(code, PAGE, "exec"), self.names)
        return printed.getvalue()

    def test_every_block(self):
        with open(PAGE, encoding="utf-8") as page:
            blocks = re.findall(r"^```(\w+)\n(.*?)^```$", page.read(), re.MULTILINE | re.DOTALL)
        printed, runs = "", 0
        for language, text in blocks:
            if language == "text":
                self.assertEqual(printed.strip(), text.strip())
                printed = ""
            elif text != INSTALLATION:
                self.assertEqual(printed.strip(), "", "printed, but not on the page")
                self.assertIn(language, ("python", "sh"))
                printed = self.run_block(language, text)
                runs += 1
        self.assertEqual(printed.strip(), "", "printed, but not on the page")
        self.assertGreater(runs, 5)


if __name__ == "__main__":
    import unittest

    unittest.main()
