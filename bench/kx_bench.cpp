// kx_bench.cpp: micro benchmarks of the comparators, the list's sorts and the pool.
//
//   build/bench/kx_bench --benchmark_filter=sort
//
// Records are 100 bytes, index items point at them; keys are 10 random printable bytes, or 8 random digits for the
// numeric ones. Everything is seeded: every run sees the same data.
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include "kx_list/kx_list.h"
#include "kx_memory/kx_memory.h"
#include "kx_sort/kx_comparators.h"
#include "kx_sort/kx_index_sort.h"
#include "orkan/kx_run_state.h"

namespace orkan {
namespace {

constexpr kx_i64 kRecordLength = 100;
constexpr kx_i64 kKeyLength = 10;
constexpr kx_i64 kPoolBytes = kx_i64{256} << 20;

/// n records with random keys over the given letters, in one buffer.
std::string random_records(kx_i64 n, const std::string &letters) {
    std::mt19937_64 random(1);
    std::string records(to_size(n * kRecordLength), 'x');
    for (std::size_t at = 0; at < records.size(); at += to_size(kRecordLength)) {
        for (std::size_t i = 0; i < to_size(kKeyLength); ++i) {
            records[at + i] = letters[random() % letters.size()];
        }
    }
    return records;
}

/// A run in the middle: pool, one sort key, n records and the index over them.
class Run {
  public:
    Run(kx_i64 n, std::int32_t key_type)
        : records_(random_records(n, key_type == kTypeNum ? "0123456789" : "ABCDEFGHIJKLMNOPQRSTUVWXYZ")) {
        memPool = kx_mem_pool_create(kPoolBytes, 1);
        key_.len = key_type == kTypeNum ? 8 : static_cast<std::int32_t>(kKeyLength);
        key_.type = key_type;
        key_.srtSeq = kSeqAsc;
        argsInfo = ArgsInfo{};
        argsInfo.bFixVar = kFix;
        argsInfo.recLen = kRecordLength;
        argsInfo.arrSortKey = &key_;
        argsInfo.keyNums = 1;
        kx_data_in({records_.data(), to_i64(records_.size())});
        for (kx_i64 i = 0; i < n; ++i) {
            in_input_order_.push_back(records_.data() + i * kRecordLength);
        }
        list_ = __kx_list_create();
        kx_list_init(list_, n);
        reset();
    }
    ~Run() {
        kx_list_destroy(list_, nullptr);
        kx_mem_pool_free(memPool);
        memPool = nullptr;
        argsInfo = ArgsInfo{};
        dataEnd = nullptr;
    }
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;

    /// Input order again; a copy of 8 bytes per record.
    void reset() {
        for (kx_i64 i = 0; i < kx_list_len(list_); ++i) {
            kx_list_set(list_, i, in_input_order_[to_size(i)]);
        }
    }
    [[nodiscard]] kx_list *list() const { return list_; }

  private:
    std::string records_;
    std::vector<char *> in_input_order_;
    KeyInfo key_{};
    kx_list *list_ = nullptr;
};

void compare(benchmark::State &state, std::int32_t key_type, kx_list_compare cmp) {
    constexpr kx_i64 kRecords = 1024; // stay in the cache
    const Run run(kRecords, key_type);
    kx_i64 i = 0;
    for ([[maybe_unused]] auto step : state) {
        const void *a = kx_list_get(run.list(), i % kRecords);
        const void *b = kx_list_get(run.list(), (i * 7 + 1) % kRecords);
        benchmark::DoNotOptimize(cmp(&a, &b));
        ++i;
    }
}

void cmpList_text(benchmark::State &state) { compare(state, kTypeAscii, _cmpList); }
void cmpList_number(benchmark::State &state) { compare(state, kTypeNum, _cmpList); }
BENCHMARK(cmpList_text);
BENCHMARK(cmpList_number);

/// Times sort(list) on the records in input order, that is reset every time outside the clock.
template <class Sort> void sort_records(benchmark::State &state, std::int32_t key_type, Sort sort) {
    Run run(state.range(0), key_type);
    for ([[maybe_unused]] auto step : state) {
        state.PauseTiming();
        run.reset();
        state.ResumeTiming();
        sort(run.list());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void list_qsort(benchmark::State &state) {
    sort_records(state, kTypeAscii, [](kx_list *list) { kx_list_qsort(list, _cmpList); });
}
void list_msort(benchmark::State &state) {
    sort_records(state, kTypeAscii, [](kx_list *list) { kx_list_msort(list, _cmpList); });
}
void index_sort_text(benchmark::State &state) {
    sort_records(state, kTypeAscii, [](kx_list *list) { kx_sort_index(list, false); });
}
void index_sort_text_stable(benchmark::State &state) {
    sort_records(state, kTypeAscii, [](kx_list *list) { kx_sort_index(list, true); });
}
void index_sort_number(benchmark::State &state) {
    sort_records(state, kTypeNum, [](kx_list *list) { kx_sort_index(list, false); });
}
BENCHMARK(list_qsort)->RangeMultiplier(32)->Range(1 << 10, 1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(list_msort)->RangeMultiplier(32)->Range(1 << 10, 1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(index_sort_text)->RangeMultiplier(32)->Range(1 << 10, 1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(index_sort_text_stable)->RangeMultiplier(32)->Range(1 << 10, 1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(index_sort_number)->RangeMultiplier(32)->Range(1 << 10, 1 << 20)->Unit(benchmark::kMillisecond);

void list_append(benchmark::State &state) {
    const Run run(1, kTypeAscii);
    for ([[maybe_unused]] auto step : state) {
        kx_list *list = __kx_list_create();
        for (kx_i64 i = 0; i < state.range(0); ++i) {
            kx_list_append(list, kx_list_get(run.list(), 0));
        }
        kx_list_destroy(list, nullptr);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(list_append)->Range(1 << 10, 1 << 16);

/// One block is freed and one taken at a time, with state.range(0) blocks of 8 to 4,096 bytes out.
void pool_malloc_free(benchmark::State &state) {
    const Run run(1, kTypeAscii);
    std::mt19937_64 random(1);
    std::vector<void *> blocks(to_size(state.range(0)), nullptr);
    for ([[maybe_unused]] auto step : state) {
        void *&block = blocks[random() % blocks.size()];
        kx_free(memPool, block);
        block = kx_malloc(memPool, static_cast<kx_i64>(random() % 4096 + 1));
        benchmark::DoNotOptimize(block);
    }
    for (void *block : blocks) {
        kx_free(memPool, block);
    }
}
BENCHMARK(pool_malloc_free)->Range(8, 8192);

/// A nest of blocks on the back stack, taken and given back in order.
void pool_qmalloc_qfree(benchmark::State &state) {
    const Run run(1, kTypeAscii);
    std::vector<void *> stack;
    stack.reserve(to_size(state.range(0)));
    for ([[maybe_unused]] auto step : state) {
        for (kx_i64 i = 0; i < state.range(0); ++i) {
            stack.push_back(kx_qmalloc(memPool, 1024));
        }
        for (; !stack.empty(); stack.pop_back()) {
            kx_qfree(memPool, stack.back());
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(pool_qmalloc_qfree)->Range(1, 64);

} // namespace
} // namespace orkan
