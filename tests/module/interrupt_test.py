"""interrupt_test.py: Ctrl-C and other ends of the caller end the sort, and nothing of it stays.

The sort goes through a temporary file to a pipe that nobody reads: it cannot end by itself."""

import os
import signal
import subprocess
import sys
import time

from support import PATIENCE, BoxTest, by_default_interrupted

CALLER = """
import sys, orkan
orkan.sort("in", "pipe", record_length=100, keys=(0, 10), memory="16M", temp_dir=sys.argv[1])
"""
# The pipe is an input that nobody writes.
IN_PLACE = """
import sys, orkan
orkan.sort(["in", "pipe"], "in", record_length=100, temp_dir=sys.argv[1])
"""
# Forks while the sort runs, and then interrupts itself.
FORKS = """
import os, signal, sys, threading, time
def fork_and_interrupt():
    while not any(files for _, _, files in os.walk(sys.argv[1])):
        time.sleep(0.01)
    if os.fork() == 0:
        time.sleep(1000)
    os.kill(os.getpid(), signal.SIGINT)
threading.Thread(target=fork_and_interrupt).start()
"""
NO_INTERRUPTS = "import signal; signal.signal(signal.SIGINT, signal.SIG_IGN)" + CALLER


def processes_with(text):
    """Numbers of the processes, zombies aside, with this in their environment or arguments."""
    found = []
    for number in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{number}/environ", "rb") as environment, open(f"/proc/{number}/cmdline", "rb") as words:
                if text.encode() in environment.read() + words.read():
                    found.append(int(number))
        except OSError:  # gone, or not ours
            pass
    return found


class Interrupt(BoxTest):
    def setUp(self):
        super().setUp()
        self.write("in", b"".join(b"%010d" % (i * 7919 % 1000003) + b"." * 90 for i in range(200000)))
        os.mkfifo("pipe")

    def wait_until(self, true, what):
        give_up = time.monotonic() + PATIENCE
        while not true():
            self.assertLess(time.monotonic(), give_up, what)
            time.sleep(0.002)

    def temporary_files(self):
        return [file for _, _, files in os.walk(self.temp) for file in files]

    def processes(self):
        return processes_with("ORKAN_TEST=" + self.temp)

    def end_all(self):
        for number in self.processes():
            os.kill(number, signal.SIGKILL)

    def start(self, program=CALLER, ready=None):
        """A caller whose sort has its temporary file and waits for a reader; or is as far as `ready` tells."""
        caller = subprocess.Popen(
            [sys.executable, "-c", program, self.temp],
            stderr=subprocess.PIPE,
            env={**os.environ, "ORKAN_TEST": self.temp},
            preexec_fn=by_default_interrupted,
            start_new_session=True,
        )
        self.addCleanup(caller.stderr.close)
        self.addCleanup(self.end_all)
        self.wait_until(ready or self.temporary_files, "the sort does not come so far")
        return caller

    def expect_end(self, caller, status):
        self.assertEqual(caller.wait(PATIENCE), status)
        self.wait_until(lambda: not self.processes(), "processes stay")
        self.wait_until(lambda: not os.listdir(self.temp), "temporary files stay")

    def test_control_c(self):
        """In a terminal it reaches the caller and the sort alike."""
        caller = self.start()
        os.killpg(caller.pid, signal.SIGINT)
        self.expect_end(caller, -signal.SIGINT)
        said = caller.stderr.read().decode()
        self.assertEqual(said.count("Traceback"), 1, said)
        self.assertTrue(said.endswith("KeyboardInterrupt\n"), said)

    def test_the_caller_alone_is_interrupted(self):
        caller = self.start()
        caller.send_signal(signal.SIGINT)
        self.expect_end(caller, -signal.SIGINT)
        self.assertEqual(os.listdir(self.temp), [])

    def test_another_child_of_the_caller_has_its_pipes(self):
        """The end of the pipe is not seen then."""
        caller = self.start(FORKS + CALLER, ready=lambda: True)  # it looks itself how far the sort is
        self.assertEqual(caller.wait(PATIENCE), -signal.SIGINT)
        self.wait_until(lambda: len(self.processes()) == 1, "processes stay")
        self.assertEqual(os.listdir(self.temp), [])

    def test_the_caller_ends(self):
        for number in signal.SIGTERM, signal.SIGHUP, signal.SIGKILL:
            with self.subTest(number):
                caller = self.start()
                caller.send_signal(number)
                self.expect_end(caller, -number)

    def test_the_terminal_goes(self):
        caller = self.start()
        os.killpg(caller.pid, signal.SIGHUP)
        self.expect_end(caller, -signal.SIGHUP)

    def test_the_whole_group_is_told_to_end(self):
        caller = self.start()
        os.killpg(caller.pid, signal.SIGTERM)
        self.expect_end(caller, -signal.SIGTERM)

    def test_a_sort_in_place_of_an_input(self):
        """The file that is to replace it goes as well."""
        before = self.read("in")
        for number, end in [
            (signal.SIGINT, os.kill),
            (signal.SIGINT, os.killpg),
            (signal.SIGTERM, os.killpg),
            (signal.SIGHUP, os.kill),
            (signal.SIGKILL, os.kill),
        ]:
            with self.subTest(number=number, end=end):
                caller = self.start(IN_PLACE, lambda: len(self.processes()) == 3)
                self.assertEqual(len(os.listdir()), 3)
                end(caller.pid, number)
                self.expect_end(caller, -number)
                self.assertEqual(sorted(os.listdir()), ["in", "pipe"])
                self.assertEqual(self.read("in"), before)

    def test_the_sort_has_no_standard_input(self):
        """The child's own is the channel to the caller."""
        caller = self.start()
        sort = self.child_of(self.child_of(caller.pid))
        self.assertEqual(os.readlink(f"/proc/{sort}/fd/0"), os.devnull)
        caller.kill()
        self.expect_end(caller, -signal.SIGKILL)

    def test_a_caller_that_ignores_it_goes_on(self):
        caller = self.start(NO_INTERRUPTS)
        os.killpg(caller.pid, signal.SIGINT)
        self.assertEqual(self.count_records(), 200000)
        self.expect_end(caller, 0)

    def test_the_sort_is_killed(self):
        """By the number of the newest process: caller, worker, sort."""
        program = CALLER.replace("orkan.sort(", "try: orkan.sort(") + "except orkan.SortError as e: sys.exit(str(e))"
        caller = self.start(program)
        os.kill(self.child_of(self.child_of(caller.pid)), signal.SIGKILL)
        self.expect_end(caller, 1)
        self.assertEqual(caller.stderr.read(), b"the sort ended by signal 9\n")

    def test_the_worker_is_killed(self):
        program = CALLER.replace("orkan.sort(", "try: orkan.sort(") + "except orkan.SortError as e: sys.exit(str(e))"
        caller = self.start(program)
        os.kill(self.child_of(caller.pid), signal.SIGKILL)
        self.expect_end(caller, 1)
        self.assertEqual(caller.stderr.read(), b"the sort ended by signal 9\n")

    def child_of(self, number):
        with open(f"/proc/{number}/task/{number}/children", encoding="ascii") as children:
            (child,) = children.read().split()
        return int(child)

    def count_records(self):
        return len(self.read("pipe")) // 100


if __name__ == "__main__":
    import unittest

    unittest.main()
