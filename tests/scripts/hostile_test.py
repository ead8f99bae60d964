"""hostile_test.py COMMAND CPU_SECONDS: arguments, data, names and files made to do harm get their result or their
message: no signal, bounded processor time, nothing left in the temporary folder."""

import os
import random
import resource
import subprocess
import sys
import tempfile
import threading
import unittest

COMMAND = os.path.abspath(sys.argv[1])
CPU_SECONDS = int(sys.argv[2])
del sys.argv[1:3]

KEY = "☆ Sort key 1 is invalid!\n"
ARGUMENTS = "☆ Error occurred during argument processing!\n"
START, END, FAILED = "☆ orkan start...\n", "☆ orkan end.\n", "\n☆ Sort failed. \n"
TOO_LONG, TOO_LONG_JA = "☆ Invalid record length detected! \n", "☆不正なレコード長を検知しました！ \n"

LINES = b"b2\na1\nc3\n"
SORTED = b"a1\nb2\nc3\n"
FORMATS = {"lines": ["-A"], "csv": ["-C", "-A"], "fixed": ["-L3", "-A"]}
# In memory; with less than the data need; presorted; and without names on standard input.
PATHS = {"memory": ["-W64M"], "split": ["-W1"], "merge": ["-M"], "stdin": None}


def bounded():
    resource.setrlimit(resource.RLIMIT_CPU, (CPU_SECONDS, CPU_SECONDS + 1))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Hostile(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = os.fsencode(folder.name)
        self.temp = self.path(b"tmp")
        os.mkdir(self.temp)
        self.write(b"in", LINES)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def run_orkan(self, *args, stdin=b"", complete=False, **how):
        """Status, standard output and error of a run in the folder; a signal or something left is a failure."""
        environment = {"LANG": "C", "TMPDIR": self.temp, "PATH": os.environ["PATH"]}
        environment["ORKAN_COMPLETE"] = "1" if complete else "0"
        source = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin}
        done = subprocess.run(
            [COMMAND, *args], cwd=self.folder, env=environment, capture_output=True, preexec_fn=bounded, timeout=300,
            check=False, **source, **how,
        )
        self.assertIn(done.returncode, (0, 1), done.stderr[-300:])
        self.assertEqual(os.listdir(self.temp), [])
        return done.returncode, done.stdout, done.stderr.decode("utf-8", "surrogateescape")

    def assert_refused(self, message, *args, **how):
        status, out, err = self.run_orkan(*args, **how)
        self.assertEqual((status, out), (1, b""))
        self.assertIn(message, err)
        self.assertTrue(err.startswith(START) and err.endswith(FAILED), err[-300:])

    def assert_gives(self, expected, *args, **how):
        status, out, err = self.run_orkan(*args, **how)
        self.assertEqual((status, err.replace(START, "").replace(END, "")), (0, self.released(err)))
        self.assertTrue(out == expected, f"{len(out)} bytes, {len(expected)} expected; {out[:60]} ...")

    @staticmethod
    def released(err):
        """The line about released memory that most sorts end with."""
        return "".join(line for line in err.splitlines(True) if "メモリ解放がかかった[" in line)

    def in_every_path(self, args, name, data):
        """Arguments for the input in each path, with standard input."""
        for path, more in PATHS.items():
            with self.subTest(path=path, args=args):
                yield path, (*args, *more, name) if more is not None else tuple(args), b"" if more is not None else data


class Numbers(Hostile):
    def test_keys_out_of_range(self):
        bad = ["-1,2", "2147483648,1", "4294967296,1", "9" * 20 + ",1", "0,2147483648", "0,4294967296", "0,-1"]
        bad.append("0," + "9" * 20)
        for key in bad:
            with self.subTest(key):
                self.assert_refused(KEY + ARGUMENTS, "-K", key, "in")
                self.assert_refused(KEY + ARGUMENTS, "-L3", "-K", key, "in")
        for key in ["-1", "0", "2147483648", "4294967297", "9" * 20]:
            with self.subTest(csv=key):
                self.assert_refused(KEY + ARGUMENTS, "-C", "-K", key, "in")

    def test_keys_behind_all_records(self):
        for key in ["2147483647,1", "2147483647,2147483647n", "0,999999999n", "999999999,999999999d"]:
            for path, args, data in self.in_every_path(["-K", key, "-E", "short"], "in", LINES):
                self.assert_gives(b"", *args, stdin=data)
                self.assertEqual(sorted(self.read(b"short").split()), SORTED.split(), path)
        for key in ["999999999n", "2147483647"]:
            for path, args, data in self.in_every_path(["-C", "-K", key, "-E", "short"], "in", LINES):
                self.assert_gives(b"", *args, stdin=data)
                self.assertEqual(sorted(self.read(b"short").split()), SORTED.split(), path)

    def test_a_key_without_length(self):
        self.assert_refused("ソートキー[999999999]指定不正！\n", "-K", "999999999n", "in")

    def test_record_lengths_of_many_digits(self):
        for length in ["4294967297", "9223372036854775807", "12345678901234567890", "9" * 20]:
            self.assert_refused("☆ Invalid size [1] for input file 9!\n", "-L", length, "-A", "in")

    def test_memory_sizes_of_many_digits(self):
        for size in ["9" * 20, "12345678901234567890K", "9" * 20 + "M", "9223372036854775807m"]:
            self.assert_gives(SORTED, "-W", size, "-A", "in")


