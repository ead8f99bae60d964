// kx_stdin.cpp: standard input, or in complete mode what kx_source.h makes of the inputs, in chunks of one capacity.
//
//   buffer   | carried | got ...                      | one byte ahead, or room for a newline code |
//            |<-------------- capacity -------------->|
//
// Only the byte behind the first chunk tells whether that is all. A record cut by a chunk's end is carried to the front
// of the buffer. By design, but not in complete mode, the first line is data, -H or not, and of fixed-length records a
// fragment at the end is dropped where chunks went to the temporary file.
#include "kx_io/kx_stdin.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "kx_io/kx_source.h"
#include "kx_io/kx_temporary_file.h"
#include "kx_io/kx_writers.h"
#include "kx_memory/kx_memory.h"
#include "kx_sort/kx_block.h"
#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_choose.h"
#include "kx_sort/kx_formats.h"
#include "kx_sort/kx_index_scan.h"
#include "kx_sort/kx_inmemory.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_progress.h"
#include "kx_utils/kx_system_memory.h"
#include "kx_utils/kx_text.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

/// Whole records as in the split sort, or the part of the budget that leaves room for locators.
kx_i64 chunk_capacity() {
    switch (kx_record_format()) {
    case kx_format::fixed: return kx_fixed_chunk_size();
    case kx_format::csv: return kx_csv_chunk_size();
    default: return kx_line_chunk_size();
    }
}

// --- temporary file ----------------------------------------------------------------------------------------------

int create_temporary_file() {
    if (argsInfo.tmpFile.dir == nullptr) {
        return kx_fail(msg::kTemporaryPath);
    }
    if (kx_create_temporary_file() != 0) {
        return 1;
    }
    kx_stream_set_buffer(tmpFile, kOutputBufferSize); // refused memory only makes it slower
    return 0;
}

/// Kept: Japanese everywhere, but for one place.
int delete_temporary_file(const kx_message<const char *> &refused) {
    kx_stream_clear(tmpFile);
    return kx_temporary_file_remove(argsInfo.tmpFile.path) ? 0 : kx_fail(refused, argsInfo.tmpFile.path);
}

// --- chunks ------------------------------------------------------------------------------------------------------

class Chunks {
  public:
    /// Takes the buffer. False with a message when memory is refused.
    bool open() {
        capacity_ = chunk_capacity();
        kx_trace(msg::kShowInputBuffer, kib_round_up(capacity_));
        buf_ = static_cast<char *>(kx_qmalloc(memPool, add_saturating(capacity_, room_behind())));
        if (buf_ == nullptr) {
            kx_say(msg::kSplitBuffer, capacity_ / 1024);
        }
        return buf_ != nullptr;
    }
    void close() { kx_qfree(memPool, buf_); }

    /// Reads the first chunk and the byte behind it. False with a message.
    bool read_first(kx_source &in) {
        const kx_i64 wanted = capacity_ + 1;
        if (!read_up_to(std::min(wanted, kWorthHugePages), in)) {
            return false;
        }
        if (!ended_) {
            kx_prefer_huge_pages(memPool, argsInfo.totalMemSize);
        }
        if (!ended_ && !read_up_to(wanted, in)) {
            return false;
        }
        ahead_ = ended_ ? 0 : 1;
        held_ -= ahead_;
        if (ahead_ > 0 && capacity_ == 0) { // not even one record fits
            kx_say(msg::kRecordTooLong, argsInfo.recLen, argsInfo.totalMemSize / 1024);
            return false;
        }
        return true;
    }

    /// Reads behind the carried bytes until the buffer is full or the input ends. False with a message.
    bool read(kx_source &in) { return read_up_to(capacity_, in); }

    /// The input has ended inside the buffer.
    [[nodiscard]] bool ended() const { return ended_; }
    [[nodiscard]] kx_i64 held() const { return held_; }
    [[nodiscard]] char *buffer() const { return buf_; }

    void end_with_newline_code() {
        if (held_ > 0 && !ends_with({buf_, held_}, sep_)) {
            std::memcpy(buf_ + held_, sep_.ptr, to_size(sep_.len));
            held_ += sep_.len;
        }
    }

    /// Keeps what follows the first `taken` bytes. False with a message when that leaves no room to read on.
    bool carry(kx_i64 taken) {
        dataOrigin.gone += taken;
        held_ += std::exchange(ahead_, 0) - taken;
        std::memmove(buf_, buf_ + taken, to_size(held_));
        return held_ < capacity_ || grow();
    }

  private:
    [[nodiscard]] kx_i64 room_behind() const { return std::max<kx_i64>(sep_.len, 1); }

    bool read_up_to(kx_i64 wanted, kx_source &in) {
        const kx_i64 got = in.read(buf_ + held_, wanted - held_);
        if (got < 0) {
            return false;
        }
        held_ += got;
        ended_ = held_ < wanted;
        return true;
    }

    bool grow() {
        const kx_i64 larger = multiply_saturating(capacity_, 2);
        auto *buf = static_cast<char *>(kx_realloc(memPool, buf_, add_saturating(larger, room_behind())));
        if (buf == nullptr) {
            kx_say(msg::kSplitBuffer, larger / 1024);
            return false;
        }
        buf_ = buf;
        capacity_ = larger;
        return true;
    }

