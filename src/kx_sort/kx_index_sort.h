// kx_index_sort.h: the one place that sorts an index.
#pragma once

#include "kx_list/kx_list.h"

namespace orkan {

/// Sorts the index of a buffer, in buffer order as its builder left it, by the run's keys. A stable sort keeps equal
/// records in their order; the other one may not, but always gives the same result for the same input. For unique
/// output (-U) it may leave out records that equal one before them. 0, or 1 when a stable sort finds no memory.
int kx_sort_index(kx_list *list, bool stable);

/// Gives back the scratch memory that is kept from one index to the next.
void kx_release_sort_scratch();

} // namespace orkan