class Data(Hostile):
    def test_zeros_everywhere(self):
        zeros = b"\0\0\n\0\na\0b\n\n\0\0\0\n" * 3
        expected = b"".join(sorted(zeros.splitlines(True)))
        self.write(b"sorted", expected)
        self.write(b"zeros", zeros)
        for path, args, data in self.in_every_path(["-A"], "sorted", zeros):
            name = "sorted" if path == "merge" else "zeros"
            self.assert_gives(expected, *args[:-1], *([name] if data == b"" else args[-1:]), stdin=data)
        self.write(b"nulls", b"\0\0\0\0" * 5 + b"\0a\0\0")
        for _, args, data in self.in_every_path(["-L4", "-K1,2n", "-S"], "nulls", self.read(b"nulls")):
            self.assert_gives(self.read(b"nulls"), *args, stdin=data)

    def test_a_gigabyte_without_a_newline(self):
        with open(self.path(b"big"), "wb") as file:
            file.truncate(1 << 30)
        for args, message in [
            (["-A"], TOO_LONG),
            (["-K0,5"], TOO_LONG),
            (["-C", "-A"], TOO_LONG_JA),
            (["-C", "-K1"], TOO_LONG_JA),
            (["-C", "-H", "-K1"], "☆CSVファイルのヘッダ読み込み中にエラーが発生しました！\n"),
            (["-M", "-A"], TOO_LONG),
            (["-M", "-C", "-A"], TOO_LONG),
        ]:
            with self.subTest(args):
                self.assert_refused(message, *args, "-W16M", "big")
        for args, message in [(["-A"], TOO_LONG), (["-C", "-A"], TOO_LONG_JA)]:
            with self.subTest(stdin=args), open(self.path(b"big"), "rb") as big:
                self.assert_refused(message, *args, "-W16M", stdin=big)

    def test_five_million_columns(self):
        row = b"," * 5_000_000 + b"z\n"
        rows = row + b"a" + row
        self.write(b"wide", rows)
        self.assert_gives(rows, "-C", "-S", "-A", "wide")
        self.assert_gives(rows, "-C", "-S", "-K5000001", "wide")
        self.assert_gives(b"a" + row + row, "-C", "-S", "-K5000001n", "-K1d", "wide")
        self.assert_gives(rows, "-C", "-S", "-M", "-A", "wide")
        self.assert_gives(rows, "-C", "-S", "-A", stdin=rows)
        self.assert_refused(TOO_LONG_JA, "-C", "-S", "-A", "-W16M", "wide")

    def test_an_unbalanced_quote_at_the_start(self):
        """By design what is left behind the last record is dropped, or refused from 640 KiB on."""
        rows = b"b,1\na,2\n" * 1000
        for _, args, data in self.in_every_path(["-C", "-K1"], "open", b'"' + rows):
            self.write(b"open", b'"' + rows)
            self.assert_gives(b"", *args, stdin=data)
        for _, args, data in self.in_every_path(["-C", "-K1"], "open", b'"' + rows * 100):
            self.write(b"open", b'"' + rows * 100)
            self.assert_refused(TOO_LONG_JA, *args, stdin=data)

    def test_long_and_quoting_delimiters(self):
        long = "x" * 65536
        rows = [f"{n}{long}{9 - n}\n".encode() for n in (3, 1, 2)]
        for _, args, data in self.in_every_path(["-C", "-D", long, "-K1"], "rows", b"".join(rows)):
            self.write(b"rows", b"".join(sorted(rows) if "-M" in args else rows))
            self.assert_gives(rows[1] + rows[2] + rows[0], *args, stdin=data)
        self.assert_gives(rows[0] + rows[2] + rows[1], "-C", "-D", long, "-K2n", "rows")
        # Nothing ends between the two quotes, so this is one record; a delimiter's own first quote counts as well.
        one = b'b",1\na",2\n'
        self.write(b"quoting", one)
        for delimiter, columns in ('",', 2), ('"', 2), ('""', 1):
            for _, args, data in self.in_every_path(["-C", "-D", delimiter, "-K1"], "quoting", one):
                self.assert_gives(one, *args, stdin=data)
            self.assert_gives(one, "-C", "-D", delimiter, f"-K{columns}", "quoting")
            self.assert_gives(b"", "-C", "-D", delimiter, f"-K{columns + 1}", "-E", "short", "quoting")
            self.assertEqual(self.read(b"short"), one)


