// kx_entries_test.cpp: sorting entries by prefix, against the standard library's stable sort.
#include "kx_sort/kx_entries.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace orkan;

using Random = std::mt19937_64;
using Prefixes = std::vector<kx_prefix>;

/// A set of arrays of n entries.
struct Arrays {
    explicit Arrays(std::size_t n) : prefixes(n), numbers(n) {}
    explicit Arrays(Prefixes given) : prefixes(std::move(given)), numbers(prefixes.size()) {
        std::iota(numbers.begin(), numbers.end(), 0);
    }
    kx_entries entries() { return {prefixes.data(), numbers.data()}; }

    Prefixes prefixes;
    std::vector<kx_item_number> numbers;
};

struct Shape {
    const char *name;
    std::function<kx_prefix(Random &)> prefix;
};

kx_prefix text_of(const char *letters, std::size_t kinds, Random &random) {
    kx_prefix prefix = 0;
    for (int i = 0; i < 8; ++i) {
        prefix = prefix << 8 | static_cast<unsigned char>(letters[random() % kinds]);
    }
    return prefix;
}

const Shape kShapes[] = {
    {"any bits", [](Random &random) { return random(); }},
    {"text of few letters", [](Random &random) { return text_of("aeinorst", 8, random); }},
    {"numbers of 21 bits", [](Random &random) { return (kx_prefix{1} << 63) + random() % 2'000'001 - 1'000'000; }},
    {"numbers of both signs", [](Random &random) { return number_prefix(static_cast<std::int32_t>(random())); }},
    {"the two ends", [](Random &random) { return random() % 2 == 0 ? random() % 5000 : ~(random() % 5000); }},
    {"nearly all alike", [](Random &random) { return random() % 1000 == 0 ? random() : 7; }},
    {"one value", [](Random &) { return kx_prefix{42}; }},
};

void expect_sorted(const Prefixes &prefixes) {
    const std::size_t n = prefixes.size();
    Arrays expected(prefixes);
    std::stable_sort(expected.numbers.begin(), expected.numbers.end(),
                     [&](kx_item_number a, kx_item_number b) { return prefixes[a] < prefixes[b]; });
    std::stable_sort(expected.prefixes.begin(), expected.prefixes.end());

    Arrays in_place(prefixes), scratch(n);
    kx_sort_entries(in_place.entries(), scratch.entries(), static_cast<kx_i64>(n));
    ASSERT_TRUE(in_place.prefixes == expected.prefixes && in_place.numbers == expected.numbers);

    Arrays either(prefixes);
    const kx_entries sorted = kx_sort_entries_either(either.entries(), scratch.entries(), static_cast<kx_i64>(n));
    ASSERT_TRUE(std::equal(expected.prefixes.begin(), expected.prefixes.end(), sorted.prefixes));
    ASSERT_TRUE(std::equal(expected.numbers.begin(), expected.numbers.end(), sorted.numbers));
}

void expect_sorted_for_all_shapes(std::initializer_list<std::size_t> counts) {
    for (const Shape &shape : kShapes) {
        for (const std::size_t count : counts) {
            SCOPED_TRACE(testing::Message() << shape.name << ", " << count << " entries");
            Random random(count);
            Prefixes prefixes(count);
            std::generate(prefixes.begin(), prefixes.end(), [&] { return shape.prefix(random); });
            ASSERT_NO_FATAL_FAILURE(expect_sorted(prefixes));
        }
    }
}

TEST(KxEntries, FewEntriesAreSortedAndEqualOnesKeepTheirOrder) {
    expect_sorted_for_all_shapes({0, 1, 2, 30, 31, 32, 33, 49, 500});
}

TEST(KxEntries, SomeEntriesAreSortedAndEqualOnesKeepTheirOrder) {
    expect_sorted_for_all_shapes({2047, 2048, 2049, 10'000, 100'003});
}

TEST(KxEntries, MoreEntriesThanCachesHoldAreSortedAndEqualOnesKeepTheirOrder) {
    expect_sorted_for_all_shapes({(1U << 17) - 1, 1U << 17, (1U << 19) + 12'345});
}

} // namespace
