"""progress_test.py COMMAND: the progress line on a terminal: it appears, fits, goes before anything else is written
and at every end, and stays away where it would be in the way.

The runs read standard input that comes slowly, so that no data have to be large. Nothing is measured: where the line
is expected, a run is fed until it has it."""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unicodedata
import unittest

COMMAND = os.path.abspath(sys.argv[1])
del sys.argv[1:2]

PATIENCE = 60  # seconds until a run counts as hanging; nothing is measured
LONG_ENOUGH = 15  # feedings of 0.1 s; the line comes after a second
PIECE = b"some record\n"
LINE = re.compile("\r([^\r\n\x1b]+)\x1b\\[K")
END = "☆ orkan end."
BEGIN = "☆ orkan start..."

SURROUNDINGS = {**os.environ, "TERM": "xterm", "LANG": "C", "TMPDIR": tempfile.gettempdir()}
IN_BACKGROUND = [
    sys.executable,
    "-c",
    """import os, sys
child = os.fork()
if child == 0:
    os.setpgid(0, 0)
    os.execv(sys.argv[1], sys.argv[1:])
sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))""",
]


def columns_of(text):
    return sum(2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in text)


def screen_of(raw):
    """The rows that a terminal shows in the end, and the column of the cursor."""
    rows, column = [""], 0
    for token in re.findall(r"\x1b\[K|[^\x1b]", raw):
        if token == "\r":
            column = 0
        elif token == "\n":
            rows.append("")
        elif token == "\x1b[K":
            rows[-1] = rows[-1][:column]
        else:
            rows[-1] = rows[-1][:column] + token + rows[-1][column + 1 :]
            column += 1
    return rows, column


class Run:
    """The command with a controlling terminal as its standard error, and perhaps more."""

    def __init__(self, arguments, columns=80, environment=(), prefix=(), **streams):
        self.master, slave = pty.openpty()
        self.resize(columns)
        attributes = termios.tcgetattr(slave)
        attributes[3] &= ~termios.ECHO
        termios.tcsetattr(slave, termios.TCSANOW, attributes)
        surroundings = {**SURROUNDINGS, **dict(environment)}
        self.process = subprocess.Popen(
            [*prefix, COMMAND, *arguments],
            stdin=slave if streams.get("stdin") == "terminal" else subprocess.PIPE,
            stdout=slave if streams.get("stdout") == "terminal" else streams.get("stdout", subprocess.DEVNULL),
            stderr=streams.get("stderr", slave),
            env={name: value for name, value in surroundings.items() if value is not None},
            start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(slave, termios.TIOCSCTTY, 0),
        )
        os.close(slave)
        self.raw = b""

    def resize(self, columns):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))

    def listen(self, seconds):
        """Takes what arrives in that time, or until the terminal is left; false then."""
        until = time.monotonic() + seconds
        while (rest := until - time.monotonic()) > 0:
            if select.select([self.master], [], [], rest)[0]:
                try:
                    self.raw += os.read(self.master, 65536)
                except OSError:  # nobody has it open any more
                    return False
        return True

    def feed(self):
        if self.process.stdin is None:
            os.write(self.master, PIECE)
        else:
            self.process.stdin.write(PIECE)
            self.process.stdin.flush()

    def feed_until(self, wanted):
        give_up = time.monotonic() + PATIENCE
        while not wanted(self):
            if time.monotonic() > give_up:
                raise AssertionError(f"waiting in vain: {self.raw!r}")
            self.feed()
            self.listen(0.05)

    def end_input(self):
        if self.process.stdin is None:
            os.write(self.master, b"\x04")
        else:
            self.process.stdin.close()

    def end(self):
        """Lets the run end; its status."""
        self.end_input()
        give_up = time.monotonic() + PATIENCE
        while self.listen(1) and time.monotonic() < give_up:
            pass
        status = self.process.wait(PATIENCE)
        os.close(self.master)
        return status

    @property
    def text(self):
        return self.raw.decode("utf-8", "replace")

    @property
    def lines(self):
        """All progress lines so far."""
        return LINE.findall(self.text)

    def shows_line(self):
        return bool(self.lines)

    def has_begun(self):
        return BEGIN in self.text


