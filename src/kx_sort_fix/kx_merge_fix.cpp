#include "kx_sort/kx_block_merge.h"
#include "kx_sort_fix/kx_fixed_runs.h"
#include "kx_sort_fix/kx_sort_fix.h"

namespace orkan {

namespace {

/// Blocks of fixed-length records.
class FixedMerge : public kx_fixed_runs {
  public:
    explicit FixedMerge(kx_stream &tmp) : tmp_(tmp) {}

    static void trace_budget() {}
    static void trace_buffer(kx_i64 /*number*/, kx_i64 /*size*/) {}
    static void trace_merged(kx_i64 left, const UnitDataInfo &run) {
        kx_trace(msg::kBlockMerged, left, run.index + 1, kx_GetTimeInfo());
    }

    /// Three quarters of the whole-record share; deliberately no whole number of records itself.
    [[nodiscard]] kx_i64 block_share(kx_i64 blocks) const {
        const kx_i64 staging = argsInfo.bUnique != 0 ? argsInfo.outFile.outBufSize : 0;
        const kx_i64 share = (argsInfo.totalMemSize - BASIC_SIZE - staging) / blocks;
        return (share - share % length_) / 4 * 3;
    }
    [[nodiscard]] kx_i64 longest_record() const { return length_; }
    [[nodiscard]] kx_i64 stored_size(const UnitDataInfo & /*run*/) const { return length_; }
    [[nodiscard]] bool needs_refill(const UnitDataInfo &run) const { return run.bufSize - run.bufOffset < length_; }

    kx_next next(UnitDataInfo &run) { return kx_next_in_block(*this, run, tmp_); }

  private:
    kx_stream &tmp_;
};

} // namespace

int kx_mergeSortFile(kx_stream &tmp, kx_stream &out) { return kx_merge_blocks(FixedMerge{tmp}, tmp, out); }

} // namespace orkan
