// kx_heads_test.cpp: which run comes first, and which among equals: the list, the tree, and a model of the list.
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "kx_sort/kx_choose.h"
#include "kx_sort/kx_heads.h"
#include "support/capture.h"
#include "support/fault.h"
#include "support/index.h"
#include "support/merge_model.h"
#include "support/run_state.h"

namespace {

using namespace orkan;
using namespace support;
using std::string;

constexpr std::size_t kLength = 12;

using Sequence = std::vector<std::size_t>; ///< numbers of runs in the order in which they give a record

/// What the structures ask of a format.
struct FixedFormat {
    kx_prefix_rule first = kx_choose_prefix_rule();
    bool consistent = true;

    [[nodiscard]] static kx_head_order order() { return kx_choose_run_order(); }
    [[nodiscard]] bool order_is_consistent() const { return consistent; }
    [[nodiscard]] kx_prefix prefix(const UnitDataInfo &run) const { return first.of(fixed_head(run)); }
    [[nodiscard]] Bytes text(const UnitDataInfo &run) const { return first.bytes_of(fixed_head(run)); }
    [[nodiscard]] const kx_prefix_rule &rule() const { return first; }
};

/// Runs held whole, each with at least one record. The list numbers them.
class Runs {
  public:
    explicit Runs(std::vector<string> bytes) : bytes_(std::move(bytes)), units_(bytes_.size()) {
        for (UnitDataInfo &unit : units_) {
            EXPECT_EQ(kx_list_append(list_.get(), &unit), 0);
        }
        numberMemo.forget_all(); // other runs had this memory before
        rewind();
    }
    void rewind() {
        for (std::size_t i = 0; i < units_.size(); ++i) {
            units_[i] = UnitDataInfo{};
            units_[i].index = to_i64(i);
            units_[i].buf = bytes_[i].data();
            units_[i].bufSize = to_i64(bytes_[i].size());
            units_[i].totalRecNum = to_i64(bytes_[i].size() / kLength);
        }
    }

    [[nodiscard]] const kx_list *list() const { return list_.get(); }
    [[nodiscard]] std::size_t count() const { return units_.size(); }
    [[nodiscard]] std::size_t number(const UnitDataInfo &run) const {
        return static_cast<std::size_t>(&run - units_.data());
    }
    [[nodiscard]] ModelHead head(std::size_t run) const {
        return {&bytes_[run], static_cast<std::size_t>(units_[run].bufOffset)};
    }
    UnitDataInfo &operator[](std::size_t run) { return units_[run]; }

    /// True while the run has another record.
    static bool advance(UnitDataInfo &run) {
        run.bufOffset += to_i64(kLength);
        return ++run.currRec < run.totalRecNum;
    }

  private:
    std::vector<string> bytes_;
    std::vector<UnitDataInfo> units_;
    kx_list_owner list_{__kx_list_create()};
};

int comparisons; ///< of the order below that is none, after the first ordering of a run's heads

template <class Heads, class Format> Sequence taken_by(Runs &runs, const Format &format) {
    runs.rewind();
    Heads heads;
    EXPECT_EQ(heads.open(format, runs.list()), 0);
    comparisons = 0;
    Sequence sequence;
    while (heads.count() > 0) {
        UnitDataInfo &run = heads.first();
        sequence.push_back(runs.number(run));
        Runs::advance(run) ? heads.reorder_first(format) : heads.remove_first();
    }
    heads.close();
    return sequence;
}

Sequence taken_by_model(Runs &runs, const ModelHeads::Order &order, bool stable) {
    runs.rewind();
    ModelHeads heads(runs.count(), order, stable);
    comparisons = 0;
    Sequence sequence;
    while (!heads.empty()) {
        sequence.push_back(heads.first());
        Runs::advance(runs[heads.first()]) ? heads.advanced() : heads.exhausted();
    }
    return sequence;
}

class HeadsFixture : public RunState {
  protected:
    static void configure(const Rules &rules) {
        set_fixed(kLength);
        std::vector<KeyInfo> keys;
        for (const ModelKey &k : rules.keys) {
            keys.push_back(key(static_cast<std::int32_t>(k.position), static_cast<std::int32_t>(k.length),
                               k.numeric ? kTypeNum : kTypeAscii, k.descending ? kSeqDesc : kSeqAsc));
        }
        set_keys(keys);
        argsInfo.bRecSort = !keys.empty() ? kRecSortNone : rules.descending ? kRecSortDesc : kRecSortAsc;
        argsInfo.bStabilize = rules.stable ? 1 : 0;
    }

