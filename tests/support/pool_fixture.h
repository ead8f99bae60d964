// pool_fixture.h: what the tests of the memory pool share: a pool of their own, verbose runs, refused memory, and what
// lies in the pool.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_fault.h"
#include "orkan/kx_run_state.h"

namespace orkan {

inline constexpr kx_i64 kHeader = 32;
inline constexpr kx_i64 kKib = 1024;

/// A pool that ends with the test, and must be consistent then.
class OwnPool {
  public:
    explicit OwnPool(kx_i64 bytes, kx_i64 autoExtend = 0) : pool_(kx_mem_pool_create(bytes, autoExtend)) {}
    ~OwnPool() {
        if (pool_ != nullptr) {
            EXPECT_STREQ(kx_pool_check(pool_), nullptr);
        }
        kx_mem_pool_free(pool_);
    }
    OwnPool(const OwnPool &) = delete;
    OwnPool &operator=(const OwnPool &) = delete;
    // NOLINTNEXTLINE(google-explicit-constructor): stands wherever a pool does
    operator kx_mem_pool *() const { return pool_; }
    kx_mem_pool *operator->() const { return pool_; }

  private:
    kx_mem_pool *pool_;
};

/// A verbose run with counters from zero, for the length of a block.
class Verbose {
  public:
    Verbose() {
        for (kx_i64 *counter :
             {&_kx_malloc, &_kx_malloc_hwm, &_kx_qmalloc, &_kx_realloc, &_malloc, &_realloc, &_free, &_qfree}) {
            *counter = 0;
        }
        VERBOSE = 1;
    }
    ~Verbose() { VERBOSE = 0; }
    Verbose(const Verbose &) = delete;
    Verbose &operator=(const Verbose &) = delete;
};

inline kx_i64 accepted_requests; // system requests still granted
inline kx_i64 least_refused;     // smaller ones are always granted
inline std::vector<kx_i64> requested_sizes;

/// Refuses the system's memory after so many requests, for the length of a block.
class Refuse {
  public:
    explicit Refuse(kx_i64 accepted = 0, kx_i64 at_least = 0) {
        accepted_requests = accepted;
        least_refused = at_least;
        requested_sizes.clear();
        kx_fault_hook = [](kx_site site, kx_i64 bytes) {
            if (site != kx_site::allocate) {
                return false;
            }
            requested_sizes.push_back(bytes);
            return bytes >= least_refused && accepted_requests-- <= 0;
        };
    }
    ~Refuse() { kx_fault_hook = nullptr; }
    Refuse(const Refuse &) = delete;
    Refuse &operator=(const Refuse &) = delete;
};

inline kx_mmu *header(void *p) { return reinterpret_cast<kx_mmu *>(static_cast<char *>(p) - kHeader); }
inline kx_mmu *tail(const kx_mem_pool *pool) { return pool->edge_mmu->prev; }

inline bool in_region(const kx_mem_pool *pool, const void *p) {
    const auto *place = static_cast<const char *>(p);
    return place >= reinterpret_cast<const char *>(pool->start) && place <= pool->end;
}

inline std::vector<kx_i64> free_sizes(const kx_mem_pool *pool) {
    std::vector<kx_i64> sizes;
    for (kx_i64 i = 0; i < kx_list_len(pool->listFree); ++i) {
        sizes.push_back(static_cast<kx_mmu *>(kx_list_get(pool->listFree, i))->size);
    }
    return sizes;
}

using Sizes = std::vector<kx_i64>;

#define EXPECT_CONSISTENT(pool) EXPECT_STREQ(kx_pool_check(pool), nullptr)

/// Takes everything that is free in the pool, so that the next request finds nothing.
inline void exhaust(kx_mem_pool *pool) {
    while (kx_list_len(pool->listFree) > 0) {
        ASSERT_NE(kx_malloc(pool, free_sizes(pool).back()), nullptr);
    }
}

} // namespace orkan
