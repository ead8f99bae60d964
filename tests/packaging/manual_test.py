"""manual_test.py ROOT COMMAND: the examples of the manuals do what they say."""

import csv
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import manual

ROOT, COMMAND = (os.path.abspath(argument) for argument in sys.argv[1:3])
del sys.argv[1:3]

PAGES = ["man/orkan.1", "man/ja/orkan.1"]
BANNERS = ["☆ orkan start...", "☆ orkan end."]


def descending(key):
    return bytes(255 - byte for byte in key)


class Languages(unittest.TestCase):
    def test_both_languages_have_the_same_examples(self):
        english, japanese = (manual.examples(os.path.join(ROOT, page)) for page in PAGES)
        self.assertEqual(len(english), 7)
        self.assertEqual(english, japanese)

    def test_both_languages_show_each_rule_of_complete_mode(self):
        shown = []
        for page in PAGES:
            with open(os.path.join(ROOT, page), encoding="utf-8") as file:
                rules = file.read().split(".Sh COMPLETE MODE", 1)[1].split(".El", 1)[0]
            shown.append([line for line in rules.splitlines() if line.startswith(".Dl ")])
            self.assertEqual(len(shown[-1]), rules.count(".It\n"))
        self.assertEqual(*shown)


class Examples(unittest.TestCase):
    """Each runs as it stands, in a folder that has the files it names."""

    @classmethod
    def setUpClass(cls):
        cls.examples = manual.examples(os.path.join(ROOT, PAGES[0]))

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.box = folder.name
        os.mkdir(os.path.join(self.box, "bin"))
        os.symlink(COMMAND, os.path.join(self.box, "bin", "orkan"))

    def read(self, name):
        with open(os.path.join(self.box, name), "rb") as file:
            return file.read()

    def write(self, name, data):
        with open(os.path.join(self.box, name), "wb") as file:
            file.write(data)
        return data

    def sample(self, name):
        shutil.copy(os.path.join(ROOT, "examples", name), self.box)
        return self.read(name)

    def run_example(self, *words):
        """Runs the one example that has these words, and makes sure that each of its commands is content."""
        found = [text for text in self.examples if all(word in text for word in words)]
        self.assertEqual(len(found), 1)
        path = f"{self.box}/bin:{os.environ['PATH']}"
        run = subprocess.run(
            ["sh", "-e", "-c", found[0]],
            cwd=self.box,
            env={**os.environ, "PATH": path, "LANG": "C"},
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            check=True,
        )
        # Without star: how long a merge took to release its memory.
        said = [line for line in run.stderr.decode().splitlines() if line.startswith("☆")]
        self.assertEqual(said, BANNERS * found[0].count("orkan -"))

    def test_fixed_length(self):
        data = self.sample("orders.dat")
        self.run_example("orders.dat")
        sorted_data = self.read("sorted.dat")
        records, output = ([text[i : i + 100] for i in range(0, len(text), 100)] for text in (data, sorted_data))
        keys = [(record[:10], descending(record[10:20])) for record in output]
        self.assertTrue(sorted(records) == sorted(output))
        self.assertTrue(keys == sorted(keys))

    def test_lines(self):
        lines = self.sample("access.log").splitlines(keepends=True)
        self.run_example("short.log")
        kept = [line for line in lines if len(line) >= 19]
        self.assertGreater(len(lines), len(kept))
        self.assertTrue(self.read("sorted.log") == b"".join(sorted(kept, key=lambda line: line[:19])))
        self.assertEqual(
            sorted(self.read("short.log").splitlines()), sorted(line.rstrip() for line in lines if len(line) < 19)
        )

    def test_csv(self):
        self.sample("customers.csv")
        self.run_example("customers.csv")
        tables = []
        for name in ("customers.csv", "sorted.csv"):
            with open(os.path.join(self.box, name), newline="", encoding="utf-8") as file:
                tables.append(list(csv.reader(file)))
        keys = [(row[5].encode(), -int(row[6] or 0)) for row in tables[1][1:]]
        self.assertEqual(tables[0][0], tables[1][0])
        self.assertTrue(sorted(tables[0]) == sorted(tables[1]))
        self.assertTrue(keys == sorted(keys))

    def test_headers_of_several_inputs(self):
        rows = [b"%d,name,%d\n" % (i, i * 7 % 10) for i in range(10)]
        self.write("one.csv", b"id,what,key\n" + b"".join(rows[:5]))
        self.write("two.csv", b"id,what,key\n" + b"".join(rows[5:]))
        self.run_example("ORKAN_COMPLETE")
        expected = sorted(rows, key=lambda row: row.split(b",")[2])
        self.assertTrue(self.read("all.csv") == b"id,what,key\n" + b"".join(expected))

    def test_pipe(self):
        lines = self.sample("access.log").splitlines(keepends=True)
        self.run_example("unique.log")
        self.assertTrue(self.read("unique.log") == b"".join(sorted(set(lines), reverse=True)))

    def test_merge(self):
        lines = self.sample("access.log").splitlines(keepends=True)
        self.write("one.log", b"".join(lines[::2]))
        self.write("two.log", b"".join(lines[1::2]))
        self.run_example("-M")
        self.assertTrue(self.read("both.sorted") == b"".join(sorted(lines)))

    def test_tabs_and_hyphens(self):
        rows = [b"%d\tname %d\r\n" % (i, i * 7 % 10) for i in range(10)]
        self.write("-people.tsv", b"".join(rows))
        self.run_example("people.tsv")
        self.assertTrue(self.read("by-name.tsv") == b"".join(sorted(rows, key=lambda row: row.split(b"\t")[1])))


if __name__ == "__main__":
    unittest.main()
