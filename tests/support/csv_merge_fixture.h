// csv_merge_fixture.h: the merge of CSV blocks that are written down as texts.
#pragma once

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/csv_blocks.h"

namespace support {

using Block = std::vector<CsvRecord>;

inline const std::string kReleased = "メモリ解放がかかった[#]msです。\n";
inline const std::string kUnreadable = "☆一時ファイルの読み込み中にエラーが発生しました！\n"; // in every language

class MergeCsv : public CsvBlocks {
  protected:
    struct Outcome {
        int status = -1;
        std::string messages, output;
    };

    /// Merges the blocks of dataInfo, which stand in these bytes, with `budget` bytes above the reserve.
    Outcome merge(const std::string &temporary, kx_i64 budget) {
        box.write("temporary", temporary);
        argsInfo.totalMemSize = BASIC_SIZE + budget;
        Outcome outcome;
        with_files("temporary", "out", [&](kx_stream &tmp, kx_stream &out) {
            outcome.messages = steady(messages_of([&] { outcome.status = kx_mergeSortFile_csv(tmp, out); }));
        });
        outcome.output = box.read("out");
        return outcome;
    }

    /// The blocks' bytes, and their descriptors in dataInfo.
    std::string store(const std::vector<Block> &blocks) {
        std::string file;
        for (const Block &records : blocks) {
            std::string stored;
            for (const CsvRecord &record : records) {
                stored += temporary_record(record.bytes, locators_of(record, rules_));
                argsInfo.maxRecLen = std::max(argsInfo.maxRecLen, to_i64(record.bytes.size()));
            }
            add_block(file, stored, records.size());
        }
        return file;
    }

    /// Blocks of one text each, in the order in which they are written down.
    [[nodiscard]] std::vector<Block> blocks_of(const std::vector<std::string> &texts) const {
        std::vector<Block> blocks;
        for (const std::string &text : texts) {
            blocks.push_back(csv_records(text, rules_.shape));
        }
        return blocks;
    }

    std::string merged(const std::vector<std::string> &texts, kx_i64 budget = 1 << 20) {
        argsInfo.maxRecLen = 0;
        const Outcome outcome = merge(store(blocks_of(texts)), budget);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.messages, kReleased);
        EXPECT_EQ(kx_list_len(dataInfo.list), 0);
        EXPECT_EQ(memPool->qnum, 0);
        dataInfo.cnt = 0;
        return outcome.output;
    }

    void expect_as_model(const std::vector<Block> &blocks, kx_i64 budget) {
        argsInfo.maxRecLen = 0;
        const std::string file = store(blocks);
        const Outcome outcome = merge(file, budget);
        ASSERT_EQ(outcome.status, 0) << outcome.messages;
        ASSERT_EQ(outcome.messages, kReleased);
        ASSERT_EQ(outcome.output, csv_merge(blocks, rules_)) << "budget " << budget;
        dataInfo.cnt = 0;
    }
};

/// A record of that many bytes.
inline std::string row(const std::string &key, std::size_t bytes) {
    return key + "," + std::string(bytes - key.size() - 2, '.') + "\n";
}

inline std::string random_records(std::mt19937 &random, const CsvShape &shape) {
    std::string text;
    for (std::size_t n = 1 + random() % 30; n > 0; --n) {
        for (std::size_t fields = 1 + random() % 4; fields > 0; --fields) {
            static const std::string values[] = {"",  "",   "a",   "b",        "ab",       "abc", "0",
                                                 "7", "-7", "+7x", "\"q,\n\"", "\"\"\"\"", "10"};
            text += values[random() % std::size(values)] + (fields > 1 ? shape.delimiter : "");
        }
        text += random() % 20 == 0 ? std::string(random() % 200, '.') + shape.newline : shape.newline;
    }
    return text;
}

inline CsvRules random_rules(std::mt19937 &random) {
    static const CsvShape shapes[] = {{}, {.delimiter = ";;"}, {.newline = "\r\n"}};
    const auto flip = [&] { return random() % 2 == 0; };
    CsvRules rules{
        .shape = shapes[random() % 3], .descending = flip(), .empty_last = flip(), .stable = flip(), .unique = flip()};
    for (int n = static_cast<int>(random() % 3); n > 0; --n) {
        rules.keys.push_back({.column = n, .numeric = flip(), .descending = flip()});
    }
    return rules;
}

} // namespace support
