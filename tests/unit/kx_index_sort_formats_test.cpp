// kx_index_sort_formats_test.cpp: sorting the index of lines and of CSV records, against the standard library's stable
// sort.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kx_sort/kx_choose.h"
#include "kx_sort/kx_index_sort.h"
#include "support/index.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

/// What an index builder leaves: the data in one block, the locators in arrays in the order of the data.
struct Source {
    explicit Source(const std::vector<string> &records) {
        for (const string &record : records) {
            bytes += record;
        }
        kx_data_in({bytes.data(), to_i64(bytes.size())});
        const char *addr = bytes.data();
        for (const string &record : records) {
            lines.push_back({static_cast<std::int32_t>(record.size()), addr});
            addr += record.size();
        }
    }
    [[nodiscard]] kx_list *index(bool csv) {
        kx_list *list = __kx_list_create();
        EXPECT_EQ(kx_list_init(list, to_i64(lines.size())), 0);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            kx_list_set(list, to_i64(i), csv ? static_cast<void *>(&csv_records[i]) : &lines[i]);
        }
        return list;
    }

    string bytes;
    std::vector<RecordInfo> lines;
    std::vector<RecordInfo_csv> csv_records;
    std::vector<KeyInfo_csv> fields;
};

/// Records of random length, none shorter than `least`, each ended by a newline that stands nowhere else.
std::vector<string> random_lines(std::mt19937 &random, const Alphabet &alphabet, std::size_t count, std::size_t least) {
    std::vector<string> lines(count);
    for (string &line : lines) {
        line = random_bytes(random, alphabet, least + random() % 12);
        std::replace(line.begin(), line.end(), '\n', ' ');
        line += '\n';
    }
    return lines;
}

/// CSV records of one to four fields, many of them empty.
std::vector<string> random_rows(std::mt19937 &random, const Alphabet &alphabet, std::size_t count) {
    std::vector<string> rows(count);
    for (string &row : rows) {
        for (std::size_t fields = 1 + random() % 4; fields > 0; --fields) {
            string field = random_bytes(random, alphabet, random() % 3 == 0 ? 0 : random() % 12);
            std::replace(field.begin(), field.end(), '\n', ' ');
            std::replace(field.begin(), field.end(), ',', ' ');
            row += field + (fields == 1 ? "\n" : ",");
        }
    }
    return rows;
}

/// Locates all fields of a row, or those of the sort keys; a column that is missing is empty.
std::vector<KeyInfo_csv> located(const string &row, bool all) {
    std::vector<KeyInfo_csv> fields;
    for (std::size_t from = 0; from < row.size();) {
        const std::size_t to = row.find_first_of(",\n", from);
        fields.push_back({static_cast<std::int32_t>(from), static_cast<std::int32_t>(to - from)});
        from = to + 1;
    }
    if (all) {
        return fields;
    }
    std::vector<KeyInfo_csv> keys;
    for (kx_i64 k = 0; k < argsInfo.keyNums; ++k) {
        const auto column = to_size(argsInfo.arrSortKey[k].srtPos - 1);
        keys.push_back(column < fields.size() ? fields[column] : KeyInfo_csv{});
    }
    return keys;
}

class IndexSortFormats : public RunState {
  protected:
    IndexSortFormats() { use_pool(kx_i64{1} << 23); }

    static void expect_sorted(Source &source, bool csv) {
        for (const bool stable : {true, false}) {
            const kx_list_owner list(source.index(csv));
            Items expected = items_of(list.get());
            const kx_compare compare = kx_choose_index_comparator();
            std::stable_sort(expected.begin(), expected.end(),
                             [&](const void *a, const void *b) { return compare(&a, &b) < 0; });
            ASSERT_EQ(kx_sort_index(list.get(), stable), 0);
            ASSERT_TRUE(items_of(list.get()) == expected) << (stable ? "stable" : "plain");
        }
    }

