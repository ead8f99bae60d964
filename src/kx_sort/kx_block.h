// kx_block.h: a sorted chunk becomes a block of the temporary file.
#pragma once

#include "kx_list/kx_list.h"
#include "kx_utils/kx_message.h"
#include "kx_utils/kx_stream.h"

namespace orkan {

/// What kx_add_block needs besides the records.
struct kx_block_place {
    kx_stream &tmp;
    kx_i64 &position;                 ///< where the block begins in the temporary file; moves on behind it
    kx_i64 caller_size;               ///< bytes that a plain block counts, or kWriterCounts
    const kx_message<> &sort_failure; ///< printed when a stable sort finds no memory
};
inline constexpr kx_i64 kWriterCounts = -1;

/// Sorts the index of a chunk, appends its records to the temporary file and describes the block in dataInfo.
/// 0, or 1 with a message.
int kx_add_block(kx_list *list, kx_block_place place);

} // namespace orkan
