// zero_bytes_test.cpp: zero bytes in records, fields, keys, quoted fields and header lines are bytes like any other,
// and end a number like any byte that is no digit. What must come out is known from the keys that the records are made
// of.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kx_sort/kx_budget.h"
#include "support/complete_both.h"
#include "support/dice.h"
#include "support/run.h"

namespace {

using namespace support;
using std::string;
using Args = std::vector<string>;

struct Record {
    string bytes, key = {};
    long number = 0;
};
bool stands_before(const Record &a, const Record &b) {
    return a.number != b.number ? a.number < b.number : a.key < b.key; // one of them is always equal
}

struct Kind {
    const char *name;
    Args args;
    string header;
    Record (*record)(Dice &dice);
    bool numeric_csv = false;
};
void PrintTo(const Kind &kind, std::ostream *to) { *to << kind.name; }

const string kZero(1, '\0');

string bytes_of(Dice &dice, std::size_t size, const string &letters) {
    string text(size, ' ');
    for (char &c : text) {
        c = letters[dice.below(letters.size())];
    }
    return text;
}
string some(Dice &dice, std::size_t most) { return bytes_of(dice, dice.below(most + 1), kZero + "a\xff"); }

/// A number that a zero byte cuts off from more digits.
string cut_number(long number, const string &digits) { return std::to_string(number) + kZero + digits; }

Record line(Dice &dice) {
    const string key = bytes_of(dice, 4, kZero + "a\xff");
    return {some(dice, 2).append(2, 'x').substr(0, 2) + key + some(dice, 5) + "\n", key};
}
Record numbered_line(Dice &dice) {
    const long number = static_cast<long>(dice.below(19)) - 9;
    return {"x" + cut_number(number, "777").substr(0, 4) + some(dice, 5) + "\n", "", number};
}
Record fixed(Dice &dice) {
    const string key = bytes_of(dice, 4, kZero + "a\xff");
    return {bytes_of(dice, 2, kZero + "a") + key + kZero + "\n", key};
}
Record csv(Dice &dice) {
    const string key = some(dice, 4);
    return {some(dice, 3) + "," + key + "," + some(dice, 3) + "\n", key};
}
Record quoted_csv(Dice &dice) {
    const string key = "\"" + bytes_of(dice, dice.below(5), kZero + ",\n") + "\"";
    return {some(dice, 3) + "," + key + ",\"" + kZero + "\"\n", key};
}
Record numbered_csv(Dice &dice) {
    const long number = static_cast<long>(dice.below(19)) - 9;
    return {some(dice, 3) + "," + cut_number(number, "777") + "," + some(dice, 3) + "\n", "", number};
}

class ZeroBytes : public testing::TestWithParam<Kind> {
  protected:
    void make_records() {
        Dice dice(7);
        while (records.size() < 150) {
            records.push_back(GetParam().record(dice));
        }
    }
    static string all(const std::vector<Record> &records) {
        string bytes = GetParam().header;
        for (const Record &record : records) {
            bytes += record.bytes;
        }
        return bytes;
    }
    string sorted(bool unique) {
        std::vector<Record> result = records;
        std::stable_sort(result.begin(), result.end(), stands_before);
        const auto same = [](const Record &a, const Record &b) { return !stands_before(a, b) && !stands_before(b, a); };
        if (unique) {
            result.erase(std::unique(result.begin(), result.end(), same), result.end());
        }
        return all(result);
    }
    /// Through files of that name, or standard input.
    void expect_sorted(const Args &way, bool complete, bool unique, orkan::kx_small_sizes sizes = {}) {
        SCOPED_TRACE(string(complete ? "complete " : "default ") + (way.empty() ? "stdin" : way.front()) +
                     (unique ? " unique" : ""));
        Args args = GetParam().args;
        args.insert(args.end(), {"-S", unique ? "-U" : "-S"});
        args.insert(args.end(), way.begin(), way.end());
        const Outcome o = box.run({.args = args, .input = way.empty() ? all(records) : "", .before = [&] {
                                       choose_mode(complete);
                                       orkan::kx_small = sizes;
                                   }});
        EXPECT_EQ(o.status, 0) << o.err;
        EXPECT_TRUE(o.out == sorted(unique)) << o.out;
    }

    Box box;
    std::vector<Record> records;
};

TEST_P(ZeroBytes, AreBytesLikeAnyOther) {
    const orkan::kx_small_sizes tiny = {.budget = orkan::BASIC_SIZE + 400, .pool = 1024, .buffer = 256};
    const orkan::kx_small_sizes mapping = {.budget = 0, .pool = 0, .buffer = 0, .mapping = 1};
    make_records();
    box.write("in", all(records));
    box.write("sorted", sorted(false));
    for (const bool complete : {false, true}) {
        expect_sorted({"in"}, complete, false);
        expect_sorted({"in"}, complete, false, mapping);
        if (GetParam().header.empty() || complete) { // by design only the sort in memory knows a header otherwise
            expect_sorted({"-W1", "in"}, complete, false, tiny);
            expect_sorted({}, complete, false);
            expect_sorted({}, complete, false, tiny);
            expect_sorted({"-M", "sorted"}, complete, false);
        }
    }
}

TEST_P(ZeroBytes, TellKeysApart) {
    make_records();
    box.write("in", all(records));
    box.write("sorted", sorted(false));
    for (const bool complete : {false, true}) {
        expect_sorted({"in"}, complete, true);
        if (GetParam().header.empty() || complete) {
            expect_sorted({}, complete, true);
        }
        if (complete || (GetParam().header.empty() && !GetParam().numeric_csv)) { // by design: numbers are read in part
            expect_sorted({"-M", "sorted"}, complete, true);
        }
    }
}

const string kHeader = "na" + kZero + "me,\"" + kZero + "\"," + kZero + "\n";

INSTANTIATE_TEST_SUITE_P(Kinds, ZeroBytes,
                         testing::Values(Kind{"lines", {"-K2,4"}, "", line},
                                         Kind{"lines_by_number", {"-K1,4n"}, "", numbered_line},
                                         Kind{"fixed", {"-L8", "-K2,4"}, "", fixed},
                                         Kind{"csv", {"-C", "-K2"}, "", csv},
                                         Kind{"csv_quoted", {"-C", "-K2"}, "", quoted_csv},
                                         Kind{"csv_by_number", {"-C", "-K2n"}, "", numbered_csv, true},
                                         Kind{"csv_header", {"-C", "-H", "-K2"}, kHeader, csv},
                                         Kind{"csv_header_quoted", {"-C", "-H", "-K2"}, kHeader, quoted_csv}),
                         [](const auto &kind) { return kind.param.name; });

} // namespace
