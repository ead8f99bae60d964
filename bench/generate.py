#!/usr/bin/env python3
"""Makes benchmark data: the same bytes for the same arguments on every machine.

usage: generate.py SHAPE RECORDS FILE [--seed N]

  fixed       100-byte records ending in a newline; bytes 0 to 9 are a random printable key
  duplicates  the same, but with 1,000 different keys
  lines       lines of 0 to a few hundred bytes, 64 on average, random from the first byte
  prefixed    lines of 5 to 120 bytes, most of them beginning like thousands of others
  numbers     lines that begin with a signed number padded to 12 bytes
  csv         a header and rows of eight columns, a quarter of the fields quoted: number, name, text key, remark with
              commas, quotes and line ends, amount, city, flag, comment
  plain_csv   the same rows without quotes, commas and line ends in their fields

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


PREFIXES = [b"/var/lib/service/%02d/archive/2026/" % n + b"segment/" * (n % 8) for n in range(64)]


def prefixed(dice, records):
    for count in blocks(records):
        text = dice.randbytes(24 * count).translate(PRINTABLE)
        chosen = dice.randbytes(2 * count)
        rows = []
        for i in range(count):
            row = text[24 * i : 24 * i + 4 + chosen[2 * i + 1] % 21]
            rows.append(row if chosen[2 * i] < 32 else PREFIXES[chosen[2 * i] % 64] + row)
        yield b"\n".join(rows) + b"\n"


def numbers(dice, records):
    for count in blocks(records):
        text = dice.randbytes(20 * count).translate(PRINTABLE)
        values = memoryview(dice.randbytes(4 * count)).cast("i")
        yield b"".join(b"%12d %b\n" % (value, text[20 * i : 20 * i + 20]) for i, value in enumerate(values))


CITIES = [b"Nantes", b"Lagos", b"Kyoto", b"Cork", b"Quito", b"Turku", b"Hobart", b"Fes"]
QUOTED = [b'"with, comma"', b'"two\nlines"', b'"so ""quoted"""', b'"a, b\n""c"""']
UNQUOTED = [b"with comma", b"two lines", b"so quoted", b"a b c"]


def table(dice, records, remarks, quote):
    yield b"id,name,key,remark,amount,city,flag,comment\n"
    number = 0
    for count in blocks(records):
        text = dice.randbytes(48 * count).translate(PRINTABLE)
        amounts = memoryview(dice.randbytes(4 * count)).cast("I")
        rows = []
        for i, amount in enumerate(amounts):
            name, key, comment = text[48 * i : 48 * i + 14], text[48 * i + 14 : 48 * i + 32], text[48 * i + 32 : 48 * i + 48]
            rows.append(
                b"%d,%b,%b,%b,%d,%b,%d,%b%b%b\n"
                % (number, name, key, remarks[amount % 4], amount - 2**31, CITIES[amount % 8], amount % 2, quote, comment, quote)
            )
            number += 1
        yield b"".join(rows)


def csv(dice, records):
    return table(dice, records, QUOTED, b'"')


def plain_csv(dice, records):
    return table(dice, records, UNQUOTED, b"")


SHAPES = {
    "fixed": fixed,
    "duplicates": duplicates,
    "lines": lines,
    "prefixed": prefixed,
    "numbers": numbers,
    "csv": csv,
    "plain_csv": plain_csv,
}


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
