#include <algorithm>

#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_split_loop.h"
#include "kx_sort_fix/kx_sort_fix.h"

namespace orkan {

namespace {

class FixedSplit {
  public:
    static constexpr bool kCallerCounts = true;
    static constexpr bool kSkipsEmptyIndex = false;
    static constexpr bool kCountsRecords = false;

    int prepare(kx_stream &in) {
        chunk_ = kx_fixed_chunk_size();
        kx_trace(msg::kShowSplitBuffer, chunk_ / 1024);
        return chunk_ > 0 ? 0 : refuse_data(in);
    }

    [[nodiscard]] kx_i64 buffer_size() const { return chunk_; }
    [[nodiscard]] kx_i64 read_size() const { return chunk_; }
    static kx_i64 held() { return 0; }

    kx_i64 complete(const char * /*buf*/, kx_i64 got) {
        if (got % argsInfo.recLen != 0 && keeps_every_record()) { // the input has grown since it was measured
            kx_say(msg::kInvalidDataSize, got);
            return -1;
        }
        chunk_ = std::min(got, chunk_); // after a short read it stays reduced
        return chunk_;
    }

    static bool ended() { return false; }
    static kx_list *index(const char *buf, kx_i64 length) { return _kx_get_indexList(buf, length); }
    static int settle(const kx_stream & /*in*/, const char * /*buf*/, kx_i64 /*length*/) { return 0; }
    static void release_locators() {}
    static kx_i64 &position() { return kx_splitSort_offset_fix; }

  private:
    /// Not even one record fits: an input with data would lose them.
    static int refuse_data(kx_stream &in) {
        char probe = 0;
        const kx_i64 got = kx_stream_read(in, &probe, 1);
        if (got < 0) {
            return kx_fail(msg::kReadSplitInput);
        }
        return got == 0 ? 0 : kx_fail(msg::kRecordTooLong, argsInfo.recLen, argsInfo.totalMemSize / 1024);
    }

    kx_i64 chunk_ = 0;
};

} // namespace

int kx_splitSortFile(kx_stream &in, kx_stream &tmp) { return kx_split_sort(FixedSplit{}, in, tmp); }

} // namespace orkan
