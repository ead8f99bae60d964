#include "kx_sort/kx_comparators.h"
#include "kx_sort/kx_merge_loop.h"
#include "kx_sort_fix/kx_sort_fix.h"

namespace orkan {

namespace {

/// Blocks of fixed-length records, back to back.
class FixedMerge {
  public:
    using Heads = kx_tree_heads;

    // A whole number of records, so that writing the staged bytes leaves the last one where it is.
    [[nodiscard]] kx_i64 staging_size() const { return kStageSize - kStageSize % length_; }
    static void trace_budget() {}
    [[nodiscard]] kx_i64 longest_record() const { return length_; }

    /// Three quarters of the whole-record share; deliberately no whole number of records itself.
    [[nodiscard]] kx_i64 block_share(kx_i64 blocks) const {
        const kx_i64 staging = argsInfo.bUnique != 0 ? argsInfo.outFile.outBufSize : 0;
        const kx_i64 share = (argsInfo.totalMemSize - BASIC_SIZE - staging) / blocks;
        return (share - share % length_) / 4 * 3;
    }

    static void trace_buffer(kx_i64 /*number*/, kx_i64 /*size*/) {}
    static void trace_merged(kx_i64 left, const UnitDataInfo &run) {
        kx_trace(msg::kBlockMerged, left, run.index + 1, kx_GetTimeInfo());
    }

    [[nodiscard]] kx_head_order order() const { return kx_choose_run_order(); }
    [[nodiscard]] bool prefix_decides() const { return rule_.decisive; }
    [[nodiscard]] kx_prefix prefix(const UnitDataInfo &run) const { return rule_.of(fixed_head(run)); }

    [[nodiscard]] Bytes record(const UnitDataInfo &run) const { return {run.buf + run.bufOffset, length_}; }
    [[nodiscard]] kx_i64 stored_size(const UnitDataInfo & /*run*/) const { return length_; }
    [[nodiscard]] bool needs_refill(const UnitDataInfo &run) const { return run.bufSize - run.bufOffset < length_; }

    [[nodiscard]] bool differs(const UnitDataInfo &run) const {
        return last_ == nullptr || cmpIfEqual_within(last_, last_ + length_, run.buf + run.bufOffset, end_of(run)) != 0;
    }
    int staged(const UnitDataInfo & /*run*/, Bytes copy) {
        last_ = copy.ptr;
        return 0;
    }
    static bool stage_is_full(kx_i64 /*bytes*/) { return argsInfo.outFile.outBufOffset >= argsInfo.outFile.outBufSize; }

  private:
    kx_i64 length_ = argsInfo.recLen;
    kx_prefix_rule rule_ = kx_choose_prefix_rule();
    const char *last_ = nullptr; ///< the record staged last
};

} // namespace

int kx_mergeSortFile(kx_stream &tmp, kx_stream &out) { return kx_merge_blocks(FixedMerge{}, tmp, out); }

} // namespace orkan
