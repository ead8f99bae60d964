// kx_system_memory_test.cpp: the system allocator's own refusals, and whose memory is given back.
#include "kx_utils/kx_system_memory.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/fault.h"

namespace {

using namespace orkan;
using support::Fault;

constexpr kx_i64 kNegative[] = {-1, std::numeric_limits<kx_i64>::min()};

TEST(SystemMemory, NegativeSizesAreRefusedWithoutAskingTheSystem) {
    const Fault watch({.site = kx_site::allocate, .call = 1000});
    for (const kx_i64 bytes : kNegative) {
        EXPECT_EQ(kx_system_malloc(bytes), nullptr);
        EXPECT_EQ(kx_system_realloc(nullptr, bytes), nullptr);
    }
    EXPECT_EQ(Fault::calls(), 0);
}

TEST(SystemMemory, ABlockThatIsNotGrownToANegativeSizeIsStillThere) {
    auto *block = static_cast<char *>(kx_system_malloc(8));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "contents", 8);
    for (const kx_i64 bytes : kNegative) {
        EXPECT_EQ(kx_system_realloc(block, bytes), nullptr);
        EXPECT_EQ(std::string(block, 8), "contents"); // the address sanitizer sees it when it is gone
    }
    std::free(block);
}

/// Bytes of the block's whole huge pages that are in memory.
kx_i64 resident(char *block, kx_i64 bytes) {
    const auto misplaced = static_cast<kx_i64>(reinterpret_cast<std::uintptr_t>(block) % kHugePage);
    char *first = block + (kHugePage - misplaced) % kHugePage;
    const kx_i64 whole = (block + bytes - first) / kHugePage * kHugePage;
    const kx_i64 page = sysconf(_SC_PAGESIZE);
    std::vector<unsigned char> pages(static_cast<std::size_t>(whole / page));
    EXPECT_EQ(mincore(first, static_cast<std::size_t>(whole), pages.data()), 0);
    return page * std::count_if(pages.begin(), pages.end(), [](unsigned char flags) { return (flags & 1) != 0; });
}

TEST(SystemMemory, MovedBytesAreInMemoryOnce) {
    constexpr kx_i64 kBytes = 5 * kHugePage + 12345;
    auto *from = static_cast<char *>(kx_system_malloc(kBytes)), *to = static_cast<char *>(kx_system_malloc(kBytes));
    ASSERT_NE(from, nullptr);
    ASSERT_NE(to, nullptr);
    for (kx_i64 i = 0; i < kBytes; ++i) {
        from[i] = static_cast<char>(i % 251);
    }
    EXPECT_GE(resident(from, kBytes), 4 * kHugePage);
    kx_move_bytes(to, from, kBytes);
    EXPECT_EQ(resident(from, kBytes), 0);
    kx_i64 wrong = 0;
    for (kx_i64 i = 0; i < kBytes; ++i) {
        wrong += to[i] != static_cast<char>(i % 251);
    }
    EXPECT_EQ(wrong, 0);
    kx_system_free(from);
    kx_system_free(to);
}

TEST(SystemMemory, MovingOutOfAHugePageLeavesItsNeighboursAlone) {
    constexpr kx_i64 kBytes = 4 * kHugePage;
    auto *block = static_cast<char *>(kx_system_malloc(kBytes));
    ASSERT_NE(block, nullptr);
    std::memset(block, 'n', kBytes);
    std::string to(3 * kHugePage, ' ');
    kx_move_bytes(to.data(), block + 1000, 3 * kHugePage - 2000);
    EXPECT_EQ(to, std::string(3 * kHugePage - 2000, 'n') + std::string(2000, ' '));
    const std::string before(block, 1000), behind(block + 3 * kHugePage - 1000, kHugePage + 1000);
    EXPECT_EQ(before, std::string(1000, 'n'));
    EXPECT_EQ(behind, std::string(kHugePage + 1000, 'n'));
    kx_system_free(block);
}

TEST(SystemMemory, NoBlockIsReleasedWithoutHarm) { kx_system_free(nullptr); }

} // namespace
