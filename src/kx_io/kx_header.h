// kx_header.h: the header line of CSV inputs.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// How far into an input its header line may reach, in bytes.
inline constexpr kx_i64 kHeaderSearchLimit = 1048576;

/// Copies the first input's header line, newline code included, into pool memory: argsInfo.header and headerLen.
/// 0, or 1 with a message when memory is refused.
int kx_keep_header(Bytes line);

} // namespace orkan
