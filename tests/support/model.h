// model.h: an independent sorter over strings, to compare the system with.
//
// A format cuts data into items: the record's bytes and, for each key, its value. Everything behind that (order,
// stable, unique, the checks) is the same for all formats.
//
//   std::vector<Item> items = fixed_items(data, 10, {{.position = 0, .length = 3}});
//   Lines lines = line_items("b2\na1\n", "\n", {{.position = 1, .length = 1}});
//   EXPECT_TRUE(is_sorted_output(out, items, rules));
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

namespace support {

/// One sort key: bytes of a fixed-length record or of a line.
struct ModelKey {
    std::size_t position = 0;
    std::size_t length = 0;
    bool numeric = false;
    bool descending = false;
};

struct Rules {
    std::vector<ModelKey> keys = {}; ///< none: the whole record is the key
    bool descending = false;         ///< of the whole record
    bool stable = false;
    bool unique = false;
};

/// What is compared at one key: a number or bytes.
struct KeyValue {
    bool numeric = false;
    bool descending = false;
    std::int64_t number = 0;
    std::string text = {};
};

/// One record.
struct Item {
    std::string bytes;
    std::vector<KeyValue> values;
};

/// The value of a numeric key at data[position] with `length` bytes: blanks are skipped whatever the length, then a
/// sign (which counts) and digits are taken, perhaps from behind the key, never from behind the data.
std::int64_t model_number(const std::string &data, std::size_t position, std::size_t length);

/// The records of fixed-length data, a fragment at the end left out.
std::vector<Item> fixed_items(const std::string &data, std::size_t record_length, const Rules &rules);

/// The data as they are sorted: with a newline code at their end.
std::string terminated(const std::string &data, const std::string &newline);

/// The lines of the data with their newline codes, what stands behind the last one left out. A line must reach to the
/// end of every key that has bytes, its newline code included.
struct Lines {
    std::vector<Item> kept;
    std::vector<std::string> short_ones;

    /// What an error file gets of them: the last one first.
    [[nodiscard]] std::string rejected() const {
        return std::accumulate(short_ones.rbegin(), short_ones.rend(), std::string());
    }
};
Lines line_items(const std::string &data, const std::string &newline, const Rules &rules);

/// The items in order; equal ones keep theirs; of equal ones only the first with `unique`.
std::vector<Item> model_sort(std::vector<Item> items, const Rules &rules);

/// All bytes, one item behind the other.
std::string joined(const std::vector<Item> &items);

/// Success when `output` is what a sort may give: with `stable` exactly the model's result; else the same groups of
/// equal keys in the same order, each with the same records in any order (with `unique`: any one of them).
testing::AssertionResult is_sorted_output(const std::string &output, const std::vector<Item> &items,
                                          const Rules &rules);

} // namespace support
