#include "kx_sort/kx_presorted_merge.h"
#include "kx_sort_csv/kx_sort_csv.h"

namespace orkan {

namespace {

class CsvPresorted : public kx_presorted_merge<CsvPresorted> {
  public:
    using Heads = kx_either_heads;

    /// Kept: first fields' lengths decide early between whole records, which gives no consistent order.
    static bool order_is_consistent() { return argsInfo.bRecSort == kRecSortNone || orders_alike(); }

    static kx_list *index(const char *buf, kx_i64 size, kx_i64 longest_tail, kx_index_memory &memory) {
        return kx_index_csv(buf, size, longest_tail, memory);
    }
    [[nodiscard]] kx_prefix prefix(const UnitDataInfo &run) const { return rule_.of(csv_current(run)); }
    [[nodiscard]] Bytes text(const UnitDataInfo &run) const { return rule_.bytes_of(csv_current(run)); }
    static const char *start_of(const void *item) { return static_cast<const RecordInfo_csv *>(item)->addr; }
    static Bytes record(const UnitDataInfo &run) { return csv_current(run).record; }

    /// Kept: unlike newline-ended records a record never fills the buffer to its last byte.
    static bool stage_is_full(kx_i64 bytes) {
        return argsInfo.outFile.outBufOffset + bytes >= argsInfo.outFile.outBufSize;
    }
    int staged(UnitDataInfo &run, Bytes copy) {
        const auto current = csv_current(run);
        return remember(run, copy, {current.locators, current.num * to_i64(sizeof(KeyInfo_csv))});
    }
};

} // namespace

int kx_mergeSortMultiFile_csv() { return CsvPresorted::run(); }

} // namespace orkan
