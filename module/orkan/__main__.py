"""python -m orkan ARGUMENT...: the command, in this process."""

import signal
import sys

from . import raw
from ._texts import checked_text


def main() -> int:
    try:
        arguments = [checked_text("argument", text) for text in sys.argv[1:]]
    except ValueError as error:
        sys.exit(f"orkan: {error}")
    signal.signal(signal.SIGINT, signal.SIG_DFL)  # Python's own handler would wait for the sort's end
    return raw(arguments)


if __name__ == "__main__":
    sys.exit(main())
