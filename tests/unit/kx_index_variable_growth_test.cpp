// kx_index_variable_growth_test.cpp: the locators of lines: 1024, then as many more as the average length so far lets
// expect; and what happens when memory is refused.
#include <algorithm>
#include <string>
#include <vector>

#include "support/lines_index_fixture.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

TEST_F(LinesIndex, GrowsBeyondItsFirstLocators) {
    for (const std::size_t count : {std::size_t{1023}, std::size_t{1024}, std::size_t{1025}, std::size_t{100000}}) {
        Texts expected;
        for (std::size_t i = 0; i < count; ++i) {
            expected.push_back(string(i % 7, 'x') + "\n");
        }
        ASSERT_EQ(records_of(joined(expected)), expected) << count;
        const auto *locators = static_cast<const RecordInfo *>(recordInfoArray);
        for (kx_i64 i = 0; i < to_i64(count); ++i) {
            ASSERT_EQ(kx_list_get(list_, i), locators + i) << "one array, which the caller gets";
        }
    }
}

/// The sizes asked of the system from now on.
std::vector<kx_i64> asked;
bool note_request(kx_site site, kx_i64 bytes) {
    if (site == kx_site::allocate) {
        asked.push_back(bytes);
    }
    return false;
}

TEST_F(LinesIndex, GrowsByTheFactorThatTheLengthsSoFarTell) {
    use_pool(4096); // every array comes from the system
    // 1024 records of 2 bytes, then 5952 bytes: 1024 * (8000 / 2048 + 1) locators.
    const string bytes = joined(Texts(1024, "a\n")) + joined(Texts(93, string(63, 'b') + "\n"));
    ASSERT_EQ(bytes.size(), 8000U);
    asked.clear();
    kx_fault_hook = note_request;
    index(bytes);
    kx_fault_hook = nullptr;
    EXPECT_EQ(kx_list_len(list_), 1117);
    EXPECT_EQ(std::count(asked.begin(), asked.end(), 1024 * 16), 1);
    EXPECT_EQ(std::count(asked.begin(), asked.end(), 4096 * 16), 1);
}

TEST_F(LinesIndex, AStretchOfTinyRecordsAsksForTooMuchAndGoesOn) {
    use_pool(1 << 20);
    const string bytes = string(1024, '\n') + joined(Texts(3000, string(999, 'b') + "\n"));
    // 1024 * (3001024 / 1024 + 1) locators would be 48 MB, twice the first 1024 are enough for long.
    const Fault fault({.onwards = true, .smallest = 40000000});
    EXPECT_EQ(messages_of([&] { EXPECT_EQ(records_of(bytes).size(), 4024U); }), "");
    EXPECT_EQ(Fault::calls(), 1);
}

// Refused memory

TEST_F(LinesIndex, RefusedLocatorsAreReported) {
    use_pool(4096, false);
    EXPECT_EQ(failure("a\n"), "☆ Failed to allocate [16]KB memory!\n");
    speak_japanese();
    EXPECT_EQ(failure("a\n"), "☆[16]KBメモリの割当は失敗しました！\n");
}

TEST_F(LinesIndex, RefusedGrowthIsReported) {
    use_pool(20000, false);
    EXPECT_EQ(failure(string(1025, '\n')), "☆ Failed to allocate [16]KB memory!\n");
}

TEST_F(LinesIndex, ARefusedListIsReported) {
    use_pool(20000, false);
    EXPECT_EQ(failure(string(1000, '\n')), "☆ Failed to allocate [8]KB memory!\n");
    release();
    EXPECT_EQ(records_of("a\n"), Texts{"a\n"}) << "works again after a refusal";
}

} // namespace
