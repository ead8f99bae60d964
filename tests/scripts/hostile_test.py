"""hostile_test.py COMMAND CPU_SECONDS: arguments and data made to do harm, in both modes."""

import unittest

from hostile import ARGUMENTS, CPU_SECONDS, KEY, LINES, SORTED, TOO_LONG, TOO_LONG_JA, Hostile


class Numbers(Hostile):
    def test_keys_out_of_range(self):
        bad = ["-1,2", "2147483648,1", "4294967296,1", "9" * 20 + ",1", "0,2147483648", "0,4294967296", "0,-1"]
        bad.append("0," + "9" * 20)
        for key in bad:
            with self.subTest(key):
                self.assert_refused(KEY + ARGUMENTS, "-K", key, "in")
                self.assert_refused(KEY + ARGUMENTS, "-L3", "-K", key, "in")
        for key in ["-1", "0", "2147483648", "4294967297", "9" * 20]:
            with self.subTest(csv=key):
                self.assert_refused(KEY + ARGUMENTS, "-C", "-K", key, "in")

    def test_keys_behind_all_records(self):
        for key in ["2147483647,1", "2147483647,2147483647n", "0,999999999n", "999999999,999999999d"]:
            for path, args, data in self.in_every_path(["-K", key, "-E", "short"], "in", LINES):
                self.assert_gives(b"", *args, stdin=data)
                self.assertEqual(sorted(self.read(b"short").split()), SORTED.split(), path)
        for key in ["999999999n", "2147483647"]:
            for path, args, data in self.in_every_path(["-C", "-K", key, "-E", "short"], "in", LINES):
                self.assert_gives(b"", *args, stdin=data)
                self.assertEqual(sorted(self.read(b"short").split()), SORTED.split(), path)

    def test_a_key_without_length(self):
        self.assert_refused("ソートキー[999999999]指定不正！\n", "-K", "999999999n", "in")

    def test_record_lengths_of_many_digits(self):
        for length in ["4294967297", "9223372036854775807", "12345678901234567890", "9" * 20]:
            self.assert_refused("☆ Invalid size [1] for input file 9!\n", "-L", length, "-A", "in")

    def test_memory_sizes_of_many_digits(self):
        for size in ["9" * 20, "12345678901234567890K", "9" * 20 + "M", "9223372036854775807m"]:
            self.assert_gives(SORTED, "-W", size, "-A", "in")


