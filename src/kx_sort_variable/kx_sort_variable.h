// kx_sort_variable.h: newline-ended records: index, split sort, block merge and merge of presorted inputs.
#pragma once

#include "kx_list/kx_list.h"
#include "kx_sort/kx_index_scan.h"
#include "kx_utils/kx_stream.h"

namespace orkan {

/// The index of the newline-ended records in `size` bytes: a list of RecordInfo in buffer order. The caller owns the
/// list; its locators are freed through recordInfoArray. Null on failure, also when more than
/// `longest_tail` bytes at the end belong to no terminated record.
kx_list *_kx_get_indexList_variable(const char *buf, kx_i64 size, kx_i64 longest_tail = kLongestTail);

/// The same with locators in `memory`, which is the caller's, whatever comes of it.
kx_list *kx_index_variable(const char *buf, kx_i64 size, kx_i64 longest_tail, kx_index_memory &memory);

/// Appends the sorted blocks of one input of `size` bytes to `tmp` and dataInfo. 0, or 1 on failure.
int kx_splitSortFile_variable(kx_stream &in, kx_stream &tmp, kx_i64 size);

/// Merges all blocks of dataInfo from `tmp` into `out`. 0, or 1 on failure.
int kx_mergeSortFile_variable(kx_stream &tmp, kx_stream &out);

/// Merges the presorted inputs, opened by the dispatcher, into outFile. 0, or 1 with a message.
int kx_mergeSortMultiFile_variable();

} // namespace orkan
