// lines_index_fixture.h: the index of a block of lines.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "support/lines_fixture.h"

namespace support {

class LinesIndex : public LinesState {
  public:
    ~LinesIndex() override { release(); }
    LinesIndex(const LinesIndex &) = delete;
    LinesIndex &operator=(const LinesIndex &) = delete;

  protected:
    LinesIndex() = default;

    /// Indexes a block of exactly the bytes' size, so that a sanitizer sees the builder touch anything else.
    kx_list *index(const std::string &bytes) {
        release();
        text_ = bytes;
        block_.reset(new char[bytes.size()]);
        bytes.copy(block_.get(), bytes.size());
        list_ = _kx_get_indexList_variable(block_.get(), to_i64(bytes.size()));
        EXPECT_EQ(std::string(block_.get(), bytes.size()), text_) << "the block stays as it is";
        return list_;
    }

    /// The records of the list, each of which lies inside the block.
    [[nodiscard]] Texts listed() const {
        Texts records;
        for (kx_i64 i = 0; i < kx_list_len(list_); ++i) {
            const auto *record = static_cast<const RecordInfo *>(kx_list_get(list_, i));
            const kx_i64 at = record->addr - block_.get();
            EXPECT_GE(at, 0);
            EXPECT_LE(at + record->len, to_i64(text_.size()));
            records.push_back(text_.substr(to_size(at), static_cast<std::size_t>(record->len)));
        }
        return records;
    }
    Texts records_of(const std::string &bytes) {
        EXPECT_NE(index(bytes), nullptr);
        return listed();
    }

    void release() {
        kx_list_destroy(std::exchange(list_, nullptr), nullptr);
        kx_free(memPool, std::exchange(recordInfoArray, nullptr));
    }

    /// What the builder prints when it fails.
    std::string failure(const std::string &bytes) {
        return messages_of([&] { EXPECT_EQ(index(bytes), nullptr); });
    }

    kx_list *list_ = nullptr;

  private:
    std::string text_;
    std::unique_ptr<char[]> block_;
};

} // namespace support
