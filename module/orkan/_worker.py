"""_worker.py EXTENSION: runs one sort for the process that started it, which hands over the job on standard input.

The sort itself is a child of this process, for it cannot be interrupted. This one waits for it, and for the end of
standard input or anything more on it: then the process above has given up or is gone, and the sort ends with its
temporary files. Run as a file, it needs nothing of the package.
"""

import ctypes
import importlib.util
import json
import os
import shutil
import signal
import sys
import threading

STANDARD_INPUT = 0
SET_PARENT_DEATH_SIGNAL = 1  # of Linux's prctl


def received(count):
    data = b""
    while len(data) < count:
        more = os.read(STANDARD_INPUT, count - len(data))
        if not more:
            sys.exit(1)  # nobody waits for us any more
        data += more
    return data


def read_job():
    return json.loads(received(int.from_bytes(received(8), "big")))


def sort(extension, arguments):
    spec = importlib.util.spec_from_file_location("_orkan", extension)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module.orkan(arguments)


def die_with(parent):
    ctypes.CDLL(None).prctl(SET_PARENT_DEATH_SIGNAL, signal.SIGKILL)
    if os.getppid() != parent:
        sys.exit(1)


def start_sort(extension, arguments):
    us = os.getpid()
    child = os.fork()
    if child == 0:
        die_with(us)
        sys.exit(sort(extension, arguments))
    return child


def end_like(status):
    code = os.waitstatus_to_exitcode(status)
    if code < 0:
        if -code != signal.SIGKILL:
            signal.signal(-code, signal.SIG_DFL)
        os.kill(os.getpid(), -code)
    sys.exit(code)


def main():
    for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP):
        signal.signal(number, signal.SIG_IGN)  # a terminal's signals are for the process above
    job = read_job()
    child = start_sort(sys.argv[1], job["arguments"])
    stopped = threading.Event()

    def stop_when_told():
        os.read(STANDARD_INPUT, 1)
        stopped.set()
        os.kill(child, signal.SIGKILL)

    threading.Thread(target=stop_when_told, daemon=True).start()
    _, status = os.waitpid(child, 0)
    if stopped.is_set():
        shutil.rmtree(job["folder"], ignore_errors=True)
    end_like(status)


if __name__ == "__main__":
    main()
