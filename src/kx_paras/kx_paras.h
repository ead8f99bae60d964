// kx_paras.h: the run's configuration: options into raw values, raw values into settings, dumps, release.
#pragma once

#include "kx_types/kx_args.h"

namespace orkan {

/// Reads the options and operands of argv[1..argc-1] into `args` without interpreting what needs another option.
/// 0, or non-zero after a syntax error (its message printed). Ends the process on scanner errors and for the version
/// texts. `args` borrows from the vector (delimiter and newline texts), so it must outlive the run.
int kx_GetParametersInfo(ArgsInfo *args, int argc, char **argv);

/// Derives the settings the sorts use and checks the file system before any data is touched: record format, newline
/// code, delimiter, sizes of the inputs, folders, the temporary path (from processId), sort keys. 0, or 1 with one
/// message printed and not flushed.
int kx_DealParametersInfo(ArgsInfo *args);

/// Parses the texts of all sort keys and checks them against the format; sets keyMaxPos. 0, or 1 with a message.
int kx_parse_sort_keys(ArgsInfo *args);

/// Write the configuration, or one file of it, to standard output.
void printArgsInfo(const ArgsInfo *args);
void printFileInfo(const char *name, const FileInfo *file);

/// Releases everything the configuration owns and empties it. Null: nothing.
void kx_CleanupArgsInfo(ArgsInfo *args);

} // namespace orkan
