#include "kx_sort/kx_block_merge.h"

namespace orkan {

namespace {

/// Kept: only the merge of fixed-length records tells these failures in both languages.
template <class... Args> int fail_by_format(const kx_message<Args...> &message, std::type_identity_t<Args>... args) {
    return kx_fail(kx_record_format() == kx_format::fixed ? message : message.japanese_only(), args...);
}

/// By design all buffers grow with the longest record. In complete mode, where it may be of any length, only to so
/// much: a block with a longer one is enlarged when it comes to it.
kx_i64 enlarged(kx_i64 share, kx_i64 longest) {
    constexpr kx_i64 kFairShare = 32768;
    const kx_i64 size = multiply_saturating(longest, 4);
    return keeps_every_record() ? std::max(share, std::min(size, kFairShare)) : size;
}

} // namespace

kx_i64 kx_choose_block_buffer(kx_i64 share, kx_i64 longest) {
    kx_i64 size = share;
    if (size < longest) {
        size = enlarged(share, longest);
        kx_trace(msg::kBlockBufferTooSmall, share, longest);
        kx_trace(msg::kBlockBufferEnlarged, size);
    }
    kx_trace(msg::kShowBlockBuffer, size / 1024, size);
    dataInfo.bufSize = size;
    return size;
}

int kx_open_block(kx_i64 i, kx_i64 buffer_size) {
    UnitDataInfo &run = kx_block(i);
    run.bufSize = std::min(buffer_size, run.size);
    run.buf = static_cast<char *>(kx_malloc(memPool, run.bufSize));
    return run.buf != nullptr ? 0 : fail_by_format(msg::kBlockBufferMemory, i, kib_round_up(run.bufSize));
}

int kx_fill_block(kx_i64 i, kx_stream &tmp) {
    UnitDataInfo &run = kx_block(i);
    if (!kx_stream_seek_to(tmp, run.startPos)) {
        return fail_by_format(msg::kSeekTemporaryFile);
    }
    if (kx_stream_read(tmp, run.buf, run.bufSize) != run.bufSize) {
        return kx_fail(msg::kReadTemporaryFile);
    }
    numberMemo.forget({run.buf, run.bufSize});
    run.index = i;
    run.currRec = 0;
    run.bufOffset = 0;
    run.offset = run.bufSize;
    return 0;
}

namespace {

/// Reads up to `room` more bytes of the block behind those held.
int read_on(UnitDataInfo &run, kx_i64 room, kx_stream &tmp) {
    if (!kx_stream_seek_to(tmp, run.startPos + run.offset)) {
        return fail_by_format(msg::kSeekTemporaryFile);
    }
    const kx_i64 rest = std::max<kx_i64>(run.size - run.offset, 0);
    const kx_i64 got = kx_stream_read(tmp, run.buf + run.bufSize, std::min(room, rest));
    if (got < 0) {
        return kx_fail(msg::kReadTemporaryFile);
    }
    run.offset += got;
    run.bufSize += got;
    numberMemo.forget({run.buf, run.bufSize});
    return 0;
}

} // namespace

int kx_refill_block(UnitDataInfo &run, kx_stream &tmp) {
    const kx_i64 taken = run.bufOffset;
    run.bufSize -= taken;
    run.bufOffset = 0;
    std::memmove(run.buf, run.buf + taken, to_size(run.bufSize));
    return read_on(run, taken, tmp);
}

int kx_enlarge_block(UnitDataInfo &run, kx_i64 wanted, kx_stream &tmp) {
    const kx_i64 held = run.bufSize;
    if (run.bufOffset != 0 || wanted - held > run.size - run.offset) {
        return kx_fail(msg::kReadTemporaryFile);
    }
    auto *larger = static_cast<char *>(kx_realloc(memPool, run.buf, wanted));
    if (larger == nullptr) {
        return fail_by_format(msg::kBlockBufferMemory, run.index, kib_round_up(wanted));
    }
    run.buf = larger;
    const int status = read_on(run, wanted - held, tmp);
    return status != 0 || run.bufSize > held ? status : kx_fail(msg::kReadTemporaryFile);
}

} // namespace orkan