class Data(Hostile):
    def test_zeros_everywhere(self):
        zeros = b"\0\0\n\0\na\0b\n\n\0\0\0\n" * 3
        expected = b"".join(sorted(zeros.splitlines(True)))
        self.write(b"sorted", expected)
        self.write(b"zeros", zeros)
        for path, args, data in self.in_every_path(["-A"], "sorted", zeros):
            name = "sorted" if path == "merge" else "zeros"
            self.assert_gives(expected, *args[:-1], *([name] if data == b"" else args[-1:]), stdin=data)
        self.write(b"nulls", b"\0\0\0\0" * 5 + b"\0a\0\0")
        for _, args, data in self.in_every_path(["-L4", "-K1,2n", "-S"], "nulls", self.read(b"nulls")):
            self.assert_gives(self.read(b"nulls"), *args, stdin=data)

    def test_a_gigabyte_without_a_newline(self):
        with open(self.path(b"big"), "wb") as file:
            file.truncate(1 << 30)
        no_header = "☆ Error occurred while reading CSV file header!\n"
        if not self.complete:
            no_header = "☆CSVファイルのヘッダ読み込み中にエラーが発生しました！\n"
        for args, message in [
            (["-A"], TOO_LONG),
            (["-K0,5"], TOO_LONG),
            (["-C", "-A"], TOO_LONG_JA),
            (["-C", "-K1"], TOO_LONG_JA),
            (["-C", "-H", "-K1"], no_header),
            (["-M", "-A"], TOO_LONG),
            (["-M", "-C", "-A"], TOO_LONG_JA if self.complete else TOO_LONG),
        ]:
            with self.subTest(args):
                self.assert_refused(message, *args, "-W16M", "big")
        for args, message in [(["-A"], TOO_LONG), (["-C", "-A"], TOO_LONG_JA)]:
            with self.subTest(stdin=args), open(self.path(b"big"), "rb") as big:
                self.assert_refused(message, *args, "-W16M", stdin=big)

    def test_five_million_columns(self):
        row = b"," * 5_000_000 + b"z\n"
        rows = row + b"a" + row
        self.write(b"wide", rows)
        self.assert_gives(rows, "-C", "-S", "-A", "wide")
        self.assert_gives(rows, "-C", "-S", "-K5000001", "wide")
        self.assert_gives(b"a" + row + row, "-C", "-S", "-K5000001n", "-K1d", "wide")
        self.assert_gives(rows, "-C", "-S", "-M", "-A", "wide")
        self.assert_gives(rows, "-C", "-S", "-A", stdin=rows)
        if self.complete:
            self.assert_gives(rows, "-C", "-S", "-A", "-W16M", "wide")
        else:
            self.assert_refused(TOO_LONG_JA, "-C", "-S", "-A", "-W16M", "wide")

    def test_an_unbalanced_quote_at_the_start(self):
        """By design what is left behind the last record is dropped, or refused from 640 KiB on. Complete mode drops
        nothing."""
        rows = b"b,1\na,2\n" * 1000
        for _, args, data in self.in_every_path(["-C", "-K1"], "open", b'"' + rows):
            self.write(b"open", b'"' + rows)
            if self.complete:
                self.assert_refused(TOO_LONG_JA, *args, stdin=data)
            else:
                self.assert_gives(b"", *args, stdin=data)
        for _, args, data in self.in_every_path(["-C", "-K1"], "open", b'"' + rows * 100):
            self.write(b"open", b'"' + rows * 100)
            self.assert_refused(TOO_LONG_JA, *args, stdin=data)

    def test_numbers_in_nothing_but_white_space(self):
        """White space does not count against a numeric key's limit, so by default each is looked for to the end."""
        for record, count, options in [
            (b"\n", 1_000_000, ["-K0,1n"]),
            (b" " * 4, 1 << 18, ["-L4", "-K0,1n", "-K2,1dn"]),
            (b"\t" * 5 + b"\n", 300_000, ["-C", "-D", "\\t", "-K1n", "-K3n"]),
        ]:
            self.write(b"blank", record * count)
            for order, left in [("-S", count), ("-U", 1)]:
                for _, args, data in self.in_every_path([*options, order], "blank", record * count):
                    self.assert_gives(record * left, *args, stdin=data)
        threes, fives = (b"\n" * 999 + b"3\n") * 500, (b"\n" * 999 + b"5\n") * 500
        self.write(b"few", fives + threes)
        if self.complete:  # an empty line is 0
            threes, fives = b"\n" * 999_000 + b"3\n" * 500, b"5\n" * 500
        self.assert_gives(threes + fives, "-S", "-K0,1n", "few")

    def test_numbers_between_which_white_space_goes_back_and_forth(self):
        texts = [bytes(b"\t\n\v\f\r "[n // 6**place % 6] for place in range(7)) for n in range(50_000)]
        records = [(text + (b"%d" % part if text is texts[-1] else b" "), part) for part in (4, 3, 2, 1) for text in texts]
        if self.complete:  # a number ends with its key
            records = [(record, int(record[7:].strip() or b"0")) for record, _ in records]
        self.write(b"blank", b"".join(record for record, _ in records))
        in_order = sorted(records, key=lambda record: (record[0][:7], record[1]))
        self.assert_gives(b"".join(record for record, _ in in_order), "-L8", "-S", "-K0,7", "-K7,1n", "blank")

    def test_a_long_number_that_many_are_compared_with(self):
        for long, short in [(b" " * 1_000_000 + b"\n", b" \n"), (b"0" * 1_000_000 + b"\n", b"0\n")]:
            self.write(b"zeros", long + short * 100_000)
            for args in (["-M", "-C", "-K1n"], ["-C", "-K1n", "-Verbose"], ["-M", "-K0,1n"]):
                with self.subTest(args=args, long=long[:1]):
                    self.assertEqual(self.run_orkan(*args, "-U", "-S", "-O", "out", "zeros", "zeros")[0], 0)
                    self.assertTrue(self.read(b"out") == long)

    def test_long_and_quoting_delimiters(self):
        long = "x" * 65536
        rows = [f"{n}{long}{9 - n}\n".encode() for n in (3, 1, 2)]
        for _, args, data in self.in_every_path(["-C", "-D", long, "-K1"], "rows", b"".join(rows)):
            self.write(b"rows", b"".join(sorted(rows) if "-M" in args else rows))
            self.assert_gives(rows[1] + rows[2] + rows[0], *args, stdin=data)
        self.assert_gives(rows[0] + rows[2] + rows[1], "-C", "-D", long, "-K2n", "rows")
        # Nothing ends between the two quotes, so this is one record; a delimiter's own first quote counts as well.
        one = b'b",1\na",2\n'
        self.write(b"quoting", one)
        for delimiter, columns in ('",', 2), ('"', 2), ('""', 1):
            for _, args, data in self.in_every_path(["-C", "-D", delimiter, "-K1"], "quoting", one):
                self.assert_gives(one, *args, stdin=data)
            self.assert_gives(one, "-C", "-D", delimiter, f"-K{columns}", "quoting")
            self.assert_gives(b"", "-C", "-D", delimiter, f"-K{columns + 1}", "-E", "short", "quoting")
            self.assertEqual(self.read(b"short"), one)


class CompleteNumbers(Numbers):
    complete = True


class CompleteData(Data):
    complete = True
    cpu_seconds = 2 * CPU_SECONDS  # a gigabyte without a newline is read before it is refused


if __name__ == "__main__":
    unittest.main()
