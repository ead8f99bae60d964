// kx_load.h: all inputs into one buffer, and how much they are.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// Bytes that kx_inputFile needs: the sizes of all inputs and one newline code, in complete mode one for each input.
kx_i64 kx_load_room();

/// Fills `buf` (of kx_load_room bytes) with the contents of all input files in command-line order. CSV header lines are
/// dropped; the first one is kept in argsInfo.header. Data of newline-ended formats that do not end with the newline
/// code get one, in complete mode those of each input. argsInfo.totalFileSize becomes the bytes in `buf`. 0, or 1 with
/// a message printed.
int kx_inputFile(char *buf);

/// Bytes that a file of all records is likely to take. 0: nobody knows, as with -U or of what a pipe brings.
kx_i64 kx_expected_bytes();

} // namespace orkan
