// lines_merge_fixture.h: blocks of lines made by hand, and the merge of them.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "kx_sort/kx_unit.h"
#include "support/lines_fixture.h"

namespace support {

inline constexpr kx_i64 kStage = 655360; ///< bytes of the staging buffer of unique output

/// What a merge says when the temporary file does not hold what it should.
inline const std::string kUnread = "☆一時ファイルの読み込み中にエラーが発生しました！\n";

class LinesMerge : public LinesState {
  protected:
    /// What a merge that succeeds prints.
    std::string messages() {
        return steady(messages_of([&] { EXPECT_EQ(merge(), 0); }));
    }
    /// What a merge that fails prints.
    std::string failure() {
        return messages_of([&] { EXPECT_EQ(merge(), 1); });
    }

    /// Blocks of these records, in file order.
    void write_blocks(const std::vector<Texts> &all) {
        std::string bytes;
        for (const Texts &records : all) {
            const std::size_t begin = bytes.size();
            for (const std::string &record : records) {
                bytes += stored(record);
                argsInfo.maxRecLen = std::max(argsInfo.maxRecLen, to_i64(record.size()));
            }
            add_block(to_i64(begin), to_i64(bytes.size() - begin), to_i64(records.size()));
        }
        forge(bytes);
    }
    static std::string stored(const std::string &record) {
        return int32_bytes(static_cast<std::int32_t>(record.size())) + record;
    }
    static void add_block(kx_i64 position, kx_i64 size, kx_i64 records) {
        UnitDataInfo *block = kx_append_block(position);
        ASSERT_NE(block, nullptr);
        block->size = size;
        block->totalRecNum = records;
    }
    static void start_again() {
        use_exhausted_pool();
        argsInfo.maxRecLen = 0;
        argsInfo.outFile.outBuf = nullptr;
        argsInfo.outFile.outBufSize = argsInfo.outFile.outBufOffset = 0;
    }
};

} // namespace support