class Shown(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.out = os.path.join(folder.name, "out")
        self.to_file = ["-A", "-O", self.out]

    def assert_screen(self, run, rows, steady=str):
        shown, column = screen_of(run.text)
        self.assertEqual([steady(row) for row in shown if row], rows)
        self.assertEqual(column, 0)

    def test_comes_and_goes(self):
        run = Run(self.to_file, columns=120)
        run.feed_until(Run.shows_line)
        self.assertRegex(run.lines[0], r"^reading  \d+\.\d MB  \d+\.\d MB/s$")
        self.assertEqual(run.end(), 0)
        self.assertEqual(run.lines[-2], "sorting  33%")
        self.assertRegex(run.lines[-1], r"^writing  (66|100)%")
        self.assert_screen(run, [BEGIN, END])
        with open(self.out, "rb") as out:
            self.assertEqual(set(out), {PIECE})

    def test_fits_every_window(self):
        windows = [(columns, lang) for lang in ("C", "ja_JP.UTF-8") for columns in (1, 9, 15, 30, 200)]
        runs = [Run(self.to_file, columns, {"LANG": lang}) for columns, lang in windows]
        for run, (columns, lang) in zip(runs, windows):
            with self.subTest(columns=columns, lang=lang):
                run.feed_until(lambda some: some.raw.count(b"\x1b[K") > 2)
                self.assertEqual(run.end(), 0)
                self.assertEqual(bool(run.lines), columns > 1)
                for line in run.lines:
                    self.assertLess(columns_of(line), columns)
                self.assert_screen(run, [BEGIN, END])

    def test_follows_the_window(self):
        run = Run(self.to_file, columns=80)
        run.feed_until(Run.shows_line)
        run.resize(10)
        run.feed_until(lambda some: some.lines[-1] == "reading")
        run.resize(60)
        run.feed_until(lambda some: some.lines[-1] != "reading")
        self.assertEqual(run.end(), 0)
        self.assert_screen(run, [BEGIN, END])

    def test_speaks_japanese(self):
        run = Run(self.to_file, environment={"LANG": "ja_JP.UTF-8"})
        run.feed_until(Run.shows_line)
        self.assertRegex(run.lines[0], "^読み込み中  ")
        self.assertEqual(run.end(), 0)
        self.assert_screen(run, [BEGIN, END])

    def test_goes_before_a_message(self):
        half_a_record = ["-L2", "-O", self.out]  # behind pieces of an even length
        run = Run(half_a_record)
        run.feed_until(Run.shows_line)
        run.process.stdin.write(b"x")
        self.assertEqual(run.end(), 1)
        alone = subprocess.run(
            [COMMAND, *half_a_record], input=b"x", stderr=subprocess.PIPE, check=False, env=SURROUNDINGS
        )
        sizes = re.compile(r"\[\d+\]")
        messages = [sizes.sub("[#]", row) for row in alone.stderr.decode().splitlines() if row]
        self.assertIn("☆ Invalid input data size [#]!", messages)
        self.assert_screen(run, messages, lambda row: sizes.sub("[#]", row))

    def test_goes_when_a_signal_ends_the_run(self):
        runs = {number: Run(self.to_file) for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)}
        for number, run in runs.items():
            with self.subTest(number):
                run.feed_until(Run.shows_line)
                run.process.send_signal(number)
                self.assertEqual(run.process.wait(PATIENCE), -number)
                run.end()
                self.assert_screen(run, [BEGIN])

    def test_makes_room_for_records_on_the_terminal(self):
        run = Run(["-A"], stdout="terminal")
        run.feed_until(Run.shows_line)
        self.assertEqual(run.end(), 0)
        self.assertFalse([line for line in run.lines if "writing" in line])
        shown, _ = screen_of(run.text)
        rows = [row for row in shown if row]
        self.assertEqual((rows[0], set(rows[1:-1]), rows[-1]), (BEGIN, {PIECE.decode().strip()}, END))

    def test_makes_room_for_the_reader_of_a_pipe(self):
        run = Run(["-A"], stdout=subprocess.PIPE)
        self.addCleanup(run.process.stdout.close)
        run.feed_until(Run.shows_line)
        self.assertEqual(run.end(), 0)
        self.assertFalse([line for line in run.lines if "writing" in line])
        self.assertEqual(set(run.process.stdout), {PIECE})
        self.assert_screen(run, [BEGIN, END])

    def test_stays_while_the_output_is_a_file(self):
        with open(self.out, "wb") as out:
            run = Run(["-A"], stdout=out)
            run.feed_until(Run.shows_line)
            self.assertEqual(run.end(), 0)
        self.assertTrue([line for line in run.lines if "writing" in line])


class Silent(unittest.TestCase):
    def test_where_it_would_be_in_the_way(self):
        runs = {
            "verbose": Run(["-Verbose", "-A"]),
            "dumb terminal": Run(["-A"], environment={"TERM": "dumb"}),
            "unknown terminal": Run(["-A"], environment={"TERM": None}),
            "nameless terminal": Run(["-A"], environment={"TERM": ""}),
            "background": Run(["-A"], prefix=IN_BACKGROUND),
                    }
        for run in runs.values():
            run.feed_until(Run.has_begun)
        for _ in range(LONG_ENOUGH):
            for run in runs.values():
                run.feed()
            for run in runs.values():
                run.listen(0.1 / len(runs))
        for what, run in runs.items():
            with self.subTest(what):
                self.assertEqual(run.lines, [])
                self.assertEqual(run.end(), 0)
                self.assertNotIn("\x1b", run.text)

    def test_while_records_are_typed(self):
        run = Run(["-A"], stdin="terminal")
        run.feed_until(Run.has_begun)
        for _ in range(LONG_ENOUGH):
            run.feed()
            run.listen(0.1)
        self.assertEqual(run.lines, [])
        self.assertEqual(run.end(), 0)

    def test_where_standard_error_is_no_terminal(self):
        run = Run(["-A"], stderr=subprocess.PIPE)
        for _ in range(LONG_ENOUGH):
            run.feed()
            run.listen(0.1)
        self.assertEqual(run.end(), 0)
        with run.process.stderr as messages:
            self.assertEqual(messages.read().decode(), f"{BEGIN}\n{END}\n")
        self.assertEqual(run.raw, b"")


if __name__ == "__main__":
    unittest.main()
