"""signals_test.py COMMAND: a signal that ends the command takes the temporary file along; ignored ones stay ignored."""

import os
import random
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

COMMAND = os.path.abspath(sys.argv[1])
del sys.argv[1:2]

SIGNALS = [signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGPIPE]
RECORD = 100
RECORDS = 400_000
MOMENTS = 20  # for each signal and path
HELD_BACK = 1_000_000  # bytes of the output that nobody reads: more than a pipe holds
PATIENCE = 120  # seconds until a run counts as hanging; nothing is measured


def signal_mask(pid, field):
    """The set of signals that /proc tells of a process."""
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        for line in status:
            if line.startswith(field + ":"):
                mask = int(line.split()[1], 16)
                return {number for number in range(1, 65) if mask >> (number - 1) & 1}
    raise KeyError(field)


class Signals(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.temp = os.path.join(cls.folder.name, "temp")
        cls.data = os.path.join(cls.folder.name, "data")
        cls.out = os.path.join(cls.folder.name, "out")
        os.mkdir(cls.temp)
        numbers = random.Random(7)
        keys = [b"%010d" % numbers.randrange(10**10) for _ in range(RECORDS)]
        cls.sorted_keys = sorted(keys)
        with open(cls.data, "wb") as data:
            data.writelines(key + b"." * (RECORD - 10) for key in keys)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def setUp(self):
        self.assertEqual(os.listdir(self.temp), [])

    def start(self, *more, ignored=(), stdout=subprocess.PIPE, stdin=None):
        """A run through the temporary file, with the signals as a shell hands them on. As long as nobody reads its
        output it cannot end. With `stdin` it sorts that."""

        def set_signals():
            for number in SIGNALS:
                signal.signal(number, signal.SIG_IGN if number in ignored else signal.SIG_DFL)

        arguments = [COMMAND, f"-L{RECORD}", "-K0,10", "-W16M", "-T", self.temp, *more]
        if stdin is None:
            arguments.append(self.data)
        run = subprocess.Popen(
            arguments,
            stdin=stdin,
            stdout=stdout,
            stderr=subprocess.DEVNULL,
            preexec_fn=set_signals,
            restore_signals=False,
        )
        if run.stdout is not None:
            self.addCleanup(run.stdout.close)
        return run

    def path_of(self, run):
        return os.path.join(self.temp, f"orkan_{run.pid}.tmp")

    def start_until_temporary_file(self, **how):
        run = self.start(**how)
        give_up = time.monotonic() + PATIENCE
        while not os.path.exists(self.path_of(run)):
            self.assertIsNone(run.poll(), "the run ends without a temporary file")
            self.assertLess(time.monotonic(), give_up, "the run makes no temporary file")
            time.sleep(0.001)
        return run

    def test_dies_by_the_signal_as_soon_as_the_file_is_there(self):
        for number in SIGNALS:
            with self.subTest(number):
                run = self.start_until_temporary_file()
                run.send_signal(number)
                self.assertEqual(run.wait(PATIENCE), -number)
                self.assertEqual(os.listdir(self.temp), [])

    def test_dies_by_the_signal_during_the_merge(self):
        for number in SIGNALS:
            with self.subTest(number):
                run = self.start_until_temporary_file()
                self.assertEqual(len(run.stdout.read(RECORD)), RECORD)
                run.send_signal(number)
                self.assertEqual(run.wait(PATIENCE), -number)
                self.assertEqual(os.listdir(self.temp), [])

    def test_at_any_moment(self):
        moments = random.Random(3)
        run = self.start("-O", self.out, stdout=None)
        began = time.monotonic()
        self.assertEqual(run.wait(PATIENCE), 0)
        whole = time.monotonic() - began
        for number in SIGNALS * 6:
            run = self.start("-O", self.out, stdout=None)
            time.sleep(moments.uniform(0, whole))
            run.send_signal(number)
            with self.subTest(number):
                self.assertIn(run.wait(PATIENCE), (0, -number))
                self.assertEqual(os.listdir(self.temp), [])

    def start_merging(self, stdin=None):
        """A run whose output is read but for the end, so that it works on without ending."""
        run = self.start(stdin=stdin)

        def read():
            left = RECORD * RECORDS - HELD_BACK
            while left > 0 and (data := run.stdout.read1(min(left, 1 << 20))):
                left -= len(data)

        reader = threading.Thread(target=read)
        reader.start()
        self.addCleanup(reader.join)
        return run, reader

    def test_at_any_moment_none_survives(self):
        moments = random.Random(11)
        began = time.monotonic()
        with open(self.data, "rb") as data:
            for stdin in (None, data):
                run, reader = self.start_merging(stdin)
                reader.join()
                run.kill()
                run.wait(PATIENCE)
                os.remove(self.path_of(run))
        whole = (time.monotonic() - began) / 2
        died = 0
        for number in SIGNALS * MOMENTS:
            with open(self.data, "rb") as data:
                runs = [(moments.uniform(0, whole), *self.start_merging(stdin)) for stdin in (None, data)]
            waited = 0.0
            for moment, run, _ in sorted(runs, key=lambda item: item[0]):
                time.sleep(max(moment - waited, 0))
                waited = moment
                run.send_signal(number)
            for _, run, reader in runs:
                with self.subTest(number):
                    status = run.wait(PATIENCE)
                    self.assertEqual(status, -number)
                    died += status == -number
                reader.join()
                run.stdout.close()
            with self.subTest(number):
                self.assertEqual(os.listdir(self.temp), [])
        self.assertEqual(died, 2 * MOMENTS * len(SIGNALS))

    def test_several_signals_at_once(self):
        run = self.start_until_temporary_file()
        for number in SIGNALS:
            run.send_signal(number)
        self.assertIn(-run.wait(PATIENCE), SIGNALS)
        self.assertEqual(os.listdir(self.temp), [])

    def test_nobody_reads_the_output(self):
        reader, writer = os.pipe()
        os.close(reader)
        run = self.start(stdout=writer)
        os.close(writer)
        self.assertEqual(run.wait(PATIENCE), -signal.SIGPIPE)
        self.assertEqual(os.listdir(self.temp), [])

    def test_nobody_reads_the_output_and_nobody_minds(self):
        reader, writer = os.pipe()
        os.close(reader)
        run = self.start(stdout=writer, ignored=[signal.SIGPIPE])
        os.close(writer)
        self.assertEqual(run.wait(PATIENCE), 1)
        self.assertEqual(os.listdir(self.temp), [])

    def test_ignored_signals_stay_ignored(self):
        for number in SIGNALS:
            with self.subTest(number):
                run = self.start_until_temporary_file(ignored=[number])
                self.assertEqual(signal_mask(run.pid, "SigIgn") & set(SIGNALS), {number})
                self.assertEqual(signal_mask(run.pid, "SigCgt") & set(SIGNALS), set(SIGNALS) - {number})
                run.send_signal(number)
                keys = [record[:10] for record in iter(lambda: run.stdout.read(RECORD), b"")]
                self.assertEqual(run.wait(PATIENCE), 0)
                self.assertEqual(keys, self.sorted_keys)
                self.assertEqual(os.listdir(self.temp), [])

    def test_another_file_in_its_place_stays(self):
        run = self.start_until_temporary_file()
        other = os.path.join(self.folder.name, "other")
        with open(other, "w", encoding="ascii") as file:
            file.write("mine")
        os.replace(other, self.path_of(run))
        run.send_signal(signal.SIGTERM)
        run.wait(PATIENCE)
        with open(self.path_of(run), encoding="ascii") as file:
            self.assertEqual(file.read(), "mine")
        os.remove(self.path_of(run))

    def test_what_cannot_be_caught_leaves_it(self):
        run = self.start_until_temporary_file()
        run.kill()
        self.assertEqual(run.wait(PATIENCE), -signal.SIGKILL)
        self.assertEqual(os.listdir(self.temp), [os.path.basename(self.path_of(run))])
        self.assertEqual(os.stat(self.path_of(run)).st_mode & 0o777, 0o600)
        os.remove(self.path_of(run))


if __name__ == "__main__":
    unittest.main()
