// kx_sort_variable.h: newline-ended records: index, split sort and block merge.
#pragma once

#include "kx_list/kx_list.h"
#include "kx_utils/kx_stream.h"

namespace orkan {

/// The index of the newline-ended records in `size` bytes: a list of RecordInfo in buffer order. The caller owns the
/// list; its locators are freed through recordInfoArray. Null on failure.
kx_list *_kx_get_indexList_variable(const char *buf, kx_i64 size);

/// Appends the sorted blocks of one input of `size` bytes to `tmp` and dataInfo. 0, or 1 on failure.
int kx_splitSortFile_variable(kx_stream &in, kx_stream &tmp, kx_i64 size);

/// Merges all blocks of dataInfo from `tmp` into `out`. 0, or 1 on failure.
int kx_mergeSortFile_variable(kx_stream &tmp, kx_stream &out);

} // namespace orkan