class Names(Hostile):
    NAMES = [b"new\nline", b"%s%n%99999d", b"\xff\xfe\x80", b"-", b" blank ", b"\x1b[31m", "é\u202e".encode()]

    def test_odd_names(self):
        for name in self.NAMES:
            for more in (b"-W64M",), (b"-W1",), (b"-M",):
                with self.subTest(name=name, path=more):
                    self.write(name, SORTED if more == (b"-M",) else LINES)
                    self.assert_gives(b"", b"-A", *more, b"-O", b"out" + name, b"--", name)
                    self.assertEqual(self.read((b"out" + name).rstrip()), SORTED)
            os.unlink(self.path(name))

    def test_odd_names_in_messages(self):
        for name in self.NAMES:
            with self.subTest(name):
                shown = os.fsdecode(name)  # blanks around an option's argument do not belong to it
                self.assert_refused(f"☆ Failed to stat input file 1 [{shown}]!\n", b"-A", b"--", name)
                self.assert_refused(f"☆ Output folder [{shown.lstrip()}/] does not exist", b"-A", b"-O", name + b"/x", b"in")
                self.assert_refused(f"☆ Temporary folder [{shown.strip()}/] does not exist", b"-A", b"-T", name, b"in")
        self.assert_refused("ソートキー[%s%x]指定不正！\n", b"-K", b"%s%x", b"in")

    def test_the_longest_paths(self):
        for length in (4094, 4095, 4096, 100_000):
            path = b"./" * ((length - 2) // 2) + (b"in" if length % 2 == 0 else b"/in")
            self.assertEqual(len(path), length)
            for more in (b"-W64M",), (b"-W1",), (b"-M",):
                with self.subTest(length=length, path=more):
                    if length < 4096:
                        self.assert_gives(LINES if more == (b"-M",) else SORTED, b"-A", *more, path)
                    else:
                        self.assert_refused(f"☆ Failed to stat input file 1 [{path.decode()}]!\n", b"-A", *more, path)
            with self.subTest(length=length, output=True):
                out = path[:-2] + b"ou"
                if length < 4096:
                    self.assert_gives(b"", b"-A", b"-O", out, b"in")
                    self.assertEqual(self.read(b"ou"), SORTED)
                else:
                    self.assert_refused("☆ ", b"-A", b"-O", out, b"in")
            with self.subTest(length=length, temporary=True):  # too long with the file's name behind it
                self.assert_refused(path[:-2].decode(), b"-A", b"-T", path[:-2], b"-W1", b"in")

    def ten_thousand_inputs(self):
        """Their names, shuffled, and the one line of each, sorted."""
        numbers = random.Random(5)
        lines = sorted(b"%07d\n" % numbers.randrange(10**7) for _ in range(10_000))
        names = [b"f%04d" % n for n in range(10_000)]
        for name, line in zip(names, lines):
            self.write(name, line)
        numbers.shuffle(names)
        return names, lines

    def test_ten_thousand_inputs(self):
        names, lines = self.ten_thousand_inputs()
        for args in (b"-A",), (b"-C", b"-K1"), (b"-L8", b"-K0,7n"):
            for path in (b"-W64M",), (b"-M",), (b"-M", b"-S"), (b"-W1",):
                for complete in [True] if path == (b"-W1",) else [False, True]:
                    with self.subTest(args=args, path=path, complete=complete):
                        self.assert_gives(b"".join(lines), *args, *path, *names, complete=complete)
            with self.subTest(args=args, path="split"):
                # By default blocks of each input count from position 0 again: all hold what came last there.
                status, out, err = self.run_orkan(*args, b"-W1", *names)
                self.assertEqual((status, err.endswith(END)), (0, True), err[-300:])
                self.assertEqual((len(out), set(out.splitlines(True)) <= set(lines)), (80_000, True))

    def test_pipes_among_ten_thousand_inputs(self):
        names, lines = self.ten_thousand_inputs()
        pipes = {name: self.read(name) for name in names[::2000]}
        for name in pipes:
            os.unlink(self.path(name))
            os.mkfifo(self.path(name))
        for args in (b"-A",), (b"-C", b"-K1"), (b"-L8", b"-K0,7n"):
            for path in (b"-W64M",), (b"-M",), (b"-W1",):
                with self.subTest(args=args, path=path):
                    writers = [threading.Thread(target=self.write, args=item, daemon=True) for item in pipes.items()]
                    for writer in writers:
                        writer.start()
                    self.assert_gives(b"".join(lines), *args, *path, *names, complete=True)
                    for writer in writers:
                        writer.join()


class Files(Hostile):
    def test_inputs_that_are_no_files(self):
        os.mkdir(self.path(b"folder"))
        os.mkfifo(self.path(b"fifo"))  # nobody writes: who opened it would wait for ever
        self.write(b"in", SORTED)
        for path, folder in [
            ("-W64M", "☆入力ファイル[folder]の読み込み中にエラーが発生しました！\n"),
            ("-W1", "☆ Error occurred while reading input file during split sort!\n"),
            ("-M", "☆ Error occurred while reading input file during merge sort!\n"),
        ]:
            with self.subTest(path):
                self.assert_gives(SORTED, "-A", path, "in", "/dev/null")
                self.assert_refused(folder, "-A", path, "in", "folder")
                for name in "/dev/zero", "fifo":
                    self.assert_refused(f"☆ Input file 2 [{name}] is not a regular file!\n", "-A", path, "in", name)

    def test_output_equal_to_an_input(self):
        """Sorted it is replaced, under any of its names; a merge, which still reads it then, is refused."""
        os.link(self.path(b"in"), self.path(b"hard"))
        os.symlink(b"in", self.path(b"soft"))
        for target in "in", "hard", "soft":
            for format_args in FORMATS.values():
                for more in "-W64M", "-W1":
                    with self.subTest(target=target, path=more, args=format_args):
                        self.write(b"in", LINES)
                        self.assert_gives(b"", *format_args, more, "-O", target, "in")
                        self.assertEqual(self.read(b"in"), SORTED)
                with self.subTest(target=target, path="-M", args=format_args):
                    message = f"☆ Cannot create output file [{target}]!"
                    self.assert_refused(message, *format_args, "-M", "-O", target, "in")
                    self.assertEqual(self.read(b"in"), SORTED)

    def test_planted_at_the_temporary_path(self):
        """The process's number is known only once it runs, so a shell plants and becomes the run."""
        plants = {
            "mkdir {}": False,
            "mkfifo {}": False,
            "ln stranger {}": False,
            "ln -s . {}": False,
            "ln -s {} {}": False,
            "ln -s ../fifo {}": False,
            f"'{sys.executable}' -c \"import socket; socket.socket(socket.AF_UNIX).bind('{{}}')\"": False,
            "ln -s ../nowhere {}": True,
            "echo leftover > {}": True,
            "echo leftover > {}; chmod 000 {}": os.geteuid() == 0,
        }
        os.mkfifo(self.path(b"fifo"))
        data = b"".join(b"%0999d\n" % (99999 - n) for n in range(20_000))  # more than one chunk from standard input
        self.write(b"data", data)
        for plant, works in plants.items():
            for args, stdin in ("-W16M", data), ("-W1 data", b""):
                with self.subTest(plant=plant, args=args):
                    self.write(b"stranger", b"stranger")
                    self.assert_planted_run(plant, f"-A -O out {args}", stdin, works)
                    self.assertEqual(self.read(b"stranger"), b"stranger")
        for device in "/dev/null", "/dev/full":  # a link is followed, but nothing comes back from there
            for args, stdin in ("-W16M", data), ("-W1 data", b""):
                with self.subTest(device=device, args=args):
                    done, left = self.run_planted(f"ln -s {device} {{}}", f"-A -O out {args}", stdin)
                    self.assertEqual((done.returncode, len(left)), (1, 0), done.stderr)
                    self.assertIn(FAILED.encode(), done.stderr)

    def run_planted(self, plant, args, stdin):
        """The run, and what it leaves in the folder for temporary files."""
        script = plant.replace("{}", "tmp/orkan_$$.tmp") + f"; exec '{COMMAND}' {args}"
        environment = {"LANG": "C", "TMPDIR": self.temp, "PATH": os.environ["PATH"]}
        done = subprocess.run(
            ["sh", "-c", script], cwd=self.folder, env=environment, input=stdin, capture_output=True,
            preexec_fn=bounded, timeout=300, check=False,
        )
        left = os.listdir(self.temp)
        subprocess.run(["rm", "-rf", self.temp, self.path(b"nowhere")], check=True)
        os.mkdir(self.temp)
        return done, left

    def assert_planted_run(self, plant, args, stdin, works):
        done, left = self.run_planted(plant, args, stdin)
        self.assertEqual((done.returncode, len(left)), (0, 0) if works else (1, 1), done.stderr)
        if works:
            self.assertTrue(self.read(b"out") == b"".join(sorted(self.read(b"data").splitlines(True))))
            os.unlink(self.path(b"out"))
        else:
            self.assertIn("☆ Failed to create temporary file [".encode(), done.stderr)


if __name__ == "__main__":
    unittest.main()
