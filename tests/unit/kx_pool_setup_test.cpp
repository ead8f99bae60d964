// kx_pool_setup_test.cpp: the fallback of a pool below the minimum, which no budget asks for.
#include <gtest/gtest.h>
#include <string>

#include "kx_memory/kx_memory.h"
#include "orkan/kx_driver.h"
#include "orkan/kx_run_state.h"
#include "support/run.h"

namespace {

using namespace orkan;
using support::Call;
using support::in_child;
using support::kJapanese;
using support::Outcome;

constexpr kx_i64 kKilo = 1024, kWanted = 1000 * kKilo, kMinimum = 16 * kKilo * kKilo;

/// The result as a status; the wanted size is refused, and with `all` the minimum too.
Outcome set_up(bool all, const char *lang) {
    Call surroundings{.lang = lang};
    surroundings.before = [all] {
        all ? support::refuse_allocations({kWanted, kMinimum}) : support::refuse_allocations({kWanted});
    };
    return in_child(
        [] {
            const kx_pool_result result = kx_setup_pool(kWanted);
            const bool created = memPool != nullptr && memPool->totalSize == kMinimum;
            kx_CleanupGlobalVars();
            return result == kx_pool_result::minimum_only && created ? 10 : result == kx_pool_result::failed ? 11 : 12;
        },
        surroundings);
}

TEST(PoolSetup, BelowTheMinimumFallsBackToIt) {
    const Outcome english = set_up(false, "C");
    EXPECT_EQ(english.status, 10);
    EXPECT_EQ(english.err, "☆ Failed to allocate [1000]KB memory! Allocating default memory [65536]KB.\n"
                           "☆ Cannot use memory smaller than minimum [1000]KB! Allocating minimum memory [16384]KB.\n");
    const Outcome japanese = set_up(false, kJapanese);
    EXPECT_EQ(japanese.status, 10);
    EXPECT_EQ(japanese.err,
              "☆[1000]KBメモリの割当は失敗しました！デフォルトなメモリ[65536]KBを割当します。\n"
              "☆最小メモリ[1000]KBより小さいメモリの利用は出来ません！最小メモリ[16384]KBを割当します。\n");
}

TEST(PoolSetup, ARefusedMinimumFailsInJapaneseEverywhere) {
    const Outcome o = set_up(true, "C");
    EXPECT_EQ(o.status, 11);
    EXPECT_NE(o.err.find("☆[16384]KBメモリの割当は失敗しました、ソートできませんでした！\n"), std::string::npos);
}

} // namespace
