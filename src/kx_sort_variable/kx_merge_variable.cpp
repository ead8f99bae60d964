#include "kx_sort/kx_newline_merge.h"
#include "kx_sort_variable/kx_sort_variable.h"

namespace orkan {

namespace {

constexpr kx_i64 kHeader = sizeof(RecordLength_temp);

/// Blocks of records with their length in front.
class VariableMerge : public kx_newline_blocks {
  public:
    using Heads = kx_tree_heads;

    explicit VariableMerge(kx_stream &tmp) : kx_newline_blocks(tmp) {}

    [[nodiscard]] kx_prefix prefix(const UnitDataInfo &run) const { return rule_.of(variable_head(run)); }
    [[nodiscard]] Bytes text(const UnitDataInfo &run) const { return rule_.bytes_of(variable_head(run)); }
    static Bytes record(const UnitDataInfo &run) { return read_variable_temp(held_from_current(run)).bytes; }

    static kx_i64 stored_size(const UnitDataInfo &run) {
        const Bytes held = held_from_current(run);
        if (held.len < kHeader) {
            return kHeader;
        }
        const kx_i64 length = load_unaligned<RecordLength_temp>(held.ptr);
        return is_record_length(length) ? kHeader + length : 0;
    }
    static bool needs_refill(const UnitDataInfo &run) {
        const kx_i64 held = run.bufSize - run.bufOffset;
        const kx_i64 wanted = stored_size(run);
        return held <= kHeader || wanted == 0 || wanted > held;
    }

    kx_next next(UnitDataInfo &run) { return kx_next_in_block(*this, run, tmp_); }
    int staged(UnitDataInfo &run, Bytes copy) {
        remember(run, copy);
        return 0;
    }
};

} // namespace

int kx_mergeSortFile_variable(kx_stream &tmp, kx_stream &out) { return kx_merge_blocks(VariableMerge{tmp}, tmp, out); }

} // namespace orkan
