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

/// As kx_inputFile without a copy, for a single large input: `buf` becomes where its records are. It stays null, and
/// nothing has happened, where they are to be loaded: so are several inputs, those of verbose runs, whose report counts
/// the memory, and one that is the output too. 0, or 1 with a message.
int kx_map_input(char *&buf);

/// 1, with a message, when the input was mapped and its file has changed meanwhile; else 0. Bytes appended to it are
/// such a change in complete mode only.
int kx_check_input();

/// Gives back the buffer that holds the records, loaded or mapped.
void kx_release_input(char *buf);

/// True when what the output's path or standard output leads to is one of the inputs.
bool kx_output_is_an_input();

/// Bytes that a file of all records is likely to take. 0: nobody knows, as with -U or of what a pipe brings.
kx_i64 kx_expected_bytes();

} // namespace orkan
