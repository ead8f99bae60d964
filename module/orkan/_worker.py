"""_worker.py EXTENSION FOLDER [FILE]: runs one sort for the process that started it.

Standard input is a channel both ways: the sort's arguments come in, and its status goes out, that of a signal negative.
The sort itself is a child of this process, for it cannot be interrupted. This one waits for it, and for the channel's
end: then the process above has given up or is gone, and the sort ends, and its temporary folder and file with it.
SIGINT and its like are for the process above, which starts this one with them blocked. Run as a file, it needs nothing
of the package.
"""

import contextlib
import ctypes
import importlib.util
import json
import os
import shutil
import signal
import sys
import threading

CHANNEL = 0
SET_PARENT_DEATH_SIGNAL = 1  # of Linux's prctl


def received(count):
    data = b""
    while len(data) < count:
        more = os.read(CHANNEL, count - len(data))
        if not more:
            end(abandoned=True)
        data += more
    return data


def received_arguments():
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
        os.dup2(os.open(os.devnull, os.O_RDONLY), CHANNEL)
        sys.exit(sort(extension, arguments))
    return child


def could_tell(status):
    with contextlib.suppress(OSError):
        return os.write(CHANNEL, str(status).encode()) > 0
    return False


def end(abandoned):
    """At once: while an interpreter puts its things away nobody sees the process above go."""
    if abandoned:
        folder, *files = sys.argv[2:]
        shutil.rmtree(folder, ignore_errors=True)
        for file in files:
            with contextlib.suppress(OSError):
                os.unlink(file)
    os._exit(0)


def main():
    signal.signal(signal.SIGCHLD, signal.SIG_DFL)  # a caller may ignore it, and then there is nothing to wait for
    child = start_sort(sys.argv[1], received_arguments())
    stopped = threading.Event()

    def stop_at_the_end():
        os.read(CHANNEL, 1)
        stopped.set()
        os.kill(child, signal.SIGKILL)

    threading.Thread(target=stop_at_the_end, daemon=True).start()
    _, status = os.waitpid(child, 0)
    end(abandoned=stopped.is_set() or not could_tell(os.waitstatus_to_exitcode(status)))


if __name__ == "__main__":
    main()
