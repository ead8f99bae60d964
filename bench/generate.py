#!/usr/bin/env python3
"""Makes benchmark data: the same bytes for the same arguments on every machine.

usage: generate.py SHAPE RECORDS FILE [--seed N]

  fixed       100-byte records ending in a newline; bytes 0 to 9 are a random printable key
  duplicates  the same, but with 1,000 different keys
  lines       lines of 0 to a few hundred bytes, 64 on average, random from the first byte
  csv         a header and rows of five columns: number, name, text key, quoted remark, amount

Random bytes are drawn in blocks and mapped onto 64 characters, so no byte is touched by the interpreter one by one:
100 MB of fixed records take about a second.
"""

import argparse
import itertools
import random
import string

ALPHABET = (string.ascii_letters + string.digits + "+-").encode("ascii")
PRINTABLE = bytes(ALPHABET[i % 64] for i in range(256))
# Four of 256 values end a line: a line has 63 bytes before its newline on average.
LINES = bytes(ord("\n") if i < 4 else ALPHABET[i % 64] for i in range(256))
RECORD = 100
BLOCK = 50_000  # records


def blocks(records):
    return [BLOCK] * (records // BLOCK) + ([records % BLOCK] if records % BLOCK else [])


def fixed(dice, records):
    for count in blocks(records):
        data = bytearray(dice.randbytes(count * RECORD).translate(PRINTABLE))
        data[RECORD - 1 :: RECORD] = b"\n" * count
        yield data


def duplicates(dice, records):
    keys = [dice.randbytes(10).translate(PRINTABLE) for _ in range(1000)]
    for block in fixed(dice, records):
        count = len(block) // RECORD
        chosen = b"".join(keys[n % 1000] for n in memoryview(dice.randbytes(4 * count)).cast("I"))
        for i in range(10):
            block[i::RECORD] = chosen[i::10]
        yield block


def lines(dice, records):
    while records > 0:
        block = dice.randbytes(BLOCK * 64).translate(LINES)
        count = block.count(b"\n")
        if count >= records:
            yield b"".join(itertools.islice(block.splitlines(keepends=True), records))
            return
        yield block[: block.rfind(b"\n") + 1]
        records -= count


def csv(dice, records):
    yield b"id,name,key,remark,amount\n"
    remarks = [b"", b"plain", b'"with, comma"', b'"two\nlines"', b'"so ""quoted"""', b"nothing special"]
    number = 0
    for count in blocks(records):
        text = dice.randbytes(32 * count).translate(PRINTABLE)
        amounts = memoryview(dice.randbytes(4 * count)).cast("I")
        rows = []
        for i, amount in enumerate(amounts):
            name, key = text[32 * i : 32 * i + 14], text[32 * i + 14 : 32 * i + 32]
            rows.append(b"%d,%b,%b,%b,%d\n" % (number, name, key, remarks[amount % 6], amount - 2**31))
            number += 1
        yield b"".join(rows)


SHAPES = {"fixed": fixed, "duplicates": duplicates, "lines": lines, "csv": csv}


def main():
    parser = argparse.ArgumentParser(description="Makes benchmark data.")
    parser.add_argument("shape", choices=SHAPES)
    parser.add_argument("records", type=int)
    parser.add_argument("file")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    with open(arguments.file, "wb") as file:
        for block in SHAPES[arguments.shape](random.Random(arguments.seed), arguments.records):
            file.write(block)


if __name__ == "__main__":
    main()
