// csv_split_fixture.h: the split sort of a CSV file with a budget of a few bytes, and the blocks that a plain reading
// of its rules gives.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/csv_blocks.h"

namespace support {

class SplitCsv : public CsvBlocks {
  protected:
    struct Outcome {
        int status = -1;
        std::string messages, temporary;
    };

    /// Splits the file of those bytes with `budget` bytes above the reserve.
    Outcome split(const std::string &data, kx_i64 budget, kx_i64 size) {
        box.write("in", data);
        argsInfo.totalMemSize = BASIC_SIZE + budget;
        argsInfo.totalFileSize = to_i64(data.size());
        Outcome outcome;
        with_files("in", "temporary", [&](kx_stream &in, kx_stream &tmp) {
            EXPECT_TRUE(kx_stream_set_buffer(tmp, 64));
            outcome.messages = messages_of([&] { outcome.status = kx_splitSortFile_csv(in, tmp, size); });
        });
        outcome.temporary = box.read("temporary");
        return outcome;
    }
    Outcome split(const std::string &data, kx_i64 budget) { return split(data, budget, to_i64(data.size())); }

    /// The chunks that such a split indexes, each with what it is given at the input's end.
    [[nodiscard]] std::vector<std::string> chunks_of(const std::string &data, kx_i64 budget) const {
        const kx_i64 size = to_i64(data.size()), code = to_i64(rules_.shape.newline.size());
        kx_i64 chunk = std::max<kx_i64>(rules_.keys.empty() ? budget / 4 : budget / 2, 1);
        chunk = chunk > size ? size + code : chunk;
        kx_i64 wanted = std::max<kx_i64>(chunk - code, 1);
        std::vector<std::string> chunks;
        for (kx_i64 at = 0; at < size;) {
            const kx_i64 got = std::min(wanted, size - at);
            const std::string part = data.substr(to_size(at), to_size(got));
            if (got < wanted) {
                chunks.push_back(csv_ended(part, rules_.shape));
                return chunks;
            }
            const kx_i64 used = to_i64(csv_size(csv_records(part, rules_.shape)));
            chunks.push_back(part.substr(0, to_size(used)));
            wanted = used == 0 ? std::max(size + code, 2 * wanted) : wanted;
            at += used;
        }
        return chunks;
    }

    /// The block's records, taken apart; their locators must be those of the record.
    std::string bytes_of_block(const std::string &temporary, const UnitDataInfo &unit) {
        std::string bytes;
        auto at = static_cast<std::size_t>(unit.startPos);
        for (kx_i64 i = 0; i < unit.totalRecNum; ++i) {
            std::int32_t length = 0;
            std::memcpy(&length, temporary.data() + at, sizeof length);
            std::int32_t count = 0;
            std::memcpy(&count, temporary.data() + at + 4, sizeof count);
            const std::string record = temporary.substr(at + 8 + 8 * to_size(count), to_size(length));
            const std::vector<CsvRecord> cut = csv_records(record, rules_.shape);
            EXPECT_EQ(cut.size(), 1U) << record;
            const std::string stored = cut.empty() ? "" : temporary_record(record, locators_of(cut[0], rules_));
            EXPECT_EQ(temporary.substr(at, stored.size()), stored) << record;
            bytes += record;
            at += stored.size();
        }
        EXPECT_EQ(to_i64(at), unit.startPos + unit.size);
        return bytes;
    }

    void expect_blocks(const std::string &data, kx_i64 budget) {
        SCOPED_TRACE(std::to_string(budget) + " bytes for " + data);
        const Outcome outcome = split(data, budget);
        ASSERT_EQ(outcome.status, 0);
        ASSERT_EQ(outcome.messages, "");
        kx_i64 number = 0, position = 0;
        for (const std::string &chunk : chunks_of(data, budget)) {
            const std::vector<Item> items = csv_items(chunk, rules_);
            if (items.empty()) {
                continue;
            }
            ASSERT_LT(number, dataInfo.cnt);
            const UnitDataInfo &unit = block(number++);
            ASSERT_EQ(unit.startPos, position);
            position += unit.size;
            ASSERT_TRUE(is_sorted_output(bytes_of_block(outcome.temporary, unit), items, rules_.order()));
        }
        EXPECT_EQ(number, dataInfo.cnt);
        EXPECT_EQ(position, to_i64(outcome.temporary.size()));
        forget_blocks();
    }

    static void forget_blocks() {
        for (kx_i64 i = 0; i < kx_list_len(dataInfo.list); ++i) {
            kx_unitDataInfo_destroy(&block(i));
        }
        kx_list_destroy(dataInfo.list, nullptr);
        dataInfo = DataInfo{};
        dataInfo.list = __kx_list_create();
    }
};

} // namespace support
