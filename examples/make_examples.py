#!/usr/bin/env python3
"""Makes the example data of this folder: orders.dat, access.log and customers.csv.

usage: make_examples.py           writes the three files
       make_examples.py --check   compares them with what would be written; status 1 when they differ

The same bytes on every machine: only random.random() of a seeded generator is used.
"""

import datetime
import os
import random
import sys

HERE = os.path.dirname(os.path.realpath(__file__))

FIRST_NAMES = (
    "Ada Amal Björn Carla Dmitri Elif Esther Fatou Gabriel Hana Hiroshi Ines Jamal Jürgen Kenji Lena Luca Maria "
    "Mehmet Mónica Nadia Olu Paolo Priya Rosa Sanjay Siobhán Tomás Wei Yuki Zoë"
).split()
LAST_NAMES = (
    "Abe Almeida Andersson Brown Costa Dubois Fischer García Haddad Ivanova Jensen Kaya Kim Kowalski Lindqvist Mori "
    "Müller Nguyen Novak O'Brien Okafor Olsen Patel Rossi Sato Schmidt Silva Tanaka Weber Yılmaz Zhang"
).split()
CITIES = {
    "DE": ("Berlin", "Hamburg", "München", "Köln"),
    "ES": ("Madrid", "Sevilla"),
    "FR": ("Lyon", "Paris", "Nantes"),
    "IE": ("Cork", "Dublin"),
    "IN": ("Chennai", "Pune"),
    "JP": ("Kyoto", "Osaka", "Sapporo", "Tokyo"),
    "NG": ("Lagos",),
    "TR": ("Ankara", "İzmir"),
}
PLAIN = str.maketrans("äéóöüáíëßİıñ", "aeoouaiesIin")


class Dice:
    """A generator that every Python version throws alike."""

    def __init__(self, seed):
        self.random = random.Random(seed).random

    def below(self, n):
        return int(self.random() * n)

    def one_in(self, n):
        return self.below(n) == 0

    def pick(self, choices):
        return choices[self.below(len(choices))]

    def shuffle(self, items):
        for i in range(len(items) - 1, 0, -1):
            j = self.below(i + 1)
            items[i], items[j] = items[j], items[i]

    def name(self):
        return f"{self.pick(FIRST_NAMES)} {self.pick(LAST_NAMES)}"

    def place(self):
        country = self.pick(sorted(CITIES))
        return country, self.pick(CITIES[country])


def ascii_text(text, width):
    """One byte per character, so that columns stay where they are."""
    return text.translate(PLAIN).encode("ascii", "replace").decode()[:width].ljust(width)


def order_record(number, dice):
    """100 bytes: order number 0-9, date 10-19, customer 21-44, city 45-58, cents 59-68, status 70-77, text 79-98."""
    date = datetime.date(2026, 1, 1) + datetime.timedelta(days=dice.below(300))
    cents = (dice.below(9000) + 100) * (1 if dice.one_in(3) else 97)
    if dice.one_in(12):
        cents = -cents
    goods = dice.pick(("paper", "pens", "lamps", "desks", "chairs", "cables", "books", "shelves"))
    record = (
        f"{number:010d}{date.isoformat()} {ascii_text(dice.name(), 24)}{ascii_text(dice.place()[1], 14)}{cents:10d} "
        f"{dice.pick(('open', 'paid', 'shipped', 'returned')):8} {f'{dice.below(40) + 1} {goods}':20}\n"
    )
    assert len(record) == 100
    return record


def orders():
    dice = Dice(1201)
    numbers = [4000000 + 7 * i + dice.below(7) for i in range(380)]
    records = [order_record(number, dice) for number in numbers]
    records += [order_record(dice.pick(numbers), dice) for _ in range(12)]  # an order that was changed later
    records += [dice.pick(records) for _ in range(8)]  # a record that came twice
    dice.shuffle(records)
    return "".join(records)


def access_line(moment, dice):
    page = dice.pick(("/", "/index.html", "/basket", "/login", "/search?q=lamp", "/api/orders", "/img/logo.png"))
    method = "POST" if page in ("/login", "/basket") else "GET"
    status = dice.pick((200, 200, 200, 200, 304, 404, 500))
    return f"{moment:%Y-%m-%d %H:%M:%S} 192.0.2.{dice.below(254) + 1:<3} {status} {dice.below(90000):6d} {method} {page}"


def access_log():
    """The logs of three servers, one behind the other, so the times start again; some lines were cut short."""
    dice = Dice(1202)
    lines = []
    for _ in range(3):
        moment = datetime.datetime(2026, 3, 14, 8, 0, 0)
        for _ in range(120):
            moment += datetime.timedelta(seconds=dice.below(40))
            line = access_line(moment, dice)
            lines.append(line[: dice.below(19)] if dice.one_in(40) else line)
    return "".join(line + "\n" for line in lines)


def csv_field(text):
    if any(c in text for c in '",\n'):
        return '"' + text.replace('"', '""') + '"'
    return text


def customer(number, dice):
    name = dice.name()
    country, city = dice.place()
    street = f"{dice.below(120) + 1} {dice.pick(('High Street', 'Harbour Road', 'Mill Lane', 'Station Square'))}"
    address = dice.pick((street, f"{street}, {city}", f"{street}\nFloor {dice.below(9) + 1}", ""))
    company = dice.pick((f"{name.split()[1]} & Sons", f"{name.split()[1]}, Ltd.", f'"{city}" Trading', ""))
    balance = "" if dice.one_in(9) else str(dice.below(200000) - 50000)
    note = dice.pick(("", "", "prefers e-mail", 'calls himself "the boss"', "pays late, but pays", "two lines\nof notes"))
    return [f"C{number:05d}", name, company, address, city, country, balance, note]


def customers():
    dice = Dice(1203)
    rows = [customer(10000 + 13 * i, dice) for i in range(200)]
    dice.shuffle(rows)
    header = ["id", "name", "company", "address", "city", "country", "balance", "note"]
    return "".join(",".join(map(csv_field, row)) + "\n" for row in [header] + rows)


FILES = {"orders.dat": orders, "access.log": access_log, "customers.csv": customers}


def main():
    if sys.argv[1:] not in ([], ["--check"]):
        sys.exit(__doc__)
    status = 0
    for name, make in FILES.items():
        path = os.path.join(HERE, name)
        contents = make().encode("utf-8")
        if not sys.argv[1:]:
            with open(path, "wb") as file:
                file.write(contents)
            continue
        with open(path, "rb") as file:
            if file.read() != contents:
                print(f"{path} is not what {sys.argv[0]} makes")
                status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
