// kx_newline_split.h: what the split sorts of newline-ended and CSV records share: data that do not end with a newline
// code get one, and a record that a chunk's end has cut is read again at the start of the next chunk.
#pragma once

#include <algorithm>
#include <cstring>

#include "kx_sort/kx_index_scan.h"
#include "kx_sort/kx_split_loop.h"
#include "kx_utils/kx_text.h"

namespace orkan {

class kx_newline_split {
  public:
    static constexpr bool kCallerCounts = false;
    static constexpr bool kSkipsEmptyIndex = true;
    static constexpr bool kCountsRecords = true;

    [[nodiscard]] kx_i64 buffer_size() const { return buffer_size_; }
    [[nodiscard]] kx_i64 read_size() const { return read_size_; }
    [[nodiscard]] kx_i64 held() const { return held_; }

    /// After a short read, the input's end, appends a missing newline code.
    kx_i64 complete(char *&buf, kx_i64 got) {
        at_end_ = got < read_size_;
        if (!at_end_) {
            return got;
        }
        const Bytes sep{argsInfo.sep, argsInfo.sep_len};
        const bool ends = ends_with({buf, got}, sep);
        const kx_i64 length = ends ? got : got + sep.len;
        if (!enlarge(buf, length)) {
            return -1;
        }
        if (!ends) {
            std::memcpy(buf + got, sep.ptr, to_size(sep.len));
            argsInfo.totalFileSize = add_saturating(argsInfo.totalFileSize, sep.len);
        }
        read_size_ = length;
        return length;
    }

    /// In complete mode: a newline code that was appended is the end, or what follows would be half a record.
    [[nodiscard]] bool ended() const { return at_end_ && keeps_every_record(); }

    /// At the input's end an unindexed rest is left alone. A chunk without any whole record is kept and read on: it
    /// becomes large enough for the rest of the input. In complete mode, where a record of any length may be cut, it
    /// grows step by step instead.
    int settle(kx_stream &in, char *&buf, kx_i64 length) {
        const kx_i64 cut = length - bufDealedSize;
        held_ = 0;
        if (cut == 0 || at_end_) {
            return 0;
        }
        if (bufDealedSize > 0) {
            return kx_stream_seek_by(in, -cut) ? 0 : kx_fail(msg::kReadSplitInput);
        }
        const kx_i64 rest = input_size_ + argsInfo.sep_len;
        const kx_i64 larger = keeps_every_record() ? next_step() : std::max(rest, 2 * read_size_);
        if (!enlarge(buf, larger)) {
            return 1;
        }
        read_size_ = larger;
        held_ = length;
        return 0;
    }

  protected:
    [[nodiscard]] kx_i64 longest_tail() const { return kx_longest_tail(at_end_); }

    /// Even the smallest input is read byte by byte at least.
    void set_sizes(kx_i64 input_size, kx_i64 read_size, kx_i64 buffer_size) {
        input_size_ = input_size;
        read_size_ = std::max<kx_i64>(read_size, 1);
        buffer_size_ = std::max(buffer_size, read_size_);
    }

  private:
    /// To the limit of a record at most; what is longer was refused.
    [[nodiscard]] kx_i64 next_step() const { return std::min(2 * read_size_, kx_longest_record()); }

    bool enlarge(char *&buf, kx_i64 size) {
        if (size <= buffer_size_) {
            return true;
        }
        auto *larger = static_cast<char *>(kx_realloc(memPool, buf, size));
        if (larger == nullptr) {
            kx_say(msg::kSplitBuffer, size / 1024);
            return false;
        }
        buf = larger;
        buffer_size_ = size;
        return true;
    }

    kx_i64 input_size_ = 0, read_size_ = 0, buffer_size_ = 0, held_ = 0;
    bool at_end_ = false;
};

} // namespace orkan
