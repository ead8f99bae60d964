// csv_index_fixture.h: the index of a block of CSV text, taken apart.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/csv_fixture.h"

namespace support {

using Fields = std::vector<CsvField>;

class CsvIndex : public CsvState {
  protected:
    /// What one index of a block holds.
    struct Built {
        bool complete = false; ///< there is a list
        std::string messages;
        std::vector<std::string> records;
        std::vector<Fields> fields;
        std::string errors; ///< all that the error file holds
    };

    Built build(const std::string &text) {
        block_.reset(new char[text.size()]);
        text.copy(block_.get(), text.size());
        Built built;
        kx_list *list = nullptr;
        built.messages = messages_of([&] { list = _kx_get_indexList_csv(block_.get(), to_i64(text.size())); });
        const kx_list_owner owner(list);
        built.complete = list != nullptr;
        for (kx_i64 i = 0; i < kx_list_len(list); ++i) {
            take(built, *static_cast<const RecordInfo_csv *>(kx_list_get(list, i)));
        }
        if (errFile.open && !errFile.failed) {
            EXPECT_TRUE(kx_stream_flush(errFile));
            built.errors = box.read("errors");
        }
        return built;
    }

    static void take(Built &built, const RecordInfo_csv &record) {
        Fields fields;
        for (kx_i64 k = 0; k < record.num; ++k) {
            fields.push_back({record.keyInfo[k].srtPos, record.keyInfo[k].len});
        }
        built.fields.push_back(fields);
        built.records.emplace_back(record.addr, record.len);
    }

    /// The payload bytes of a pool block.
    static kx_i64 payload(const void *block) { return static_cast<const kx_mmu *>(block)[-1].size; }

    void expect_as_model(const std::string &text, const CsvRules &rules) {
        configure(rules);
        argsInfo.maxRecLen = 0;
        const Built built = build(text);
        const std::vector<CsvRecord> all = csv_records(text, rules.shape);
        ASSERT_TRUE(built.complete) << text;
        ASSERT_EQ(built.messages, "");
        ASSERT_EQ(bufDealedSize, to_i64(csv_size(all)));
        ASSERT_EQ(dataEnd, block_.get() + text.size());
        std::size_t next = 0;
        kx_i64 longest = 0;
        for (const CsvRecord &record : all) {
            longest = std::max(longest, to_i64(record.bytes.size()));
            const auto fields = rules.keys.empty() ? record.fields : csv_key_fields(record, rules.keys);
            if (fields) {
                ASSERT_LT(next, built.records.size()) << text;
                ASSERT_EQ(built.records[next], record.bytes) << text;
                ASSERT_EQ(built.fields[next], *fields) << text;
                ++next;
            }
        }
        EXPECT_EQ(next, built.records.size());
        EXPECT_EQ(argsInfo.maxRecLen, longest) << "error records count";
        release_arrays();
    }

    std::unique_ptr<char[]> block_;
};

} // namespace support
