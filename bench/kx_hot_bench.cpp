// kx_hot_bench.cpp: micro benchmarks of what profiles of whole sorts show: scanning for codes, sorting entries, and
// the heads of a merge; each beside its plain counterpart.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "kx_memory/kx_memory.h"
#include "kx_sort/kx_entries.h"
#include "kx_sort/kx_heads.h"
#include "kx_sort/kx_views.h"
#include "kx_utils/kx_scan.h"
#include "kx_utils/kx_text.h"
#include "orkan/kx_run_state.h"

namespace orkan {
namespace {

// --- codes -------------------------------------------------------------------------------------------------------

constexpr std::size_t kTextBytes = std::size_t{1} << 20;

/// Lines of 65 bytes on average; a quarter of the fields quoted.
std::string text() {
    std::mt19937_64 random(1);
    std::string bytes(kTextBytes, 'x');
    for (char &byte : bytes) {
        const auto dice = random() % 260;
        byte = dice < 4 ? '\n' : dice < 30 ? ',' : dice < 34 ? '"' : 'x';
    }
    return bytes;
}

void scan(benchmark::State &state, kx_scan_kernel kernel) {
    const std::string bytes = text();
    std::vector<kx_mask> masks(kTextBytes / to_size(kMaskBytes));
    for ([[maybe_unused]] auto step : state) {
        kx_mask inside = 0;
        kernel(bytes.data(), to_i64(masks.size()), {',', true, '"'}, masks.data(), inside);
        benchmark::DoNotOptimize(masks.data());
    }
    state.SetBytesProcessed(state.iterations() * to_i64(kTextBytes));
}
void scan_portable(benchmark::State &state) { scan(state, kx_scan_portably); }
void scan_chosen(benchmark::State &state) { scan(state, kx_scan_blocks); }
BENCHMARK(scan_portable);
BENCHMARK(scan_chosen);

void code_scan_lines(benchmark::State &state) {
    const std::string bytes = text();
    for ([[maybe_unused]] auto step : state) {
        kx_code_scan codes({bytes.data(), to_i64(kTextBytes)}, bytes.data() + kTextBytes, {"\n", 1}, false, '"');
        while (const char *place = codes.next()) {
            benchmark::DoNotOptimize(place);
        }
    }
    state.SetBytesProcessed(state.iterations() * to_i64(kTextBytes));
}
void find_lines_one_by_one(benchmark::State &state) {
    const std::string bytes = text();
    for ([[maybe_unused]] auto step : state) {
        const char *cursor = bytes.data();
        while (const char *place = kx_findstr(cursor, bytes.data() + kTextBytes - cursor, {"\n", 1})) {
            benchmark::DoNotOptimize(place);
            cursor = place + 1;
        }
    }
    state.SetBytesProcessed(state.iterations() * to_i64(kTextBytes));
}
BENCHMARK(code_scan_lines);
BENCHMARK(find_lines_one_by_one);

// --- entries -----------------------------------------------------------------------------------------------------

std::vector<kx_entry> random_entries(kx_i64 n) {
    std::mt19937_64 random(2);
    std::vector<kx_entry> entries;
    for (kx_i64 i = 0; i < n; ++i) {
        entries.push_back(kx_make_entry(random(), static_cast<kx_item_number>(i)));
    }
    return entries;
}

void sort_entries(benchmark::State &state) {
    const std::vector<kx_entry> input = random_entries(state.range(0));
    std::vector<kx_entry> entries = input, scratch = input;
    for ([[maybe_unused]] auto step : state) {
        entries = input;
        kx_sort_entries(entries.data(), scratch.data(), state.range(0));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
void library_sort_entries(benchmark::State &state) {
    const std::vector<kx_entry> input = random_entries(state.range(0));
    std::vector<kx_entry> entries = input;
    for ([[maybe_unused]] auto step : state) {
        entries = input;
        std::sort(entries.begin(), entries.end());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// From prefixes to entries in order, by buckets first.
void sort_prefixes(benchmark::State &state) {
    const kx_i64 n = state.range(0);
    std::mt19937_64 random(2);
    std::vector<kx_prefix> input(to_size(n));
    std::generate(input.begin(), input.end(), random);
    std::vector<kx_entry> scratch(to_size(n)), entries(to_size(n));
    for ([[maybe_unused]] auto step : state) {
        kx_prefix_range range;
        std::for_each(input.begin(), input.end(), [&](kx_prefix prefix) { range.add(prefix); });
        const kx_shown_bits shown(range, kx_buckets::digit_bits(n));
        kx_buckets(input.data(), n, shown, entries.data()).for_each([&](kx_i64 first, kx_i64 end) {
            kx_sort_entries(entries.data() + first, scratch.data() + first, end - first);
        });
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(sort_entries)->RangeMultiplier(32)->Range(1 << 5, 1 << 20);
BENCHMARK(library_sort_entries)->RangeMultiplier(32)->Range(1 << 5, 1 << 20);
BENCHMARK(sort_prefixes)->RangeMultiplier(32)->Range(1 << 10, 1 << 20);

// --- heads -------------------------------------------------------------------------------------------------------

constexpr kx_i64 kLength = 64, kRecordsOfRun = 4096;

/// Fixed-length records that share their first 40 bytes with many others, each run in order.
struct Format {
    kx_prefix_rule first = kx_choose_prefix_rule();

    [[nodiscard]] static kx_head_order order() { return kx_choose_run_order(); }
    [[nodiscard]] const kx_prefix_rule &rule() const { return first; }
    [[nodiscard]] kx_prefix prefix(const UnitDataInfo &run) const { return first.of(fixed_head(run)); }
    [[nodiscard]] Bytes text(const UnitDataInfo &run) const { return first.bytes_of(fixed_head(run)); }
};

std::string sorted_run(std::mt19937_64 &random) {
    std::vector<std::string> records;
    for (kx_i64 i = 0; i < kRecordsOfRun; ++i) {
        std::string record = std::string(40, static_cast<char>('a' + random() % 4)) + std::to_string(random());
        record.resize(to_size(kLength), ' ');
        records.push_back(record);
    }
    std::sort(records.begin(), records.end());
    return std::accumulate(records.begin(), records.end(), std::string());
}

template <class Heads> void merge(benchmark::State &state) {
    memPool = kx_mem_pool_create(kx_i64{1} << 20, 1);
    argsInfo = ArgsInfo{};
    argsInfo.bFixVar = kFix;
    argsInfo.recLen = kLength;
    argsInfo.bRecSort = kRecSortAsc;
    std::mt19937_64 random(3);
    std::vector<std::string> bytes;
    for (kx_i64 i = 0; i < state.range(0); ++i) {
        bytes.push_back(sorted_run(random));
    }
    for ([[maybe_unused]] auto step : state) {
        std::vector<UnitDataInfo> units(bytes.size());
        const kx_list_owner runs(__kx_list_create());
        for (std::size_t i = 0; i < units.size(); ++i) {
            units[i].buf = bytes[i].data();
            units[i].bufSize = to_i64(bytes[i].size());
            units[i].index = to_i64(i);
            kx_list_append(runs.get(), &units[i]);
        }
        const Format format;
        Heads heads;
        heads.open(format, runs.get());
        while (heads.count() > 0) {
            UnitDataInfo &head = heads.first();
            head.bufOffset += kLength;
            head.bufOffset < head.bufSize ? heads.reorder_first(format) : heads.remove_first();
        }
        heads.close();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * kRecordsOfRun);
    kx_mem_pool_free(memPool);
    memPool = nullptr;
    argsInfo = ArgsInfo{};
}
void merge_tree(benchmark::State &state) { merge<kx_tree_heads>(state); }
void merge_list(benchmark::State &state) { merge<kx_literal_heads>(state); }
BENCHMARK(merge_tree)->Arg(8)->Arg(64)->Unit(benchmark::kMillisecond);
BENCHMARK(merge_list)->Arg(8)->Arg(64)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace orkan
