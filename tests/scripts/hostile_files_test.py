"""hostile_files_test.py COMMAND CPU_SECONDS: names and files made to do harm, in both modes."""

import os
import random
import subprocess
import sys
import threading
import unittest

from hostile import COMMAND, END, FAILED, FORMATS, LINES, SORTED, Hostile, bounded


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
                if self.complete or path != (b"-W1",):
                    with self.subTest(args=args, path=path):
                        self.assert_gives(b"".join(lines), *args, *path, *names)
        for args in [] if self.complete else [(b"-A",), (b"-C", b"-K1"), (b"-L8", b"-K0,7n")]:
            with self.subTest(args=args, path="split"):
                # By default blocks of each input count from position 0 again: all hold what came last there.
                status, out, err = self.run_orkan(*args, b"-W1", *names)
                self.assertEqual((status, err.endswith(END)), (0, True), err[-300:])
                self.assertEqual((len(out), set(out.splitlines(True)) <= set(lines)), (80_000, True))


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
                for name in ["/dev/zero"] if self.complete else ["/dev/zero", "fifo"]:  # complete mode reads pipes
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
        done = subprocess.run(
            ["sh", "-c", script], cwd=self.folder, env=self.environment(), input=stdin, capture_output=True,
            preexec_fn=bounded(self.cpu_seconds), timeout=300, check=False,
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


class CompleteNames(Names):
    complete = True

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
                    self.assert_gives(b"".join(lines), *args, *path, *names)
                    for writer in writers:
                        writer.join()


class CompleteFiles(Files):
    complete = True


if __name__ == "__main__":
    unittest.main()
