"""random_test.py: a few hundred small sorts against Python's own sort."""

import functools
import random

import orkan
from orkan import Key
from support import BoxTest

CASES = 150


def compared(a, b):
    return (a > b) - (a < b)


def number(text):
    """A sign, digits, and whatever follows."""
    sign = -1 if text[:1] == b"-" else 1
    digits = text[1:] if text[:1] in (b"-", b"+") else text
    count = next((i for i, byte in enumerate(digits) if not chr(byte).isdigit()), len(digits))
    return sign * int(digits[:count] or 0)


def _value(text, key, apart):
    if not key.numeric:
        return text
    return number(text), apart and not text


def model(records, keys, place, options):
    """Stable, by the bytes that place(record, key) gives."""

    def order(a, b):
        for key in keys:
            x, y = place(a, key), place(b, key)
            if options["empty_last"] and (not x or not y):
                decided = compared(not x, not y)
            else:
                decided = compared(number(x), number(y)) if key.numeric else compared(x, y)
                if not decided and key.numeric and options["apart"]:
                    decided = compared(bool(x), bool(y))  # an empty column is no 0
                decided = -decided if key.descending != options["reverse"] else decided
            if decided:
                return decided
        return 0

    ordered = sorted(records, key=functools.cmp_to_key(order))
    if not options["unique"]:
        return ordered
    values = [[_value(place(r, key), key, options["apart"]) for key in keys] for r in ordered]
    return [r for i, r in enumerate(ordered) if i == 0 or values[i] != values[i - 1]]


class Random(BoxTest):
    def check(self, dice, records, keys, place, head=b"", **options):
        """In two inputs, each with the header line if there is one; then whole, as it is and sorted."""
        order = {"reverse": dice.random() < 0.5, "empty_last": "csv" in options and dice.random() < 0.5}
        options |= {"keys": keys, "header": head != b"", "in_process": True, "temp_dir": self.temp, **order}
        unique, complete = dice.random() < 0.5, dice.random() < 0.5
        apart = complete and unique and "csv" in options
        expected = head + b"".join(model(records, keys, place, {**order, "unique": unique, "apart": apart}))
        options["complete"] = complete
        at = dice.randrange(len(records) + 1)
        files = [self.write("x", head + b"".join(records[:at])), self.write("y", head + b"".join(records[at:]))]
        self.expect_bytes(orkan.sort(files, stable=True, unique=unique, **options), expected)
        if not unique:
            whole = head + b"".join(records)
            self.assertIs(orkan.is_sorted(self.write("whole", whole), **options), whole == expected)
            self.assertTrue(orkan.is_sorted(self.write("whole", expected), **options))

    def bytes_keys(self, dice, width):
        keys = []
        for _ in range(dice.randint(1, 3)):
            position = dice.randrange(width)
            length = dice.randint(1, width - position)
            numeric, descending = dice.random() < 0.4, dice.random() < 0.5
            keys.append(Key(position=position, length=length, numeric=numeric, descending=descending))
        return keys

    def place_of_bytes(self, record, key):
        return record[key.position : key.end]

    def test_fixed_length_records(self):
        dice = random.Random(1)
        for case in range(CASES):
            width = dice.randint(1, 12)
            records = [bytes(dice.choices(b"-+0123a", k=width)) for _ in range(dice.randint(1, 40))]
            with self.subTest(case):
                self.check(dice, records, self.bytes_keys(dice, width), self.place_of_bytes, record_length=width)

    def test_lines(self):
        dice = random.Random(2)
        for case in range(CASES):
            width = dice.randint(1, 8)
            newline = dice.choice(["\n", "\r", "\r\n"])
            lines = [
                bytes(dice.choices(b"-+0123a", k=width + dice.randrange(4))) + newline.encode()
                for _ in range(dice.randint(1, 40))
            ]
            with self.subTest(case):
                self.check(dice, lines, self.bytes_keys(dice, width), self.place_of_bytes, newline=newline)

    def test_csv(self):
        dice = random.Random(3)
        for case in range(CASES):
            columns = dice.randint(1, 4)
            delimiter, newline = dice.choice([",", "\t", "::"]), dice.choice(["\n", "\r\n"])
            names = [f"column {i}" for i in range(columns)]
            rows = [[self.field(dice, delimiter) for _ in range(columns)] for _ in range(dice.randint(1, 40))]
            lines = [(delimiter.join(row) + newline).encode() for row in [names, *rows]]
            fields_of = {line: [field.encode() for field in row] for line, row in zip(lines[1:], rows)}
            named = dice.random() < 0.5
            keys = [
                Key(
                    dice.choice([names[i], i + 1]) if named else i + 1,
                    numeric=dice.random() < 0.4,
                    descending=dice.random() < 0.5,
                )
                for i in dice.sample(range(columns), dice.randint(1, columns))
            ]

            def place(record, key):
                column = names.index(key.column) if isinstance(key.column, str) else key.column - 1
                return fields_of[record][column]

            with self.subTest(case):
                head = lines[0] if named else b""
                self.check(dice, lines[1:], keys, place, head, csv=True, delimiter=delimiter, newline=newline)

    def field(self, dice, delimiter):
        text = "".join(dice.choices("-0123aü", k=dice.randrange(4)))
        return f'"{text}{delimiter}""\n"' if dice.random() < 0.2 else text


if __name__ == "__main__":
    import unittest

    unittest.main()
