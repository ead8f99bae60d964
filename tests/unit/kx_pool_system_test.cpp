// kx_pool_system_test.cpp: what the exhausted pool takes from the system.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "support/pool_fixture.h"

namespace orkan {
namespace {

TEST(PoolSystem, LargeRequestComesFromTheSystemUnrounded) {
    OwnPool pool(kKib, 1);
    Refuse none(100);
    void *p = kx_malloc(pool, 4001);
    ASSERT_NE(p, nullptr);
    EXPECT_FALSE(in_region(pool, p));
    EXPECT_EQ(requested_sizes.back(), 4001);
    EXPECT_EQ(pool->num, 0);
    std::memset(p, 1, 4001);
    kx_free(pool, p);
}

TEST(PoolSystem, FreeOperationsRecogniseItByAddress) {
    Verbose verbose;
    ::testing::internal::CaptureStderr();
    {
        OwnPool pool(kKib, 1);
        void *a = kx_malloc(pool, 4000);
        void *b = kx_malloc_hwm(pool, 4000);
        void *c = kx_qmalloc(pool, 4000);
        EXPECT_EQ(_malloc, 3);
        kx_free(pool, a);
        kx_qfree(pool, b);
        kx_qfree(pool, c);
        EXPECT_EQ(pool->num + pool->qnum, 0);
    }
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(_free, 1);
    EXPECT_EQ(_qfree, 2);
}

TEST(PoolSystem, MemoryThatOthersTookIsPassedOn) {
    OwnPool pool(kKib, 1);
    kx_free(pool, std::malloc(100)); // the leak sanitizer sees it when it is not
    kx_qfree(pool, std::malloc(100));
    void *p = kx_realloc(pool, std::malloc(100), 200);
    EXPECT_NE(p, nullptr);
    kx_free(pool, p);
}

TEST(PoolSystem, ReallocKeepsTheBytes) {
    OwnPool pool(kKib, 1);
    auto *p = static_cast<char *>(kx_malloc(pool, 4000));
    std::memset(p, 7, 4000);
    p = static_cast<char *>(kx_realloc(pool, p, 400000));
    EXPECT_EQ(std::string(p, 4000), std::string(4000, 7));
    p = static_cast<char *>(kx_realloc_both(pool, p, 10));
    EXPECT_EQ(std::string(p, 10), std::string(10, 7));
    p = static_cast<char *>(kx_realloc(pool, p, 0)); // still a block
    ASSERT_NE(p, nullptr);
    kx_free(pool, p);
}

TEST(PoolSystem, SecondReleaseIsIgnored) {
    OwnPool pool(kKib, 1);
    void *p = kx_malloc(pool, 4000);
    kx_free(pool, p);
    kx_free(pool, p);
    kx_qfree(pool, p);
    EXPECT_EQ(kx_realloc(pool, p, 10), nullptr);
    EXPECT_EQ(kx_realloc_both(pool, p, 10), nullptr);
}

TEST(PoolSystem, AddressHandedOutAgainIsInUseAgain) {
    OwnPool pool(kKib, 1);
    std::map<void *, int> seen;
    for (int i = 0; i < 200; ++i) {
        void *p = kx_malloc(pool, 4000);
        std::memset(p, i, 4000);
        ++seen[p];
        kx_free(pool, p);
        kx_free(pool, p);
    }
    EXPECT_LE(kx_list_len(&pool->listSystem), 200);
    EXPECT_EQ(kx_list_len(&pool->listSystem), static_cast<kx_i64>(seen.size()));
}

TEST(PoolSystem, RefusedMemoryGivesNullAndChangesNothing) {
    OwnPool pool(kKib, 1);
    auto *p = static_cast<char *>(kx_malloc(pool, 4000));
    std::memset(p, 9, 4000);
    {
        Refuse refuse;
        EXPECT_EQ(kx_malloc(pool, 4000), nullptr);
        EXPECT_EQ(kx_malloc_hwm(pool, 4000), nullptr);
        EXPECT_EQ(kx_qmalloc(pool, 4000), nullptr);
        EXPECT_EQ(kx_realloc(pool, p, 8000), nullptr);
        EXPECT_EQ(kx_realloc_both(pool, p, 8000), nullptr);
    }
    EXPECT_EQ(std::string(p, 4000), std::string(4000, 9));
    kx_free(pool, p);
}

TEST(PoolSystem, NoMemoryToKeepTheAddressRefusesTheRequest) {
    OwnPool pool(kKib, 1);
    Refuse refuse(0, 8192); // the slots of the address list
    EXPECT_EQ(kx_malloc(pool, 4000), nullptr);
}

TEST(PoolSystem, ForeignAddressIsLeftAloneWithoutAutoExtend) {
    OwnPool pool(kKib, 0);
    void *p = std::malloc(10);
    kx_free(pool, p);
    kx_qfree(pool, p);
    EXPECT_EQ(kx_realloc(pool, p, 20), nullptr);
    std::free(p); // the address sanitizer sees it when the pool had freed it
}

} // namespace
} // namespace orkan
