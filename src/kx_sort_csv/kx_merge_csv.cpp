#include "kx_sort/kx_newline_merge.h"
#include "kx_sort_csv/kx_sort_csv.h"

namespace orkan {

namespace {

constexpr kx_i64 kHeader = sizeof(RecordInfo_csv_temp), kLocator = sizeof(KeyInfo_csv);

/// Blocks of records with lengths and field locators in front.
class CsvMerge : public kx_newline_blocks {
  public:
    using Heads = kx_either_heads;

    explicit CsvMerge(kx_stream &tmp) : kx_newline_blocks(tmp) {}

    /// Kept: field counts decide early between whole records, which gives no consistent order.
    static bool order_is_consistent() { return argsInfo.bRecSort == kRecSortNone || orders_alike(); }

    [[nodiscard]] kx_prefix prefix(const UnitDataInfo &run) const { return rule_.of(csv_head(run)); }
    [[nodiscard]] Bytes text(const UnitDataInfo &run) const { return rule_.bytes_of(csv_head(run)); }
    static Bytes record(const UnitDataInfo &run) { return read_csv_temp(held_from_current(run)).bytes; }

    static kx_i64 stored_size(const UnitDataInfo &run) {
        const Bytes held = held_from_current(run);
        if (held.len < kHeader) {
            return kHeader;
        }
        const auto header = load_unaligned<RecordInfo_csv_temp>(held.ptr);
        const bool possible = is_record_length(header.len) && header.num > 0; // a key's field, or its only one
        return possible ? kHeader + header.num * kLocator + header.len : 0;
    }
    /// Kept: a record that ends exactly at the buffer's end counts as cut.
    static bool needs_refill(const UnitDataInfo &run) {
        const kx_i64 held = run.bufSize - run.bufOffset;
        const kx_i64 wanted = stored_size(run);
        return held < kHeader || wanted == 0 || wanted >= held;
    }

    kx_next next(UnitDataInfo &run) { return kx_next_in_block(*this, run, tmp_); }
    int staged(UnitDataInfo &run, Bytes copy) {
        return remember(run, copy, read_csv_temp(held_from_current(run)).locators);
    }
};

} // namespace

int kx_mergeSortFile_csv(kx_stream &tmp, kx_stream &out) { return kx_merge_blocks(CsvMerge{tmp}, tmp, out); }

} // namespace orkan
