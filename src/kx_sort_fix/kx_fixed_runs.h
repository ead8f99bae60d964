// kx_fixed_runs.h: what the merges of fixed-length records share: records lie back to back in a run's buffer.
#pragma once

#include "kx_sort/kx_comparators.h"
#include "kx_sort/kx_merge_loop.h"
#include "kx_utils/kx_fault.h"

namespace orkan {

class kx_fixed_runs {
  public:
    using Heads = kx_tree_heads;

    // A whole number of records, so that writing the staged bytes leaves the last one where it is.
    [[nodiscard]] kx_i64 staging_size() const {
        const kx_i64 size = kx_buffer_bytes(kOutputBufferSize);
        return size - size % length_;
    }

    static kx_head_order order() { return kx_choose_run_order(); }
    [[nodiscard]] const kx_prefix_rule &rule() const { return rule_; }
    [[nodiscard]] kx_prefix prefix(const UnitDataInfo &run) const { return rule_.of(fixed_head(run)); }
    [[nodiscard]] Bytes text(const UnitDataInfo &run) const { return rule_.bytes_of(fixed_head(run)); }
    [[nodiscard]] Bytes record(const UnitDataInfo &run) const { return {run.buf + run.bufOffset, length_}; }

    static bool stage_is_full(kx_i64 /*bytes*/) { return argsInfo.outFile.outBufOffset >= argsInfo.outFile.outBufSize; }
    [[nodiscard]] bool differs(const UnitDataInfo &run) const {
        return last_ == nullptr || cmpIfEqual_head(last_, run) != 0;
    }
    int staged(const UnitDataInfo & /*run*/, Bytes copy) {
        last_ = copy.ptr;
        return 0;
    }

  protected:
    kx_i64 length_ = argsInfo.recLen;

  private:
    kx_prefix_rule rule_ = kx_choose_prefix_rule();
    const char *last_ = nullptr; ///< the record staged last
};

} // namespace orkan
