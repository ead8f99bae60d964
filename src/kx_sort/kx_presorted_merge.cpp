#include "kx_sort/kx_presorted_merge.h"

#include <algorithm>

#include "kx_sort/kx_budget.h"
#include "kx_utils/kx_text.h"

namespace orkan {

namespace {

/// Bytes up to which a buffer grows for a long record: what the run may use, so that an input without newline codes is
/// not read whole.
kx_i64 longest_buffer() {
    return keeps_every_record() ? kx_longest_record()
                                : std::min(std::max(argsInfo.totalMemSize, kDefaultPoolSize), kLongestRecord);
}

/// Twice the capacity, always with room for a newline code behind it. 0, or 1 with a message.
int grow(UnitDataInfo &run, kx_presorted_input &input) {
    if (input.capacity >= longest_buffer()) {
        return kx_fail(msg::kInvalidRecordLength);
    }
    const kx_i64 capacity = input.capacity * 2;
    auto *larger = static_cast<char *>(kx_realloc(memPool, run.buf, capacity + argsInfo.sep_len));
    if (larger == nullptr) {
        return kx_fail(msg::kMergeBuffer, capacity / 1024);
    }
    run.buf = larger;
    input.capacity = capacity;
    return 0;
}

/// Data that do not end with the newline code get one.
void end_with_newline_code(UnitDataInfo &run) {
    const Bytes sep{argsInfo.sep, argsInfo.sep_len};
    if (run.bufSize == 0 || ends_with({run.buf, run.bufSize}, sep)) {
        return;
    }
    std::memcpy(run.buf + run.bufSize, sep.ptr, to_size(sep.len));
    run.bufSize += sep.len;
    run.offset += sep.len;
    run.fileInfo->size = add_saturating(run.fileInfo->size, sep.len);
    argsInfo.totalFileSize = add_saturating(argsInfo.totalFileSize, sep.len);
}

} // namespace

int kx_presorted_runs::open() {
    const kx_i64 bytes = argsInfo.inFileNums * to_i64(sizeof(kx_presorted_input));
    inputs_ = static_cast<kx_presorted_input *>(kx_malloc(memPool, bytes));
    if (inputs_ == nullptr) {
        return kx_fail(msg::kBlockInformation, bytes);
    }
    for (kx_i64 i = 0; i < argsInfo.inFileNums; ++i) {
        UnitDataInfo &run = *argsInfo.arrInFile[i].unitDataInfo;
        inputs_[i] = {run.bufSize, 0, {}, false};
        run.buf = static_cast<char *>(kx_malloc(memPool, run.bufSize + argsInfo.sep_len));
        if (run.buf == nullptr) {
            return kx_fail(msg::kMergeBuffer, run.bufSize / 1024);
        }
        run.bufSize = 0; // bytes held, from here on
    }
    return 0;
}

int kx_presorted_runs::read_on(UnitDataInfo &run, const kx_message<> &failure) {
    dataOrigin = {run.fileInfo, 1, 0};
    kx_presorted_input &from = input(run);
    // The next index takes the memory of this one, or all inputs in turn would go through all of the pool. Each has its
    // own in a verbose run, which counts what is asked of the pool, and behind one over very short records.
    const bool large = from.memory.records.bytes + from.memory.fields.bytes > from.capacity;
    VERBOSE != 0 || large ? release_index(run) : release_list(run);
    run.bufSize -= from.indexed;
    std::memmove(run.buf, run.buf + from.indexed, to_size(run.bufSize));
    from.indexed = 0;
    if (run.bufSize == from.capacity && grow(run, from) != 0) {
        return 1;
    }
    const kx_i64 got = kx_stream_read(run.fileInfo->file, run.buf + run.bufSize, from.capacity - run.bufSize);
    if (got < 0) {
        return kx_fail(failure);
    }
    run.bufSize += got;
    run.offset += got;
    from.ended = run.bufSize < from.capacity;
    if (from.ended && run.offset < run.fileInfo->size) { // it has become shorter since it was measured
        return kx_fail(failure);
    }
    if (from.ended) {
        end_with_newline_code(run);
    }
    return 0;
}

void kx_presorted_runs::adopt_index(UnitDataInfo &run, kx_list *list) {
    kx_presorted_input &from = input(run);
    run.RecordList = list;
    run.currRec = 0;
    run.totalRecNum = kx_list_len(list);
    from.indexed = bufDealedSize;
}

} // namespace orkan
