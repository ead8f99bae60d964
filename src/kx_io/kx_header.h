// kx_header.h: the header line of CSV inputs.
#pragma once

#include "kx_utils/kx_stream.h"

namespace orkan {

/// How far into an input its header line may reach, in bytes.
inline constexpr kx_i64 kHeaderSearchLimit = 1048576;

/// Copies the first input's header line, newline code included, into pool memory: argsInfo.header and headerLen.
/// 0, or 1 with a message when memory is refused.
int kx_keep_header(Bytes line);

/// In complete mode every path calls this for each input at its start: with -C and -H the stream is left right behind
/// the header line, of which `length` bytes came from the input (none of an empty one), and the first line met is kept.
/// 0, or 1 with a message.
int kx_take_header(kx_stream &in, kx_i64 &length);

} // namespace orkan
