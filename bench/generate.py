#!/usr/bin/env python3
"""Makes benchmark data: the same bytes for the same arguments on every machine.

usage: generate.py SHAPE RECORDS FILE [--order random|sorted|reversed] [--seed N]

  fixed              100-byte records ending in a newline; bytes 0 to 9 are a random printable key
  fixed_duplicates   the same, each key 50 times on average
  small              16-byte records of printable bytes, ending in a newline
  small_numbers      the same, but they begin with a signed number padded to 12 bytes
  lines              lines of 5 to 110 bytes, 65 on average, most of them beginning like thousands of others
  line_duplicates    the same, each line 50 times on average
  numbers            lines with a signed number padded to 12 bytes from byte 8
  csv                rows of eight columns, a quarter of the fields quoted: number, name, text key, remark with commas,
                     quotes and line ends, amount, city, flag, comment; no header

Records are ordered by all their bytes, rows by their text key. Random bytes are drawn in blocks and mapped onto 64
characters, so no byte is touched by the interpreter one by one: 500 MB of fixed records take about two seconds.
"""

import argparse
import itertools
import random
import string
from collections.abc import Callable, Iterator

ALPHABET = (string.ascii_letters + string.digits + "+-").encode("ascii")
PRINTABLE = bytes(ALPHABET[i % 64] for i in range(256))
RECORD, SMALL = 100, 16
BLOCK = 50_000  # records
COPIES = 50

Dice = random.Random
Blocks = Iterator[bytes]


def block_sizes(records: int) -> list[int]:
    return [BLOCK] * (records // BLOCK) + ([records % BLOCK] if records % BLOCK else [])


def printable(dice: Dice, count: int) -> bytes:
    return dice.randbytes(count).translate(PRINTABLE)


def whole_numbers(dice: Dice, count: int, code: str = "i") -> memoryview:
    return memoryview(dice.randbytes(4 * count)).cast(code)


def records_of(dice: Dice, records: int, size: int) -> Iterator[bytearray]:
    for count in block_sizes(records):
        data = bytearray(printable(dice, count * size))
        data[size - 1 :: size] = b"\n" * count
        yield data


def fixed(dice: Dice, records: int) -> Blocks:
    return records_of(dice, records, RECORD)


def fixed_duplicates(dice: Dice, records: int) -> Blocks:
    keys = [printable(dice, 10) for _ in range(max(1, records // COPIES))]
    for block in records_of(dice, records, RECORD):
        count = len(block) // RECORD
        chosen = b"".join(keys[n % len(keys)] for n in whole_numbers(dice, count, "I"))
        for i in range(10):
            block[i::RECORD] = chosen[i::10]
        yield block


def small(dice: Dice, records: int) -> Blocks:
    return records_of(dice, records, SMALL)


def small_numbers(dice: Dice, records: int) -> Blocks:
    row = b"%12d " + printable(dice, SMALL - 14) + b"\n"
    for count in block_sizes(records):
        yield b"".join(row % value for value in whole_numbers(dice, count))


PREFIXES = [b"/var/lib/service/%02d/archive/2026/" % n + b"segment/" * (n % 8) for n in range(64)]


def lines(dice: Dice, records: int) -> Blocks:
    for count in block_sizes(records):
        text = printable(dice, 24 * count)
        chosen = dice.randbytes(2 * count)
        rows = []
        for i in range(count):
            row = text[24 * i : 24 * i + 4 + chosen[2 * i + 1] % 15]
            rows.append(row if chosen[2 * i] < 32 else PREFIXES[chosen[2 * i] % 64] + row)
        yield b"\n".join(rows) + b"\n"


def line_duplicates(dice: Dice, records: int) -> Blocks:
    distinct = list(itertools.chain.from_iterable(b.splitlines(True) for b in lines(dice, max(1, records // COPIES))))
    for count in block_sizes(records):
        yield b"".join(distinct[n % len(distinct)] for n in whole_numbers(dice, count, "I"))


def numbers(dice: Dice, records: int) -> Blocks:
    for count in block_sizes(records):
        text = printable(dice, 28 * count)
        yield b"".join(
            b"%b%12d %b\n" % (text[28 * i : 28 * i + 8], value, text[28 * i + 8 : 28 * i + 28])
            for i, value in enumerate(whole_numbers(dice, count))
        )


CITIES = [b"Nantes", b"Lagos", b"Kyoto", b"Cork", b"Quito", b"Turku", b"Hobart", b"Fes"]
REMARKS = [b'"with, comma"', b'"two\nlines"', b'"so ""quoted"""', b'"a, b\n""c"""']
ROW = b'%d,%b,%b,%b,%d,%b,%d,"%b"\n'
LAST_OF_ROW = b'"\n'  # no remark has these two in sequence


def csv(dice: Dice, records: int) -> Blocks:
    first = 0
    for count in block_sizes(records):
        text = printable(dice, 67 * count)
        rows = []
        for i, amount in enumerate(whole_numbers(dice, count, "I")):
            at = 67 * i
            name, key, comment = text[at : at + 14], text[at + 14 : at + 32], text[at + 32 : at + 67]
            remark, city = REMARKS[amount % 4], CITIES[amount // 4 % 8]
            rows.append(ROW % (first + i, name, key, remark, amount - 2**31, city, amount % 2, comment))
        yield b"".join(rows)
        first += count


SHAPES: dict[str, Callable[[Dice, int], Blocks]] = {
    "fixed": fixed,
    "fixed_duplicates": fixed_duplicates,
    "small": small,
    "small_numbers": small_numbers,
    "lines": lines,
    "line_duplicates": line_duplicates,
    "numbers": numbers,
    "csv": csv,
}


def in_order(blocks: Blocks, shape: str, reverse: bool) -> Blocks:
    """The records of all blocks, sorted."""
    end = LAST_OF_ROW if shape == "csv" else b"\n"
    records = [record for block in blocks for record in bytes(block).split(end)[:-1]]
    records.sort(key=(lambda row: row.split(b",", 3)[2]) if shape == "csv" else None, reverse=reverse)
    for first in range(0, len(records), BLOCK):
        yield end.join(records[first : first + BLOCK]) + end


def main() -> None:
    parser = argparse.ArgumentParser(description="Makes benchmark data.")
    parser.add_argument("shape", choices=SHAPES)
    parser.add_argument("records", type=int)
    parser.add_argument("file")
    parser.add_argument("--order", choices=("random", "sorted", "reversed"), default="random")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    blocks = SHAPES[arguments.shape](random.Random(arguments.seed), arguments.records)
    if arguments.order != "random":
        blocks = in_order(blocks, arguments.shape, arguments.order == "reversed")
    with open(arguments.file, "wb") as file:
        for block in blocks:
            file.write(block)


if __name__ == "__main__":
    main()