    /// Random runs, in order or not: the procedure says what comes out either way.
    Runs random_runs(std::size_t count, const Rules &rules, const Alphabet &alphabet) {
        std::vector<string> runs;
        for (std::size_t i = 0; i < count; ++i) {
            const string bytes = random_bytes(random_, alphabet, kLength * (1 + random_() % 9));
            const bool in_order = random_() % 8 != 0;
            runs.push_back(in_order ? joined(model_sort(fixed_items(bytes, kLength, rules), rules)) : bytes);
        }
        return Runs(runs);
    }

    void expect_one_sequence(Runs &runs, const Rules &rules) {
        configure(rules);
        const Sequence expected = taken_by_model(
            runs, [&](std::size_t a, std::size_t b) { return model_order(rules, kLength, runs.head(a), runs.head(b)); },
            rules.stable);
        for (const std::int32_t verbose : {0, 1}) {
            VERBOSE = verbose;
            const FixedFormat format;
            EXPECT_EQ(taken_by<kx_literal_heads>(runs, format), expected);
            EXPECT_EQ(taken_by<kx_tree_heads>(runs, format), expected);
            EXPECT_EQ(taken_by<kx_either_heads>(runs, format), expected);
            EXPECT_EQ(taken_by<kx_either_heads>(runs, FixedFormat{.consistent = false}), expected);
        }
    }

    std::mt19937 random_{31};
};

const ModelKey kShort{.position = 2, .length = 2}, kLong{.position = 1, .length = 10},
    kNumber{.position = 3, .length = 5, .numeric = true}, kLast{.position = 11, .length = 1, .numeric = true};

ModelKey down(ModelKey key) {
    key.descending = true;
    return key;
}

TEST_F(HeadsFixture, ListAndTreeKeepTheOrderOfTheModel) {
    const std::vector<std::vector<ModelKey>> all_keys = {{},
                                                         {kShort},
                                                         {down(kShort)},
                                                         {kLong},
                                                         {kNumber},
                                                         {down(kNumber)},
                                                         {kNumber, kShort},
                                                         {kLast},
                                                         {down(kLong), kNumber},
                                                         {kShort, down(kLast)}};
    for (const std::vector<ModelKey> &keys : all_keys) {
        for (const bool stable : {false, true}) {
            for (const bool descending : {false, true}) {
                const Rules rules{.keys = keys, .descending = descending && keys.empty(), .stable = stable};
                for (const Alphabet &alphabet : kAlphabets) {
                    SCOPED_TRACE(alphabet.name);
                    Runs runs = random_runs(1 + random_() % 20, rules, alphabet);
                    expect_one_sequence(runs, rules);
                }
            }
        }
    }
}

TEST_F(HeadsFixture, AnyNumberOfRuns) {
    for (const std::size_t count : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 9U, 16U, 17U, 33U, 64U, 100U, 127U, 128U, 129U, 300U}) {
        for (const bool stable : {false, true}) {
            SCOPED_TRACE(std::to_string(count) + (stable ? " runs, stable" : " runs"));
            const Rules rules{.keys = {kShort}, .stable = stable};
            Runs runs = random_runs(count, rules, kAlphabets[1]);
            expect_one_sequence(runs, rules);
        }
    }
}

TEST_F(HeadsFixture, NoRunsAtAll) {
    configure({.keys = {kShort}});
    Runs runs({});
    EXPECT_EQ(taken_by<kx_literal_heads>(runs, FixedFormat{}), Sequence{});
    EXPECT_EQ(taken_by<kx_tree_heads>(runs, FixedFormat{}), Sequence{});
}

// Two runs of equal records: the one that was advanced stays in front, unless the merge is stable.
TEST_F(HeadsFixture, AnAdvancedHeadGoesInFrontOfItsEquals) {
    const string twice = "a-----------a-----------", other = "a-----------b-----------";
    for (const bool stable : {false, true}) {
        configure({.keys = {{.position = 0, .length = 1}}, .stable = stable});
        Runs equal({twice, twice, twice});
        EXPECT_EQ(taken_by<kx_tree_heads>(equal, FixedFormat{}), (Sequence{0, 0, 1, 1, 2, 2}));
        // Behind the "a", run 0 meets the "b" of run 1, advanced before it.
        Runs meeting({"a-----------a-----------b-----------", "a-----------b-----------", other});
        EXPECT_EQ(taken_by<kx_tree_heads>(meeting, FixedFormat{}),
                  (stable ? Sequence{0, 0, 1, 2, 0, 1, 2} : Sequence{0, 0, 1, 2, 2, 1, 0}));
    }
}

// Stone, scissors, paper: no order at all, so only the list itself gives the list's order.
int dominance(char a, char b) {
    ++comparisons;
    return a == b ? 0 : (b - a + 3) % 3 == 1 ? -1 : 1;
}

char mark(const void *slot) {
    const UnitDataInfo &run = run_in(slot);
    return run.buf[run.bufOffset];
}
int cyclic(const void *a, const void *b) { return dominance(mark(a), mark(b)); }
int cyclic_stable(const void *a, const void *b) {
    const int order = cyclic(a, b);
    return order != 0 ? order : run_in(a).index < run_in(b).index ? -1 : 1;
}

