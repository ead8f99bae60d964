"""examples_test.py EXAMPLES COMMAND FORMAT: runs examples/FORMAT.sh with the command and checks what came out against
a sort of Python's own."""

import csv
import io
import os
import subprocess
import sys
import tempfile


def read(path):
    with open(path, "rb") as file:
        return file.read()


def descending(text):
    """Sorts byte strings of one length the other way round."""
    return bytes(255 - byte for byte in text)


def expected_fixed(data):
    records = [data[i : i + 100] for i in range(0, len(data), 100)]
    return b"".join(sorted(records, key=lambda r: (r[:10], descending(r[10:20])))), b""


def expected_lines(data):
    """The newline counts as a byte of the line; the short lines come out last first."""
    lines = data.splitlines(keepends=True)
    kept = [line for line in lines if len(line) >= 19]
    short = [line for line in lines if len(line) < 19]
    return b"".join(sorted(kept, key=lambda line: line[:19])), b"".join(reversed(short))


def csv_records(data):
    """The records as bytes: a line end counts where the quotes before it are even in number."""
    start = 0
    for i, byte in enumerate(data):
        if byte == ord("\n") and data.count(b'"', start, i) % 2 == 0:
            yield data[start : i + 1]
            start = i + 1


def expected_csv(data):
    def key(record):
        row = next(csv.reader(io.StringIO(record.decode("utf-8"), newline="")))
        return row[5], -int(row[6] or 0)

    header, *records = csv_records(data)
    return header + b"".join(sorted(records, key=key)), b""


FORMATS = {
    "fixed": ("orders.dat", expected_fixed),
    "lines": ("access.log", expected_lines),
    "csv": ("customers.csv", expected_csv),
}


def main():
    examples, command, name = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]), sys.argv[3]
    data, expected = FORMATS[name]
    with tempfile.TemporaryDirectory() as folder:
        output, errors = os.path.join(folder, "a name with blanks"), os.path.join(folder, "errors")
        arguments = [os.path.join(examples, name + ".sh"), output] + ([errors] if name == "lines" else [])
        run = subprocess.run(arguments, cwd=folder, env={**os.environ, "ORKAN": command}, check=False)
        if run.returncode != 0:
            sys.exit(f"{name}.sh ended with status {run.returncode}")
        actual = read(output), read(errors) if name == "lines" else b""
        if actual != expected(read(os.path.join(examples, data))):
            sys.exit(f"{name}.sh: the output is not the sorted input")
        strangers = set(os.listdir(folder)) - {os.path.basename(output), os.path.basename(errors)}
        if strangers:
            sys.exit(f"{name}.sh left behind: {strangers}")


if __name__ == "__main__":
    main()
