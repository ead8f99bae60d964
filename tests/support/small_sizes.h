// small_sizes.h: runs within a few hundred bytes, so that a handful of records makes many buffers and chunks.
#pragma once

#include <cstdio>
#include <string>

#include "kx_sort/kx_budget.h"
#include "kx_utils/kx_fault.h"

namespace support {

/// For Call::before: chunks of 200 to 400 bytes, buffers of 256.
inline void shrink_sizes() { orkan::kx_small = {orkan::BASIC_SIZE + 400, 1024, 256}; }

/// Records of 8 bytes with the numbers from `first` up to `end`, lines as well as two fields that a dash divides.
inline std::string numbered(int first, int end, int step) {
    std::string all;
    for (int i = first; i < end; i += step) {
        char record[16];
        std::snprintf(record, sizeof record, "n-%05d\n", i);
        all += record;
    }
    return all;
}

} // namespace support
