"""threads_test.py: sorts of several threads in this process, in either mode: standard error and environment are one."""

import os
import unittest

from support import BoxTest, python

# One record lacks the key: an error in complete mode, dropped in the other one.
SORTS_IN_THREADS = """
import os, sys, threading, orkan

sys.setswitchinterval(1e-6)
REFUSAL = ["☆ Input file [short.csv] has a record that lacks a sort key! Specify an error file (-E)."]
wrong = []

def sort(complete):
    for _ in range(50):
        try:
            result = orkan.sort("short.csv", csv=True, keys=2, complete=complete, temp_dir=sys.argv[1], in_process=True)
        except orkan.SortError as error:
            result = list(error.messages)[:1]
        if result != (REFUSAL if complete else b"3,x\\n1,y\\n"):
            wrong.append((complete, result))

threads = [threading.Thread(target=sort, args=[n % 2 == 0]) for n in range(4)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
print(wrong, os.environ.get("ORKAN_COMPLETE"))
print("here", file=sys.stderr)
"""


class Threads(BoxTest):
    def test_sorts_in_one_process_take_turns(self):
        self.write("short.csv", "1,y\n2\n3,x\n")
        environment = {**os.environ, "LANG": "C"}
        environment.pop("ORKAN_COMPLETE", None)
        run = python(SORTS_IN_THREADS, self.temp, env=environment)
        self.assertEqual(run.stdout.decode(), "[] None\n", run.stderr.decode()[-500:])
        self.assertEqual(run.stderr.decode(), "here\n")


if __name__ == "__main__":
    unittest.main()
