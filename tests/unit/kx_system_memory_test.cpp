// kx_system_memory_test.cpp: the system allocator's own refusals.
#include "kx_utils/kx_system_memory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

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

} // namespace
