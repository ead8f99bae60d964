// kx_formats.h: the routines of the run's record format.
#pragma once

#include "kx_list/kx_list.h"
#include "kx_utils/kx_stream.h"

namespace orkan {

/// The index of `size` bytes, `at_end` when no more data follow; null with a message on failure. The caller owns the
/// list.
kx_list *kx_build_index(const char *buf, kx_i64 size, bool at_end);

/// Gives back what building the last index left in recordInfoArray and keyInfoArray.
void kx_release_locators();

/// Appends the sorted blocks of one input, of which `size` bytes are left, to `tmp`. 0, or 1 with a message.
int kx_split_input(kx_stream &in, kx_stream &tmp, kx_i64 size);

/// Merges all blocks from `tmp` into `out`. 0, or 1 with a message.
int kx_merge_all_blocks(kx_stream &tmp, kx_stream &out);

/// Merges the opened presorted inputs into outFile. 0, or 1 with a message.
int kx_merge_presorted();

} // namespace orkan
