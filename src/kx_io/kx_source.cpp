#include "kx_io/kx_source.h"

#include <algorithm>
#include <cstring>

#include "kx_io/kx_header.h"
#include "kx_sort/kx_choose.h"
#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_text.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

FileInfo &input(kx_i64 number) { return argsInfo.arrInFile[number]; }

} // namespace

int kx_source::fail_reading() const {
    return in_.standard ? kx_fail(msg::kReadStandardInput) : kx_fail(msg::kReadInputFile, input(current_).path);
}

int kx_source::open() {
    if (argsInfo.inFileNums > 0) {
        return open_input();
    }
    kx_stream_standard_input(in_);
    return keeps_every_record() ? kx_take_header(in_, header_) : 0;
}

void kx_source::close() {
    if (!in_.standard) {
        kx_stream_clear(in_);
    }
}

int kx_source::open_input() {
    const FileInfo &file = input(current_);
    if (!kx_stream_open_read(in_, file.path)) {
        return kx_fail(msg::kOpenInputFile, file.path);
    }
    taken_ = 0;
    over_ = false;
    dataOrigin.inputs = argsInfo.arrInFile;
    dataOrigin.count = current_ + 1;
    return kx_take_header(in_, header_);
}

kx_i64 kx_source::read(char *to, kx_i64 bytes) {
    kx_i64 got = 0;
    while (got < bytes && !ended_) {
        const kx_i64 n = over_ ? pay(to + got, bytes - got) : read_input(to + got, bytes - got);
        if (n < 0) {
            return -1;
        }
        got += n;
        position_ += n;
        if (over_ && owed_.len == 0 && next_input() != 0) {
            return -1;
        }
    }
    return got;
}

kx_i64 kx_source::read_input(char *to, kx_i64 bytes) {
    const kx_i64 n = kx_stream_read(in_, to, bytes);
    if (n < 0) {
        fail_reading();
        return -1;
    }
    over_ = n < bytes;
    note(to, n);
    return over_ && keeps_every_record() && end_input() != 0 ? -1 : n;
}

kx_i64 kx_source::pay(char *to, kx_i64 bytes) {
    const kx_i64 n = std::min(owed_.len, bytes);
    std::memcpy(to, owed_.ptr, to_size(n));
    owed_ = {owed_.ptr + n, owed_.len - n};
    return n;
}

void kx_source::note(const char *from, kx_i64 bytes) {
    taken_ += bytes;
    const kx_i64 fresh = std::min(bytes, kLongestCode);
    std::copy(last_.begin() + fresh, last_.end(), last_.begin());
    std::copy(from + bytes - fresh, from + bytes, last_.end() - fresh);
}

int kx_source::end_input() {
    if (kx_record_format() == kx_format::fixed) {
        return taken_ % argsInfo.recLen == 0 ? 0 : kx_fail(msg::kInvalidDataSize, taken_);
    }
    const kx_i64 known = std::min(taken_, kLongestCode);
    const Bytes sep{argsInfo.sep, argsInfo.sep_len};
    if (taken_ > 0 && !ends_with({last_.data() + kLongestCode - known, known}, sep)) {
        owed_ = sep;
    }
    return 0;
}

int kx_source::next_input() {
    if (in_.standard) {
        ended_ = true;
        return 0;
    }
    FileInfo &file = input(current_);
    if (header_ + taken_ < file.size) { // it has become shorter since it was measured
        return fail_reading();
    }
    file.end = position_;
    kx_stream_clear(in_);
    ended_ = ++current_ == argsInfo.inFileNums;
    return ended_ ? 0 : open_input();
}

} // namespace orkan
