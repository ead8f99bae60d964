// csv_model.h: CSV said as plainly as possible: where records and fields are, and in what order records go.
//
//   CsvRules rules{.keys = {{.column = 2, .numeric = true}}, .stable = true};
//   EXPECT_TRUE(is_sorted_output(out, csv_items(data, rules), rules.order()));
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/model.h"

namespace support {

/// How the bytes are cut.
struct CsvShape {
    std::string newline = "\n";
    std::string delimiter = ",";
    char quote = '"';
};

struct CsvField {
    std::int64_t at = 0; ///< from the record's first byte
    std::int64_t length = 0;
};
inline bool operator==(const CsvField &a, const CsvField &b) { return a.at == b.at && a.length == b.length; }

struct CsvRecord {
    std::size_t at = 0; ///< from the first byte of the data
    std::string bytes;  ///< newline code included
    std::vector<CsvField> fields;
};

struct CsvKey {
    int column = 1;
    bool numeric = false;
    bool descending = false;
};

struct CsvRules {
    CsvShape shape = {};
    std::vector<CsvKey> keys = {}; ///< none: all fields, or with `whole` cleared nothing at all
    bool whole = true;
    bool descending = false; ///< of the whole record
    bool empty_last = false;
    bool stable = false;
    bool unique = false;

    /// The rules behind the values, for model_sort and is_sorted_output. With `unique`, duplicates are taken to be
    /// equal in order; under `empty_last` a number 0 and an empty field are not.
    [[nodiscard]] Rules order() const { return {.keys = {}, .stable = stable, .unique = unique}; }
};

/// The first place of the pattern in [from, to) with an even number of quotes from `from` on up to and including it;
/// npos when there is none.
std::size_t csv_find(const std::string &text, std::size_t from, std::size_t to, const std::string &pattern, char quote);

/// The terminated records; what is left behind the last one belongs to none.
std::vector<CsvRecord> csv_records(const std::string &data, const CsvShape &shape);

/// The bytes that these records take together.
std::size_t csv_size(const std::vector<CsvRecord> &records);

/// The field of each key, or nothing when one is missing. A column serves the first key that names it, no other.
std::optional<std::vector<CsvField>> csv_key_fields(const CsvRecord &record, const std::vector<CsvKey> &keys);

/// The records that have all key columns, with what is compared.
std::vector<Item> csv_items(const std::string &data, const CsvRules &rules);

/// The other records, one behind the other in the order of the error file: the last one first.
std::string csv_rejected(const std::string &data, const CsvRules &rules);

/// -1, 0, 1 as the head a of a run stands before, beside or behind b: by the keys, or the whole records with the field
/// counts deciding as soon as a field ties.
int csv_head_order(const CsvRecord &a, const CsvRecord &b, const CsvRules &rules);

/// The second is a duplicate of the first.
bool csv_same(const CsvRecord &a, const CsvRecord &b, const CsvRules &rules);

/// What the merge of these sorted blocks gives, by the literal procedure.
std::string csv_merge(const std::vector<std::vector<CsvRecord>> &blocks, const CsvRules &rules);

/// The data with the newline code that an input without a final one is given.
std::string csv_ended(const std::string &data, const CsvShape &shape);

} // namespace support
