// kx_pool_report_test.cpp: the order of free blocks, the counters, the report, and the self-check.
#include <gtest/gtest.h>

#include <string>

#include "support/pool_fixture.h"

namespace orkan {
namespace {

// --- comparators ---

TEST(PoolOrder, SizeThenAddressAndNeverEqual) {
    kx_mmu blocks[2] = {{nullptr, nullptr, 'F', 8}, {nullptr, nullptr, 'F', 8}};
    EXPECT_EQ(_cmpMmuSize(&blocks[1], &blocks[0]), 1);
    EXPECT_EQ(_cmpMmuSize(&blocks[0], &blocks[1]), -1);
    EXPECT_EQ(_cmpMmuSize(&blocks[0], &blocks[0]), -1);
    EXPECT_EQ(_cmpIfEqual_dichotomize(&blocks[0], &blocks[0], 0), 0);
    EXPECT_EQ(_cmpIfEqual_dichotomize(&blocks[1], &blocks[0], 0), 1);
    EXPECT_EQ(_cmpIfSizeAddr_check(&blocks[1], &blocks[0]), -1);
    EXPECT_EQ(_cmpIfSizeAddr_check(&blocks[0], &blocks[1]), 0);
    blocks[0].size = 16;
    EXPECT_EQ(_cmpMmuSize(&blocks[0], &blocks[1]), 1);
    EXPECT_EQ(_cmpMmuSize(&blocks[1], &blocks[0]), -1);
    EXPECT_EQ(_cmpIfEqual_dichotomize(&blocks[1], &blocks[0], 0), -1);
    EXPECT_EQ(_cmpIfSizeAddr_check(&blocks[0], &blocks[1]), -1);
    const kx_i64 wanted = 16;
    EXPECT_NE(_cmpIfSizeLarge(&blocks[0], &wanted, 0), 0);
    EXPECT_EQ(_cmpIfSizeLarge(&blocks[1], &wanted, 0), 0);
}

// --- counters and report ---

TEST(PoolReport, CountersCountOnlyInAVerboseRun) {
    const auto use_everything = [] {
        OwnPool pool(kKib, 1);
        void *a = kx_malloc(pool, 8);
        void *b = kx_malloc_hwm(pool, 8);
        void *c = kx_qmalloc(pool, 8);
        a = kx_realloc(pool, a, 8);
        void *d = kx_realloc(pool, kx_malloc(pool, 4000), 8000);
        void *e = kx_qmalloc(pool, 4000);
        for (void *p : {a, b, d}) {
            kx_free(pool, p);
        }
        for (void *p : {e, c}) {
            kx_qfree(pool, p);
        }
    };
    const auto counters = [] {
        return Sizes{_kx_malloc, _kx_malloc_hwm, _kx_qmalloc, _kx_realloc, _malloc, _realloc, _free, _qfree};
    };
    {
        Verbose verbose;
        VERBOSE = 0;
        use_everything();
        EXPECT_EQ(counters(), Sizes(8, 0));
    }
    Verbose verbose;
    ::testing::internal::CaptureStderr();
    use_everything();
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(counters(), (Sizes{3, 1, 2, 2, 2, 1, 1, 1}));
}

const char *const kReport = "\n###メモリ割当函数[kx_malloc]のコール回数は：1\n"
                            "###メモリ快速割当函数[kx_malloc_hwm]のコール回数は：2\n"
                            "###メモリ最快速割当函数[kx_qmalloc]のコール回数は：3\n"
                            "###メモリ再割当函数[kx_realloc]のコール回数は：4\n"
                            "###メモリ割当函数[malloc]のコール回数は：5\n"
                            "###メモリ再割当函数[realloc]のコール回数は：6\n"
                            "###メモリ解放函数[free]のコール回数は：7\n"
                            "###メモリ解放函数[qfree]のコール回数は：8\n";

void set_counters() {
    kx_i64 value = 0;
    for (kx_i64 *counter :
         {&_kx_malloc, &_kx_malloc_hwm, &_kx_qmalloc, &_kx_realloc, &_malloc, &_realloc, &_free, &_qfree}) {
        *counter = ++value;
    }
}

template <class Action> std::string printed_by(Action action) {
    ::testing::internal::CaptureStderr();
    action();
    return ::testing::internal::GetCapturedStderr();
}

TEST(PoolReport, PrintsCountersAndMemoryInJapaneseInEveryLocale) {
    OwnPool pool(64 * kKib, 1);
    kx_malloc(pool, 100);
    kx_malloc(pool, 2000);
    kx_qmalloc(pool, 3000);
    Verbose verbose;
    set_counters();
    for (const char *language : {"C", "en_US.UTF-8", "ja_JP.UTF-8"}) {
        setenv("LANG", language, 1);
        const kx_i64 kib = (tail(pool)->size - 1) / 1024 + 1;
        EXPECT_EQ(printed_by([&] { kx_memInfo_print(pool); }),
                  std::string(kReport) +
                      "###フロント側の割当済みメモリブロックは[2]個、バック側の割当済みメモリブロックは[1]個です。\n"
                      "###トータルフリーメモリ数[1]個、サイズは[" +
                      std::to_string(kib) + "]KB、最大フリーメモリブロックサイズは[" + std::to_string(kib) +
                      "]KBです。\n");
    }
    unsetenv("LANG");
}

TEST(PoolReport, TotalsAndLargestAreRoundedUpToKib) {
    OwnPool pool(64 * kKib);
    void *p = kx_malloc(pool, 1032);
    kx_malloc(pool, tail(pool)->size);
    kx_free(pool, p);
    Verbose verbose;
    const std::string text = printed_by([&] { kx_memInfo_print(pool); });
    EXPECT_NE(text.find("数[1]個、サイズは[2]KB、最大フリーメモリブロックサイズは[2]KBです。\n"), std::string::npos);
}

TEST(PoolReport, EmptyTotalShowsOneKib) {
    OwnPool pool(kKib);
    exhaust(pool);
    Verbose verbose;
    const std::string text = printed_by([&] { kx_memInfo_print(pool); });
    EXPECT_NE(text.find("数[0]個、サイズは[1]KB、最大フリーメモリブロックサイズは[1]KBです。\n"), std::string::npos);
}

TEST(PoolReport, SilentWhenNotVerbose) {
    OwnPool pool(kKib, 1);
    EXPECT_EQ(printed_by([&] {
                  kx_memInfo_print(pool);
                  kx_free(pool, kx_realloc(pool, kx_malloc(pool, 4000), 5000));
              }),
              "");
}

TEST(PoolReport, FallbackPrintsTheReportAndThenItsMessage) {
    OwnPool pool(kKib, 1);
    exhaust(pool);
    Verbose verbose;
    set_counters();
    void *p = nullptr;
    std::string text = printed_by([&] { p = kx_malloc(pool, 2049); });
    EXPECT_EQ(text.find("\n###メモリ割当函数[kx_malloc]のコール回数は：2\n"), 0U);
    EXPECT_NE(text.find("###メモリ割当函数[malloc]のコール回数は：6\n"), std::string::npos);
    EXPECT_TRUE(
        text.ends_with("KBです。\nメモリプールから[2]KB、[2049]バイトが割当できなかったので、ヒップから割当てる！\n"));

    text = printed_by([&] { p = kx_realloc(pool, p, 3072); });
    EXPECT_NE(text.find("###メモリ再割当函数[realloc]のコール回数は：7\n"), std::string::npos);
    EXPECT_TRUE(text.ends_with(
        "KBです。\nメモリプールから[2]KB、[3072]バイトが再割当できなかったので、ヒップから再割当てる！\n"));

    text = printed_by([&] { p = kx_realloc_both(pool, p, 3073); });
    EXPECT_NE(text.find("###メモリ再割当函数[realloc]のコール回数は：8\n"), std::string::npos);
    EXPECT_TRUE(
        text.ends_with("KBです。\nメモリプールから[3]KBバイトが再割当できなかったので、ヒップから再割当てる！\n"));

    text = printed_by([&] { kx_free(pool, kx_malloc(pool, 0)); });
    EXPECT_TRUE(text.ends_with("メモリプールから[0]KB、[0]バイトが割当できなかったので、ヒップから割当てる！\n"));
    kx_free(pool, p);
}

// --- the checker itself: it must see what is broken ---

TEST(PoolCheck, NamesTheBrokenInvariant) {
    const auto verdict = [](auto damage) {
        kx_mem_pool *pool = kx_mem_pool_create(4096, 0);
        void *a = kx_malloc(pool, 64);
        kx_malloc(pool, 64);
        kx_free(pool, a);
        kx_qmalloc(pool, 64);
        auto restore = damage(pool, header(a));
        const char *broken = kx_pool_check(pool);
        std::string text = broken == nullptr ? "" : std::string(broken).substr(0, 2);
        restore();
        EXPECT_STREQ(kx_pool_check(pool), nullptr);
        kx_mem_pool_free(pool);
        return text;
    };
    const auto changed = [](auto &field, auto value) {
        const auto old = field;
        field = value;
        return [&field, old] { field = old; };
    };
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->edge, p->edge + 1); }), "P1");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->size, kx_i64{63}); }), "P1");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->size, kx_i64{72}); }), "P2");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->next->prev, b->next); }), "P2");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->status, kx_i64{0}); }), "P2");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->next->status, kx_i64{'F'}); }), "P3");
    EXPECT_EQ(verdict([&](kx_mem_pool *, kx_mmu *b) { return changed(b->status, kx_i64{'A'}); }), "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->listFree->len, kx_i64{1}); }), "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->listFree->tab[0], p->listFree->tab[1]); }),
              "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->num, kx_i64{2}); }), "P5");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->edge_mmu->size, kx_i64{8}); }), "P2");
    EXPECT_EQ(
        verdict([&](kx_mem_pool *p, kx_mmu *b) { return changed(p->listFree->tab[0], static_cast<void *>(b->next)); }),
        "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->tail_lag, kx_i64{-1000000}); }), "P4");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) {
                  return changed(*reinterpret_cast<kx_i64 *>(p->edge), kx_i64{72 + 1});
              }),
              "P6");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->listSystem.start, kx_i64{1}); }), "sy");
    EXPECT_EQ(verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(p->qnum, kx_i64{2}); }), "P6");
    EXPECT_EQ(
        verdict([&](kx_mem_pool *p, kx_mmu *) { return changed(*reinterpret_cast<kx_i64 *>(p->edge), kx_i64{64}); }),
        "P6");
}

} // namespace
} // namespace orkan