struct CyclicFormat : FixedFormat {
    [[nodiscard]] static kx_head_order order() { return {cyclic, cyclic_stable}; }
    [[nodiscard]] static bool order_is_consistent() { return false; }
};

TEST_F(HeadsFixture, WithoutAConsistentOrderTheListsProcedureDecides) {
    const Alphabet first{"in order", "ab"}, later{"in no order", "abc"};
    for (int round = 0; round < 500; ++round) {
        for (const bool stable : {false, true}) {
            configure({.keys = {kShort}, .stable = stable});
            std::vector<string> bytes(1 + random_() % 6);
            for (string &run : bytes) { // the first heads have an order, the later ones do not
                run = random_bytes(random_, first, kLength) + random_bytes(random_, later, kLength * (random_() % 6));
            }
            Runs runs(bytes);
            const auto order = [&runs](std::size_t a, std::size_t b) {
                return dominance((*runs.head(a).held)[runs.head(a).at], (*runs.head(b).held)[runs.head(b).at]);
            };
            const Sequence expected = taken_by_model(runs, order, stable);
            const int expected_comparisons = comparisons;
            EXPECT_EQ(taken_by<kx_literal_heads>(runs, CyclicFormat{}), expected);
            EXPECT_EQ(comparisons, expected_comparisons) << "a verbose run tells";
            EXPECT_EQ(taken_by<kx_either_heads>(runs, CyclicFormat{}), expected);
        }
    }
}

int counted(const void *a, const void *b) {
    ++comparisons;
    return kx_choose_run_order().plain(a, b);
}

struct CountingFormat : FixedFormat {
    [[nodiscard]] static kx_head_order order() { return {counted, counted}; }
};

TEST_F(HeadsFixture, HeadsThatDifferInTheirFirstKeyNeedNoComparator) {
    for (const ModelKey &key : {kLong, down(kLong), kNumber}) {
        configure({.keys = {key, kLast}});
        std::vector<string> bytes(3);
        for (std::size_t i = 0; i < 300; ++i) {
            const std::size_t value = 100 + (key.descending ? 299 - i : i);
            const string digits = std::to_string(value);
            bytes[random_() % 3] += key.numeric ? "abc00" + digits + "wxyz" : "#=======" + digits + ".";
        }
        Runs runs(bytes);
        EXPECT_EQ(taken_by<kx_tree_heads>(runs, CountingFormat{}).size(), 300U);
        EXPECT_EQ(comparisons, 0);
    }
}

/// A pool that has no byte to spare, whatever is asked of it.
void exhaust() {
    for (kx_i64 size = 1 << 16; size >= 8; size /= 2) {
        while (kx_malloc(memPool, size) != nullptr) {
        }
    }
}

template <class Heads> string refusal(const Runs &runs) {
    Heads heads;
    string message = messages_of([&] { EXPECT_EQ(heads.open(FixedFormat{}, runs.list()), 1); });
    heads.close();
    return message;
}

TEST_F(HeadsFixture, RefusedMemoryIsReported) {
    configure({.keys = {kShort}});
    use_pool(1 << 16, false);
    const Runs runs(std::vector<string>(200, string(kLength, 'x')));
    exhaust();
    EXPECT_EQ(refusal<kx_tree_heads>(runs), "☆ Failed to allocate [12800] bytes for block information management! \n");
    EXPECT_EQ(refusal<kx_literal_heads>(runs),
              "☆ Failed to allocate [1600] bytes for block information management! \n");
    speak_japanese();
    EXPECT_EQ(refusal<kx_literal_heads>(runs), "☆ブロック情報管理用[1600]メモリの割当は失敗しました！ \n");
}

/// What the list's copy of the runs asks of the system when the pool has nothing.
int requests_of_a_clone(const Runs &runs) {
    kx_list_destroy(kx_list_clone(runs.list()), nullptr); // makes room in the pool's books
    const Fault count({.call = 1000});
    kx_list_destroy(kx_list_clone(runs.list()), nullptr);
    return Fault::calls();
}

// Kept: a stable merge that finds no merge buffer for the first ordering fails without a message.
TEST_F(HeadsFixture, AStableListWithoutMergeBufferFailsSilently) {
    configure({.keys = {kShort}, .stable = true});
    use_pool(1 << 16);
    const Runs runs({string(kLength, 'x'), string(kLength, 'y')});
    memPool->autoExtend = 0;
    exhaust();
    memPool->autoExtend = 1;
    const Fault refuse_all_from_the_merge_buffer_on({.call = requests_of_a_clone(runs) + 1, .onwards = true});
    EXPECT_EQ(refusal<kx_literal_heads>(runs), "");
}

} // namespace
