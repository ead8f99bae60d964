"""real_inputs_test.py COMMAND [SHARED]: real text and CSV files, against GNU sort and Python's csv module.

The files are those of any Debian machine; SHARED may name a folder with public CSV tables.
"""

import csv
import glob
import io
import os
import subprocess
import sys
import tempfile
import unicodedata
import unittest

COMMAND = os.path.abspath(sys.argv[1])
SHARED = sys.argv[2] if len(sys.argv) > 2 else ""
del sys.argv[1:]

PATHS = {"in memory": [], "external": ["-W", "1"]}
PLAIN = {**os.environ, "LC_ALL": "C", "LANG": "C"}


def text_files():
    """Name -> bytes: the package database, every path of the installed packages, a word list."""
    with open("/var/lib/dpkg/status", "rb") as file:
        status = file.read()
    listed = b""
    for path in sorted(glob.glob("/var/lib/dpkg/info/*.list")):
        with open(path, "rb") as file:
            listed += file.read()
    try:
        with open("/usr/share/dict/words", "rb") as file:
            words = file.read()
    except FileNotFoundError:
        words = b"\n".join(listed.replace(b"\n", b"/").split(b"/")) + b"\n"  # as many words as paths have parts
    return {"status": status, "paths": listed, "words": words}


def unicode_table():
    """The public table of all characters where it is installed, else one like it."""
    try:
        with open("/usr/share/unicode/UnicodeData.txt", encoding="ascii") as file:
            return file.read()
    except FileNotFoundError:
        pass
    rows = []
    for code in range(0x30000):
        character = chr(code)
        name = unicodedata.name(character, "")
        if name:
            fields = [f"{code:04X}", name, unicodedata.category(character), str(unicodedata.combining(character))]
            rows.append(";".join(fields + [unicodedata.bidirectional(character), unicodedata.decomposition(character)]))
    return "\n".join(rows) + "\n"


class Files(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def orkan(self, *arguments, feed=subprocess.DEVNULL):
        output = self.path("out")
        command = [COMMAND, *arguments[:-1], "-T", self.folder.name, "-O", output, *arguments[-1:]]
        run = subprocess.run(command, stdin=feed, stderr=subprocess.PIPE, env=PLAIN, check=False)
        self.assertEqual(run.returncode, 0, run.stderr.decode())
        self.assertEqual([name for name in os.listdir(self.folder.name) if name.endswith(".tmp")], [])
        with open(output, "rb") as file:
            return file.read()

    def sort(self, *arguments):
        return subprocess.run(["sort", *arguments], stdout=subprocess.PIPE, env=PLAIN, check=True).stdout


class Lines(Files):
    def same_as_sort(self, orkan_options, sort_options):
        for name, data in text_files().items():
            source = self.write(name, data)
            expected = self.sort(*sort_options, source)
            for path, memory in PATHS.items():
                with self.subTest(f"{name} {path}"):
                    self.assertTrue(self.orkan(*orkan_options, *memory, source) == expected)

    def test_whole_lines_ascending(self):
        self.same_as_sort(["-A"], [])

    def test_whole_lines_descending(self):
        self.same_as_sort(["-R"], ["-r"])

    def test_distinct_lines(self):
        self.same_as_sort(["-A", "-U"], ["-u"])

    def test_stable_by_a_byte_position(self):
        """Of lines that are long enough, as both tools see the same key in them."""
        for name, data in text_files().items():
            long_enough = [line for line in data.split(b"\n") if len(line) >= 8]
            source = self.write(name, b"\n".join(long_enough) + b"\n")
            expected = self.sort("-s", "-k1.3,1.8", "-t\x01", source)
            for path, memory in PATHS.items():
                with self.subTest(f"{name} {path}"):
                    self.assertTrue(self.orkan("-S", "-K", "2,6", *memory, source) == expected)

    def test_short_lines_reach_the_error_file(self):
        for name, data in text_files().items():
            source = self.write(name, data)
            for path, memory in PATHS.items():
                with self.subTest(f"{name} {path}"):
                    kept = self.orkan("-K", "0,20", "-E", self.path("short"), *memory, source)
                    with open(self.path("short"), "rb") as file:
                        short = file.read()
                    self.assertTrue(sorted((kept + short).split(b"\n")) == sorted(data.split(b"\n")))
                    self.assertTrue(all(len(line) < 19 for line in short.split(b"\n")))


class Tables(Files):
    def rows(self, data, delimiter):
        return list(csv.reader(io.StringIO(data.decode("utf-8"), newline=""), delimiter=delimiter))

    def sorted_table(self, source, delimiter, options, key, reverse=False):
        """Header first where -H is among the options, the rows of the input, ordered by key(row)."""
        with open(source, "rb") as file:
            expected = self.rows(file.read(), delimiter)
        header = 1 if "-H" in options else 0
        rows = self.rows(self.orkan("-C", "-D", delimiter, *options, source), delimiter)
        self.assertEqual(rows[:header], expected[:header])
        self.assertTrue(sorted(rows[header:]) == sorted(expected[header:]))
        keys = [key(row) for row in rows[header:]]
        self.assertTrue(keys == sorted(keys, reverse=reverse))

    def test_the_characters_of_unicode(self):
        source = self.write("unicode", unicode_table().encode("ascii"))
        for path, memory in PATHS.items():
            with self.subTest(path):
                self.sorted_table(source, ";", [*memory, "-K", "2"], lambda row: row[1])
                self.sorted_table(source, ";", [*memory, "-K", "3", "-K", "4n"], lambda row: (row[2], int(row[3])))

    def test_the_corner_cases_of_csv(self):
        """Quoted delimiters, doubled quotes, line ends in quotes, empty and blank fields, both line ends."""
        rows = [["b", 'say "hi"', "1,5"], ["a", "two\r\nlines", ""], ["", '""', " "], ["c", ",", "\n"], ["é", "'", '","']]
        for end, code in (("\r\n", "\\r\\n"), ("\n", "\\n")):
            for path, memory in PATHS.items():
                with self.subTest(f"{path} {code}"):
                    with open(self.path("corners"), "w", newline="", encoding="utf-8") as file:
                        csv.writer(file, lineterminator=end).writerows(rows * 50)
                    options = [*memory, "-P", code, "-K", "1", "-K", "2"]
                    key = lambda row: (self.quoted(row[0]), self.quoted(row[1]))
                    self.sorted_table(self.path("corners"), ",", options, key)

    def test_public_tables(self):
        tables = {"world-cities.csv": 2, "country-codes.csv": 1, "ks_1033_data.csv": 3}
        for name, column in tables.items():
            source = os.path.join(SHARED, "real", name)
            if not os.path.exists(source):
                self.skipTest("public tables are not here")
            with self.subTest(name):
                self.sorted_table(source, ",", ["-H", "-K", str(column)], lambda row: self.quoted(row[column - 1]))

    @staticmethod
    def quoted(field):
        """Fields keep their quotes when they are compared: those that need them come as if quoted."""
        needs_quotes = any(character in field for character in ',"\n')
        return ('"' + field.replace('"', '""') + '"' if needs_quotes else field).encode("utf-8")


if __name__ == "__main__":
    unittest.main(verbosity=2)
