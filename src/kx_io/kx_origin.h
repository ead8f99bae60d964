// kx_origin.h: in complete mode, which input the bytes of the buffer being indexed came from.
//
//   buffer   | input 2 ... | input 3 ...... | input 4 ...
//            ^ dataOrigin.gone              ^ inputs[2].end      counted from the first byte of input 0
#pragma once

#include <algorithm>

#include "orkan/kx_run_state.h"

namespace orkan {

/// The input that the byte at this offset of the buffer came from; null: standard input.
inline const FileInfo *kx_input_at(kx_i64 offset) {
    if (dataOrigin.count == 0) {
        return nullptr;
    }
    const FileInfo *last = dataOrigin.inputs + dataOrigin.count - 1;
    return std::upper_bound(dataOrigin.inputs, last, dataOrigin.gone + offset,
                            [](kx_i64 place, const FileInfo &input) { return place < input.end; });
}

/// Where in a buffer of `size` bytes the input ends whose byte stands at this offset: no record goes beyond.
inline kx_i64 kx_input_end(kx_i64 offset, kx_i64 size) {
    const FileInfo *input = kx_input_at(offset);
    const bool last = input == nullptr || input == dataOrigin.inputs + dataOrigin.count - 1;
    return last ? size : std::min(input->end - dataOrigin.gone, size);
}

} // namespace orkan
