// kx_sort_fix.h: fixed-length records: index, split sort, block merge, merge of presorted inputs.
#pragma once

#include "kx_list/kx_list.h"
#include "kx_utils/kx_stream.h"

namespace orkan {

/// The index of the fixed-length records in `size` bytes: a list of their addresses in buffer order. A trailing
/// remainder shorter than a record is left out. The caller owns the list. Null with a message when memory is refused.
kx_list *_kx_get_indexList(const char *buf, kx_i64 size);

/// Reads the records of `in` to its end and appends sorted blocks to `tmp` and dataInfo. 0, or 1 with a message.
int kx_splitSortFile(kx_stream &in, kx_stream &tmp);

/// Merges all blocks of dataInfo from `tmp` into `out`. 0, or 1 with a message.
int kx_mergeSortFile(kx_stream &tmp, kx_stream &out);

/// Merges the presorted inputs, opened by the dispatcher, into outFile. 0, or 1 with a message.
int kx_mergeSortMultiFile_fix();

} // namespace orkan
