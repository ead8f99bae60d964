// kx_entries_test.cpp: making entries of prefixes and sorting them, against the standard library's sorts.
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
using Entries = std::vector<kx_entry>;

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
    {"around a power of two", [](Random &random) { return (kx_prefix{1} << 40) + random() % 10 - 5; }},
    {"nearly all alike", [](Random &random) { return random() % 1000 == 0 ? random() : 7; }},
    {"one value", [](Random &) { return kx_prefix{42}; }},
};

Prefixes prefixes_of(const Shape &shape, std::size_t count) {
    Random random(count);
    Prefixes prefixes(count);
    std::generate(prefixes.begin(), prefixes.end(), [&] { return shape.prefix(random); });
    return prefixes;
}

kx_prefix_range range_of(const Prefixes &prefixes) {
    kx_prefix_range range;
    std::for_each(prefixes.begin(), prefixes.end(), [&](kx_prefix prefix) { range.add(prefix); });
    return range;
}

/// Calls expect(prefixes) for every shape and count.
template <class Expect> void for_all_shapes(std::initializer_list<std::size_t> counts, Expect expect) {
    for (const Shape &shape : kShapes) {
        for (const std::size_t count : counts) {
            SCOPED_TRACE(testing::Message() << shape.name << ", " << count << " entries");
            ASSERT_NO_FATAL_FAILURE(expect(prefixes_of(shape, count)));
        }
    }
}

void expect_sorted(const Prefixes &windows) {
    Entries entries;
    for (const kx_prefix window : windows) {
        entries.push_back(kx_make_entry(window, static_cast<kx_item_number>(entries.size())));
    }
    Entries expected = entries, scratch(entries.size());
    std::sort(expected.begin(), expected.end());
    kx_sort_entries(entries.data(), scratch.data(), to_i64(entries.size()));
    ASSERT_TRUE(entries == expected);
}

TEST(KxEntries, FewEntriesAreSortedByWindowThenByNumber) {
    for_all_shapes({0, 1, 2, 30, 31, 32, 33, 49, 500}, expect_sorted);
}

TEST(KxEntries, SomeEntriesAreSortedByWindowThenByNumber) {
    for_all_shapes({2047, 2048, 2049, 10'000, 100'003}, expect_sorted);
}

TEST(KxEntries, MoreEntriesThanCachesHoldAreSortedByWindowThenByNumber) {
    for_all_shapes({(1U << 17) - 1, 1U << 17, (1U << 19) + 12'345}, expect_sorted);
}

// In the order of buckets and windows lies what is shown of the prefixes, and that is as much as there is room for.
TEST(KxEntries, BucketsAndWindowsOrderLikeThePrefixesDownToTheHiddenBits) {
    for_all_shapes({1, 2, 500, 8191, 8192, 70'000, 300'001}, [](const Prefixes &prefixes) {
        const kx_i64 n = to_i64(prefixes.size());
        const int digit_bits = kx_buckets::digit_bits(n);
        const kx_prefix_range range = range_of(prefixes);
        const kx_shown_bits shown(range, digit_bits);
        Entries entries(prefixes.size());
        Prefixes found;
        kx_buckets(prefixes.data(), n, shown, entries.data()).for_each([&](kx_i64 first, kx_i64 end) {
            ASSERT_EQ(first, to_i64(found.size()));
            std::sort(entries.begin() + first, entries.begin() + end);
            std::transform(entries.begin() + first, entries.begin() + end, std::back_inserter(found),
                           [&](kx_entry entry) { return prefixes[kx_number_of(entry)] >> shown.hidden(); });
        });
        Prefixes expected = prefixes;
        std::for_each(expected.begin(), expected.end(), [&](auto &prefix) { prefix >>= shown.hidden(); });
        std::sort(expected.begin(), expected.end());
        ASSERT_TRUE(found == expected);

        const kx_prefix one_bit_more =
            shown.hidden() > 0 ? (range.greatest >> (shown.hidden() - 1)) - (range.least >> (shown.hidden() - 1)) : 0;
        ASSERT_TRUE(shown.hidden() == 0 || one_bit_more >> (kWindowBits + digit_bits) != 0);
    });
}

TEST(KxEntries, EqualPrefixesLieInOneBucketInTheOrderOfTheirNumbers) {
    for_all_shapes({500, 70'000}, [](const Prefixes &prefixes) {
        const kx_i64 n = to_i64(prefixes.size());
        const kx_shown_bits shown(range_of(prefixes), kx_buckets::digit_bits(n));
        Entries entries(prefixes.size());
        kx_i64 covered = 0;
        kx_buckets(prefixes.data(), n, shown, entries.data()).for_each([&](kx_i64 first, kx_i64 end) {
            covered += end - first;
            for (kx_i64 i = first; i < end; ++i) {
                ASSERT_EQ(shown.bucket(prefixes[kx_number_of(entries[to_size(i)])]),
                          shown.bucket(prefixes[kx_number_of(entries[to_size(first)])]));
                ASSERT_TRUE(i == first || kx_number_of(entries[to_size(i - 1)]) < kx_number_of(entries[to_size(i)]));
            }
        });
        ASSERT_EQ(covered, n);
    });
}

TEST(KxEntries, MergingKeepsTheOrderOfEntriesThatCompareEqual) {
    for (const kx_item_number count : {0U, 1U, 2U, 3U, 7U, 64U, 1000U}) {
        Random random(count);
        std::vector<kx_prefix> keys(count);
        std::generate(keys.begin(), keys.end(), [&] { return random() % 50; });
        Entries entries(count), scratch(count);
        std::iota(entries.begin(), entries.end(), 0);
        Entries expected = entries;
        std::stable_sort(expected.begin(), expected.end(), [&](kx_entry a, kx_entry b) { return keys[a] < keys[b]; });
        kx_merge_sort_entries(entries.data(), scratch.data(), count,
                              [&](kx_item_number a, kx_item_number b) { return keys[a] <= keys[b]; });
        EXPECT_TRUE(entries == expected) << count;
    }
}

} // namespace
