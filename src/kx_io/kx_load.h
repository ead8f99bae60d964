// kx_load.h: all inputs into one buffer.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// Fills `buf` (room for the sizes of all inputs and one newline code) with the contents of all input files in
/// command-line order. CSV header lines are dropped; the first one is kept in argsInfo.header. Data of newline-ended
/// formats that do not end with the newline code get one. argsInfo.totalFileSize becomes the bytes in `buf`.
/// 0, or 1 with a message printed.
int kx_inputFile(char *buf);

} // namespace orkan