    Bytes sep_ = kx_record_format() == kx_format::fixed ? Bytes{} : Bytes{argsInfo.sep, argsInfo.sep_len};
    char *buf_ = nullptr;
    kx_i64 capacity_ = 0, held_ = 0;
    kx_i64 ahead_ = 0; ///< bytes read behind the chunk: 1 behind a first one that is not all
    bool ended_ = false;
};

/// Sorts the chunk into a block, if it holds records, and carries the rest. 0, or 1 with a message.
int add_chunk(Chunks &chunks, kx_i64 &position) {
    const bool fixed = kx_record_format() == kx_format::fixed;
    kx_list *list = kx_build_index(chunks.buffer(), chunks.held(), chunks.ended());
    if (list == nullptr) {
        return 1;
    }
    const kx_i64 records = kx_list_len(list);
    if (VERBOSE != 0) {
        argsInfo.totalRecNum += records;
    }
    const kx_i64 caller_size = fixed ? records * argsInfo.recLen : kWriterCounts;
    if (records > 0 && kx_add_block(list, {tmpFile, position, caller_size, msg::kInputStableSort}) != 0) {
        return 1;
    }
    kx_list_destroy(list, nullptr);
    kx_release_locators();
    return chunks.carry(fixed ? chunks.held() : bufDealedSize) ? 0 : 1;
}

/// The first chunk and all later ones to the temporary file. What is left when the input ends at a chunk's end is a
/// record without its newline code. 0, or 1 with a message.
int add_chunks(Chunks &chunks, kx_source &in) {
    kx_i64 position = 0;
    for (;;) {
        if (chunks.ended()) {
            chunks.end_with_newline_code();
        }
        if (chunks.held() > 0 && add_chunk(chunks, position) != 0) {
            return 1;
        }
        if (chunks.ended()) {
            return 0;
        }
        if (!chunks.read(in)) {
            return 1;
        }
    }
}

// --- paths -------------------------------------------------------------------------------------------------------

int sort_in_memory(Chunks &chunks) {
    if (kx_record_format() == kx_format::fixed) {
        if (chunks.held() % argsInfo.recLen != 0) {
            return kx_fail(msg::kInvalidDataSize, chunks.held());
        }
        argsInfo.totalRecNum = chunks.held() / argsInfo.recLen;
    }
    chunks.end_with_newline_code();
    const auto sort = argsInfo.bStabilize == 1 ? kx_msortInMemory : kx_qsortInMemory;
    return sort(chunks.buffer(), chunks.held());
}

int split_chunks(Chunks &chunks, kx_source &in) {
    kx_trace(msg::kInputSplitStarted, kx_GetTimeInfo());
    start = kx_clock();
    if (create_temporary_file() != 0) {
        return 1;
    }
    const bool split = add_chunks(chunks, in) == 0;
    chunks.close();
    const bool written = kx_stream_close(tmpFile);
    if (split && !written) {
        kx_say(msg::kWriteTemporaryFile);
    }
    if (!split || !written) {
        delete_temporary_file(msg::kDeleteTemporaryFile.japanese_only());
        return 1;
    }
    finish = kx_clock();
    kx_trace(msg::kSplitBlocks.japanese_only(), dataInfo.cnt);
    kx_trace(msg::kInputSplitTook, finish - start);
    return 0;
}

/// Into the output, which is closed. 0, or 1 with a message.
int merge_to_output() {
    if (!kx_write_csv_header(outFile)) {
        return kx_output_failed();
    }
    if (kx_merge_all_blocks(tmpFile, outFile) != 0) {
        return kx_fail(msg::kMergeBlocksFailed);
    }
    return kx_close_output();
}

int merge_chunks() {
    start = kx_clock();
    kx_trace(msg::kInputSplitCompleted, kx_GetTimeInfo());
    kx_trace(msg::kInputMergeStarted, kx_GetTimeInfo());
    kx_progress_begin_merge();
    if (!kx_temporary_file_reopen(tmpFile, argsInfo.tmpFile.path)) {
        return kx_fail(msg::kOpenTemporaryFile, argsInfo.tmpFile.path);
    }
    if (kx_open_output(msg::kCreateOutputFile) != 0) {
        delete_temporary_file(msg::kDeleteTemporaryFile);
        return 1;
    }
    const int merged = merge_to_output();
    kx_stream_clear(outFile);
    finish = kx_clock();
    if (merged == 0) {
        kx_trace(msg::kInputMergeTook, finish - start);
        kx_trace(msg::kInputSortCompleted, kx_GetTimeInfo());
    }
    const int deleted = delete_temporary_file(msg::kDeleteTemporaryFile.japanese_only());
    return merged != 0 || deleted != 0 ? 1 : 0;
}

[[noreturn]] void end_without_data() {
    kx_trace(msg::kNoInputData);
    std::exit(0);
}

int sort(kx_source &in) {
    Chunks chunks;
    kx_progress_begin(orkan_progress_reading, 1, 2, 0, kx_progress_counts::reads);
    if (!chunks.open() || !chunks.read_first(in)) {
        return 1;
    }
    if (chunks.held() == 0 && !keeps_every_record()) {
        end_without_data();
    }
    if (chunks.ended()) {
        return sort_in_memory(chunks);
    }
    return split_chunks(chunks, in) != 0 ? 1 : merge_chunks();
}

} // namespace

int kx_stdin() {
    kx_source in;
    const int status = in.open() != 0 ? 1 : sort(in);
    in.close();
    return status;
}

} // namespace orkan
