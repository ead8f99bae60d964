#include "kx_sort/kx_budget.h"

#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

/// Bytes that the index over all records is expected to take.
kx_i64 index_overhead(const ArgsInfo &args) {
    if (args.bFixVar == kFix) {
        return multiply_saturating(args.totalRecNum, 8);
    }
    if (args.bCsv != 0) {
        return args.keyNums > 0 ? args.totalFileSize / 2 : args.totalFileSize;
    }
    return args.totalFileSize / 4;
}

/// What sorting everything in memory takes; a stable sort needs the index a second time.
kx_i64 in_memory_need(const ArgsInfo &args) {
    if (args.totalFileSize < 0) {
        return args.totalFileSize; // beyond every bound, like any negative size
    }
    const kx_i64 index = multiply_saturating(index_overhead(args), args.bStabilize != 0 ? 2 : 1);
    return add_saturating(add_saturating(args.totalFileSize, BASIC_SIZE), index);
}

kx_i64 within_bounds(ArgsInfo &args, kx_i64 size) {
    if (static_cast<std::uint64_t>(size) > kMaximumPoolSize) {
        kx_trace(msg::kMemoryLimit, kib_round_up(kMaximumPoolSize));
        args.bMemory = 0;
        return kDefaultPoolSize;
    }
    if (size >= kMinimumPoolSize) {
        return size;
    }
    kx_trace(msg::kMinimumMemory, kib_round_up(kMinimumPoolSize));
    return kMinimumPoolSize;
}

} // namespace

kx_i64 kx_calculate_memsize() {
    ArgsInfo &args = argsInfo;
    const kx_i64 wanted = args.totalMemSize;
    if (args.totalFileSize == 0) {
        return wanted == 0 ? kDefaultPoolSize : within_bounds(args, wanted);
    }
    const kx_i64 need = in_memory_need(args);
    const bool too_large = wanted != 0 && need > wanted;
    args.bMemory = too_large ? 0 : 1;
    return within_bounds(args, too_large ? wanted : need);
}

kx_i64 kx_fixed_chunk_size() {
    const auto length = static_cast<std::uint64_t>(argsInfo.recLen);
    const auto budget = static_cast<std::uint64_t>(argsInfo.totalMemSize - BASIC_SIZE);
    const std::uint64_t per_record = length + (argsInfo.bStabilize != 0 ? 16 : 8);
    return static_cast<kx_i64>(length * (budget / per_record));
}

kx_i64 kx_line_chunk_size() { return (argsInfo.totalMemSize - BASIC_SIZE) / 4 * 3; }

kx_i64 kx_csv_chunk_size() {
    const kx_i64 budget = argsInfo.totalMemSize - BASIC_SIZE;
    return argsInfo.keyNums > 0 ? budget / 2 : budget / 4; // without keys every field has a locator
}

} // namespace orkan