    static void expect_lines_sorted(std::size_t least) {
        for (const Alphabet &alphabet : kAlphabets) {
            for (const std::size_t count : {50U, 511U, 512U, 1500U}) {
                SCOPED_TRACE(string(alphabet.name) + ", " + std::to_string(count) + " lines");
                std::mt19937 random(static_cast<unsigned>(count));
                Source source(random_lines(random, alphabet, count, least));
                expect_sorted(source, false);
            }
        }
    }

    static void expect_rows_sorted() {
        for (const Alphabet &alphabet : kAlphabets) {
            for (const std::size_t count : {50U, 511U, 512U, 1500U}) {
                SCOPED_TRACE(string(alphabet.name) + ", " + std::to_string(count) + " rows");
                std::mt19937 random(static_cast<unsigned>(count));
                const std::vector<string> rows = random_rows(random, alphabet, count);
                Source source(rows);
                locate(source, rows);
                expect_sorted(source, true);
            }
        }
    }

  private:
    static void locate(Source &source, const std::vector<string> &rows) {
        std::vector<std::size_t> firsts;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const std::vector<KeyInfo_csv> fields = located(rows[i], argsInfo.bRecSort != kRecSortNone);
            firsts.push_back(source.fields.size());
            source.fields.insert(source.fields.end(), fields.begin(), fields.end());
            source.csv_records.push_back(
                {source.lines[i].addr, source.lines[i].len, nullptr, static_cast<std::int32_t>(fields.size())});
        }
        for (std::size_t i = 0; i < rows.size(); ++i) {
            source.csv_records[i].keyInfo = source.fields.data() + firsts[i];
        }
    }
};

constexpr std::int32_t kSequences[] = {kSeqAsc, kSeqDesc};

TEST_F(IndexSortFormats, LinesByKeys) {
    set_lines();
    for (const std::int32_t type : {kTypeAscii, kTypeNum, kTypeDatetime}) {
        for (const std::int32_t sequence : kSequences) {
            for (const std::int32_t length : {1, 7, 8, 9}) {
                SCOPED_TRACE("type " + std::to_string(type) + ", length " + std::to_string(length));
                set_keys({key(1, length, type, sequence)});
                expect_lines_sorted(to_size(length + 1));
            }
        }
    }
}

TEST_F(IndexSortFormats, LinesBySeveralKeys) {
    set_lines();
    set_keys({key(0, 1, kTypeAscii, kSeqDesc), key(2, 3, kTypeNum), key(1, 9)});
    expect_lines_sorted(10);
}

TEST_F(IndexSortFormats, WholeLines) {
    set_lines();
    for (const kx_i64 sequence : {kRecSortAsc, kRecSortDesc}) {
        argsInfo.bRecSort = sequence;
        expect_lines_sorted(0);
    }
}

TEST_F(IndexSortFormats, RowsByColumns) {
    set_csv();
    for (const kx_i64 empty_last : {0, 1}) {
        argsInfo.bNullLastOut = empty_last;
        for (const std::int32_t type : {kTypeAscii, kTypeNum}) {
            for (const std::int32_t sequence : kSequences) {
                SCOPED_TRACE("-N " + std::to_string(empty_last) + ", type " + std::to_string(type));
                set_keys({key(1, 0, type, sequence)});
                expect_rows_sorted();
                set_keys({key(2, 0, type, sequence), key(1, 0, kTypeAscii, kSeqDesc), key(3, 0, kTypeNum)});
                expect_rows_sorted();
            }
        }
    }
}

TEST_F(IndexSortFormats, WholeRows) {
    set_csv();
    for (const kx_i64 empty_last : {0, 1}) {
        argsInfo.bNullLastOut = empty_last;
        for (const kx_i64 sequence : {kRecSortAsc, kRecSortDesc}) {
            SCOPED_TRACE("-N " + std::to_string(empty_last) + ", sequence " + std::to_string(sequence));
            argsInfo.bRecSort = sequence;
            expect_rows_sorted();
        }
    }
}

} // namespace
