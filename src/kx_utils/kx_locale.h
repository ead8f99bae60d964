// kx_locale.h: message language, time stamp, processor-time stopwatch.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

/// 1 when the environment variable LANG is set and begins with "ja", else 0.
int kx_IsJapaneseLocale();

/// The local time as "YYYY-MM-DD hh:mm:ss " (with the blank), in one static buffer that each call overwrites.
const char *kx_GetTimeInfo();

/// A reading of the processor clock, in its own ticks (1,000,000 a second).
kx_i64 kx_clock();

/// Milliseconds between two readings.
constexpr double elapsed_ms(kx_i64 from, kx_i64 to) { return static_cast<double>(to - from) / 1000000.0 * 1000.0; }

} // namespace orkan
