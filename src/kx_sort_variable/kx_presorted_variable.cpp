#include "kx_sort/kx_presorted_merge.h"
#include "kx_sort_variable/kx_sort_variable.h"

namespace orkan {

namespace {

class VariablePresorted : public kx_presorted_merge<VariablePresorted> {
  public:
    using Heads = kx_tree_heads;

    static kx_list *index(const char *buf, kx_i64 size, kx_i64 longest_tail, kx_index_memory &memory) {
        return kx_index_variable(buf, size, longest_tail, memory);
    }
    [[nodiscard]] kx_prefix prefix(const UnitDataInfo &run) const { return rule_.of(variable_current(run)); }
    [[nodiscard]] Bytes text(const UnitDataInfo &run) const { return rule_.bytes_of(variable_current(run)); }
    static const char *start_of(const void *item) { return static_cast<const RecordInfo *>(item)->addr; }
    static Bytes record(const UnitDataInfo &run) { return variable_current(run).record; }

    static bool stage_is_full(kx_i64 bytes) { return kx_stage_lacks_room(bytes); }
    int staged(UnitDataInfo &run, Bytes copy) {
        remember(run, copy);
        return 0;
    }
};

} // namespace

int kx_mergeSortMultiFile_variable() { return VariablePresorted::run(); }

} // namespace orkan
