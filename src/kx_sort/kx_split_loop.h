// kx_split_loop.h: the one split sort: an input in memory-sized chunks, each sorted and appended to the temporary file
// as a block (a run).
//
//   input            | chunk        | chunk        | rest |
//   temporary file   | block 0      | block 1      | block 2 |     described by dataInfo.list, nowhere in the file
//
// What a format answers:
//
//   prepare(in)            sizes and their verbose lines; 0, or 1 with a message
//   buffer_size()          bytes of the chunk buffer
//   read_size()            bytes of a chunk
//   held()                 of them, those at the buffer's begin that were read before
//   complete(buf, got)     the chunk's length after a read of `got` bytes (may end the data with a newline code and
//                          move the buffer), or -1 with a message
//   index(buf, length)     the index of the chunk, or null with a message
//   ended()                nothing more may be read: what an input has grown by behind a short read is left alone
//   settle(in, buf, length)  lets the next read begin with a record that the chunk's end has cut; 0, or 1
//   release_locators()     gives back what the index built besides the list
//   position()             the format's write position in the temporary file
//   kCallerCounts          plain blocks are described by the bytes read, not by the writer
//   kSkipsEmptyIndex       a chunk without records makes no block
//   kCountsRecords         a verbose run adds the records to the total (else it is known from the inputs' sizes)
#pragma once

#include "kx_memory/kx_memory.h"
#include "kx_sort/kx_block.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

/// Makes a block of the `got` bytes just read.
template <class Format> int kx_sort_chunk(Format &format, kx_stream &in, kx_stream &tmp, char *&buf, kx_i64 got) {
    const kx_i64 length = format.complete(buf, got);
    kx_list *list = length < 0 ? nullptr : format.index(buf, length);
    if (list == nullptr) {
        return 1;
    }
    if (format.settle(in, buf, length) != 0) {
        return 1;
    }
    if (Format::kCountsRecords && VERBOSE != 0) {
        argsInfo.totalRecNum += kx_list_len(list);
    }
    // Kept: of fixed-length records a trailing fragment counts, though it is not written.
    const kx_i64 caller_size = Format::kCallerCounts ? got : kWriterCounts;
    const bool block = kx_list_len(list) > 0 || !Format::kSkipsEmptyIndex;
    if (block && kx_add_block(list, {tmp, format.position(), caller_size, msg::kSplitStableSort}) != 0) {
        return 1;
    }
    format.release_locators();
    kx_list_destroy(list, nullptr);
    return 0;
}

/// Appends the sorted blocks of `in` to `tmp`. 0, or 1 with a message.
template <class Format> int kx_split_sort(Format format, kx_stream &in, kx_stream &tmp) {
    if (!keeps_every_record()) {
        format.position() = 0; // Kept: blocks of each input start again at position 0.
    }
    if (format.prepare(in) != 0) {
        return 1;
    }
    auto *buf = static_cast<char *>(kx_qmalloc(memPool, format.buffer_size()));
    if (buf == nullptr) {
        return kx_fail(msg::kSplitBuffer, format.read_size() / 1024);
    }
    for (;;) {
        const kx_i64 held = format.held();
        const kx_i64 got = format.ended() ? 0 : kx_stream_read(in, buf + held, format.read_size() - held);
        if (got < 0 || held + got == 0) {
            kx_qfree(memPool, buf);
            return got < 0 ? kx_fail(msg::kReadSplitInput) : 0;
        }
        if (kx_sort_chunk(format, in, tmp, buf, held + got) != 0) {
            return 1;
        }
    }
}

} // namespace orkan
