// kx_merge_multi.h: the merge of presorted inputs.
#pragma once

namespace orkan {

/// Merges the inputs, each already in the order of the keys, into the output. 0, or 1 with a message.
int kx_mergeSortMultiFile();

} // namespace orkan
