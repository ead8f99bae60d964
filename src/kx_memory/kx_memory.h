// kx_memory.h: the run's memory pool, one region used from both ends.
//
//   region                           start                                   edge                     end
//   | pool | free list's | sentinel | hdr payload | hdr payload | hdr tail  | word back | word back |
//   | rec. | record      | header   | front blocks: any order, best fit  ->  <- back stack: last in, first out
//
//   front block   a kx_mmu header and `size` payload bytes; the last one, which borders the back area, is the tail
//   back block    one word and its payload bytes; the word holds the bytes of both, plus 1 once it is released
//   system block  what the pool could not serve, taken from the system and known by its address outside the region
//
// P1  every size is a multiple of 8 and not negative; `start`, `edge` and `end` are 8-byte boundaries
// P2  front blocks tile [start, edge) without gaps, chained in address order through the sentinel (status 0, size 0)
// P3  no two neighbours are free
// P4  the free list holds each free block once, ascending by (size, address); only the tail's entry may lag, by
//     exactly `tail_lag` bytes that back blocks took since the entry was placed. A tail in use has no lag
// P5  `num` front blocks are in use
// P6  back blocks tile [edge, end); `qnum` of them are not released; the one at the edge is not
//
// Why two ends: merge buffers come and go in strict nesting; a stack of their own keeps them off the free list, and
// taking one touches no list at all.
//
// Whatever is handed to the free and realloc operations is looked at before anything is touched: a front block must
// stand in the chain, a back block in the stack, and a system block that this pool has released already is known.
// Anything else is ignored (free) or refused (realloc), so releasing a block twice does no harm.
#pragma once

#include "kx_list/kx_ring.h"
#include "kx_types/kx_bytes.h"

namespace orkan {

/// Values of kx_mmu::status; the sentinel has 0.
inline constexpr kx_i64 kMmuAllocated = 'A', kMmuFree = 'F';

/// The header in front of every front block.
struct kx_mmu {
    kx_mmu *prev; ///< in address order, circular through the sentinel
    kx_mmu *next;
    kx_i64 status;
    kx_i64 size; ///< payload bytes
};

static_assert(sizeof(kx_mmu) == 32);

struct kx_mem_pool {
    kx_mmu *start;      ///< first block header
    kx_i64 totalSize;   ///< bytes of the region as requested
    char *end;          ///< one past the region's last whole 8 bytes
    kx_i64 size;        ///< bytes for blocks: the region less the three records in front of `start`
    char *edge;         ///< lower boundary of the back area
    kx_mmu *edge_mmu;   ///< the sentinel; its `prev` is the tail
    kx_list *listFree;  ///< the free blocks; its slots are system memory
    kx_i64 hsize;       ///< sizeof(kx_mmu)
    kx_i64 num;         ///< front blocks in use
    kx_i64 qnum;        ///< back blocks in use
    char *lastarr_back; ///< payload of the back block at the edge, null without one; informational
    kx_i64 autoExtend;  ///< 1: go to the system when exhausted; else fail
    kx_i64 tail_lag;    ///< see P4
    kx_list listSystem; ///< addresses of system blocks, ascending; bit 0 set once released
};

/// Calls of the operations, and requests that went to the system; counted while VERBOSE is set, for all pools of the
/// process.
extern kx_i64 _kx_malloc, _kx_malloc_hwm, _kx_qmalloc, _kx_realloc;
extern kx_i64 _malloc, _realloc, _free, _qfree;

/// Zeroes them, between two runs of a process.
void kx_reset_pool_counters();

/// A pool over a region of that many bytes; null when memory is refused or the bytes do not even hold the bookkeeping.
kx_mem_pool *kx_mem_pool_create(kx_i64 bytes, kx_i64 autoExtend);

/// Gives the region and every system block not yet released back; null: nothing.
void kx_mem_pool_free(kx_mem_pool *pool);

/// n bytes from the smallest free block that fits (of equal ones the lowest), else with autoExtend 1 from the system.
/// Null when neither has them or n is negative; 0 bytes are a block like any other.
void *kx_malloc(kx_mem_pool *pool, kx_i64 n);

/// n bytes at the high-water mark, from the low end of the tail, so that what grows sits next to free memory; where
/// the tail does not do, kx_malloc.
void *kx_malloc_hwm(kx_mem_pool *pool, kx_i64 n);

/// n bytes from the top of the tail, in constant time; where the tail does not do, kx_malloc. Released with kx_qfree,
/// in reverse order for best use (another order only keeps the bytes until those below the block are released too).
void *kx_qmalloc(kx_mem_pool *pool, kx_i64 n);

/// Releases any block of this pool, front, back or system. Null, or a block released already: nothing.
void kx_free(kx_mem_pool *pool, void *p);
void kx_qfree(kx_mem_pool *pool, void *p);

/// Makes the block hold n bytes, in place or by moving what it holds; it never shrinks. Null block: kx_malloc_hwm.
/// Null when memory is refused, n is negative or p is no block in use (nothing changed).
void *kx_realloc(kx_mem_pool *pool, void *p, kx_i64 n);

/// As kx_realloc, but gives the bytes behind n back where they make a block. Null block: kx_malloc.
void *kx_realloc_both(kx_mem_pool *pool, void *p, kx_i64 n);

/// In a verbose run prints the counters, the blocks in use and the free memory.
void kx_memInfo_print(const kx_mem_pool *pool);

/// Null when P1 to P6 hold and the list of system blocks is in order; else the invariant that does not. For tests
/// and debug builds: walks everything.
const char *kx_pool_check(const kx_mem_pool *pool);

/// The free list's orders. _cmpMmuSize: 1 or -1 by (size, address), never 0. _cmpIfEqual_dichotomize: 0 for the very
/// block sought, else as before. _cmpIfSizeLarge: non-zero when the block has at least the wanted size (a kx_i64).
/// _cmpIfSizeAddr_check: -1 when a belongs behind b, else 0.
int _cmpMmuSize(const void *a, const void *b);
int _cmpIfEqual_dichotomize(const void *sought, const void *listed, kx_i64 slot);
int _cmpIfSizeLarge(const void *block, const void *wanted, kx_i64 slot);
int _cmpIfSizeAddr_check(const void *a, const void *b);

/// A quick block that lives as long as the C++ block it is declared in; guards nest, so releases come in reverse order.
class kx_quick_block {
  public:
    kx_quick_block(kx_mem_pool *pool, kx_i64 bytes) : pool_(pool), block_(kx_qmalloc(pool, bytes)) {}
    ~kx_quick_block() { kx_qfree(pool_, block_); }
    kx_quick_block(const kx_quick_block &) = delete;
    kx_quick_block &operator=(const kx_quick_block &) = delete;

    /// Null when memory was refused.
    [[nodiscard]] void *get() const { return block_; }

  private:
    kx_mem_pool *pool_;
    void *block_;
};

} // namespace orkan
