// kx_unit.h: making and releasing the descriptor of one run of a merge.
#pragma once

#include "kx_types/kx_unit.h"

namespace orkan {

/// A descriptor in pool memory, every field zero or null; null when memory is refused.
UnitDataInfo *kx_unitDataInfo_create();

/// Releases the descriptor with its buffer and its copy of locators. Null: nothing.
void kx_unitDataInfo_destroy(UnitDataInfo *unit);

/// Adds a descriptor for a block that begins at `position` of the temporary file to dataInfo. Null with a message when
/// memory is refused.
UnitDataInfo *kx_append_block(kx_i64 position);

} // namespace orkan
