// kx_pool_setup.cpp: the pool's size and what happens when it cannot be had.
//
//   wanted > 64 MiB            wanted, then 64 MiB (run as configured), then 16 MiB (split sort only)
//   16 MiB <= wanted <= 64 MiB wanted; no second attempt, although the message announces one: by design
//   wanted < 16 MiB            wanted, then 16 MiB (split sort only)
#include "kx_memory/kx_memory.h"
#include "kx_sort/kx_budget.h"
#include "kx_utils/kx_fault.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_driver.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

constexpr kx_i64 kMinimumKib = kib_round_up(kMinimumPoolSize);
constexpr kx_i64 kDefaultKib = kib_round_up(kDefaultPoolSize);

bool create_pool(kx_i64 size) {
    argsInfo.totalMemSize = kx_budget_bytes(size);
    memPool = kx_mem_pool_create(kx_pool_bytes(size), 1);
    return memPool != nullptr;
}

template <class Message> kx_pool_result no_pool(const Message &message) {
    kx_say(message, kMinimumKib);
    return kx_pool_result::failed;
}

kx_pool_result fall_back_to_default() {
    if (create_pool(kDefaultPoolSize)) {
        return kx_pool_result::ready;
    }
    kx_say(msg::kTryMinimumMemory, kDefaultKib, kMinimumKib);
    return create_pool(kMinimumPoolSize) ? kx_pool_result::minimum_only : no_pool(msg::kNoMemoryNoSort);
}

// kx_calculate_memsize never asks for so little.
kx_pool_result fall_back_to_minimum(kx_i64 wanted) {
    kx_say(msg::kBelowMinimumMemory, kib_round_up(wanted), kMinimumKib);
    return create_pool(kMinimumPoolSize) ? kx_pool_result::minimum_only : no_pool(msg::kNoMemoryNoSort.japanese_only());
}

} // namespace

kx_pool_result kx_setup_pool(kx_i64 wanted) {
    if (create_pool(wanted)) {
        return kx_pool_result::ready;
    }
    argsInfo.bMemory = 0;
    kx_say(msg::kTryDefaultMemory, kib_round_up(wanted), kDefaultKib);
    if (wanted > kDefaultPoolSize) {
        return fall_back_to_default();
    }
    if (wanted >= kMinimumPoolSize) {
        return no_pool(msg::kNoMemoryNoSort.japanese_only());
    }
    return fall_back_to_minimum(wanted);
}

} // namespace orkan
