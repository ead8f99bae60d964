#include "kx_sort/kx_formats.h"

#include "kx_memory/kx_memory.h"
#include "kx_sort/kx_choose.h"
#include "kx_sort_csv/kx_sort_csv.h"
#include "kx_sort_fix/kx_sort_fix.h"
#include "kx_sort_variable/kx_sort_variable.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

template <class T> void release(T *&block) {
    if (block != nullptr) {
        kx_free(memPool, block);
        block = nullptr;
    }
}

} // namespace

kx_list *kx_build_index(const char *buf, kx_i64 size, bool at_end) {
    switch (kx_record_format()) {
    case kx_format::fixed: return _kx_get_indexList(buf, size);
    case kx_format::csv: return _kx_get_indexList_csv(buf, size, kx_longest_tail(at_end));
    default: return _kx_get_indexList_variable(buf, size, kx_longest_tail(at_end));
    }
}

void kx_release_locators() {
    release(keyInfoArray);
    release(recordInfoArray);
}

int kx_split_input(kx_stream &in, kx_stream &tmp, kx_i64 size) {
    switch (kx_record_format()) {
    case kx_format::fixed: return kx_splitSortFile(in, tmp);
    case kx_format::csv: return kx_splitSortFile_csv(in, tmp, size);
    default: return kx_splitSortFile_variable(in, tmp, size);
    }
}

int kx_merge_all_blocks(kx_stream &tmp, kx_stream &out) {
    switch (kx_record_format()) {
    case kx_format::fixed: return kx_mergeSortFile(tmp, out);
    case kx_format::csv: return kx_mergeSortFile_csv(tmp, out);
    default: return kx_mergeSortFile_variable(tmp, out);
    }
}

int kx_merge_presorted() {
    switch (kx_record_format()) {
    case kx_format::fixed: return kx_mergeSortMultiFile_fix();
    case kx_format::csv: return kx_mergeSortMultiFile_csv();
    default: return kx_mergeSortMultiFile_variable();
    }
}

} // namespace orkan
