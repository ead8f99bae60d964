// kx_heads.h: which run of a merge has the smallest current record?
//
// The order is that of a list from which the first run is taken, advanced, and put back in front of the first run that
// is not smaller: among equal heads the one advanced last comes first, with a stable merge the one with the smaller
// index. Two structures keep it:
//
//   kx_literal_heads   that very list; any comparator will do, even one that is no consistent order
//   kx_tree_heads      a tree of losers (Knuth, The Art of Computer Programming 3, 5.4.1) keyed by (record, recency),
//                      log N comparisons a record, most of them on cached codes
//
//   kx_either_heads    one or the other, as the format's order_is_consistent() says
//
// The code of a head is (depth, prefix): as far as its first key is known to agree with that of the record taken last,
// and the next 8 bytes. Of two heads the deeper one is nearer to that record and comes first; equal codes are settled
// behind the 8 bytes, and the loser gets its code relative to the winner (offset-value coding: Conner, Offset value
// coding, IBM Technical Disclosure Bulletin 20, 1977). So long shared prefixes are read about once a record. Keys whose
// prefix tells all that 8 bytes can, such as numbers, stay at depth 0.
//
// All take a Format with `order()` (the comparators over slots of runs). The tree also asks for `rule()`, by which the
// first key gets its prefixes, `prefix(run)`, and `text(run)`, that key's bytes.
#pragma once

#include <utility>

#include "kx_list/kx_list.h"
#include "kx_memory/kx_memory.h"
#include "kx_sort/kx_prefix.h"
#include "kx_utils/kx_messages.h"

namespace orkan {

class kx_literal_heads {
  public:
    /// Takes the runs of the list. 0, or 1 when memory is refused.
    template <class Format> int open(const Format &format, const kx_list *runs) {
        order_ = format.order();
        stable_ = argsInfo.bStabilize == 1;
        heads_ = kx_list_clone(runs);
        if (heads_ == nullptr) {
            return kx_fail(msg::kBlockInformation, kx_list_len(runs) * to_i64(sizeof(void *)));
        }
        if (!stable_) {
            kx_list_qsort(heads_, order_.plain);
            return 0;
        }
        return kx_list_msort(heads_, order_.plain); // Kept: this failure has no message.
    }
    void close() { kx_list_destroy(std::exchange(heads_, nullptr), nullptr); }

    [[nodiscard]] kx_i64 count() const { return kx_list_len(heads_); }
    [[nodiscard]] UnitDataInfo &first() const { return *static_cast<UnitDataInfo *>(kx_list_get(heads_, 0)); }

    /// The first run's current record has changed.
    template <class Format> void reorder_first(const Format & /*format*/) { settle_first(); }
    void remove_first() {
        kx_list_delete(heads_, 0, 1);
        settle_first(); // by design a new first run is looked at like a changed one
    }

  private:
    void settle_first() { kx_list_isort(heads_, stable_ ? order_.stable : order_.plain); }

    kx_list *heads_ = nullptr;
    kx_head_order order_{};
    bool stable_ = false;
};

class kx_tree_heads {
  public:
    template <class Format> int open(const Format &format, const kx_list *runs) {
        size_ = count_ = kx_list_len(runs);
        stable_ = argsInfo.bStabilize == 1;
        compare_ = stable_ ? format.order().stable : format.order().plain;
        rule_ = format.rule();
        coded_ = VERBOSE == 0; // a verbose run counts comparisons: those of the tree
        deepens_ = coded_ && rule_.deepens();
        const kx_i64 bytes = size_ * to_i64(sizeof(Head) + sizeof(Contestant));
        memory_ = kx_malloc(memPool, bytes);
        if (memory_ == nullptr) {
            return kx_fail(msg::kBlockInformation, bytes);
        }
        heads_ = static_cast<Head *>(memory_);
        losers_ = reinterpret_cast<Contestant *>(heads_ + size_);
        for (kx_i64 i = 0; i < size_; ++i) {
            heads_[i].run = static_cast<UnitDataInfo *>(kx_list_get(runs, i));
            look_at(format, heads_[i], -i); // equal heads begin in list order
        }
        build(format);
        return 0;
    }
    void close() { kx_free(memPool, std::exchange(memory_, nullptr)); }

    [[nodiscard]] kx_i64 count() const { return count_; }
    [[nodiscard]] UnitDataInfo &first() const { return *heads_[losers_[0].head].run; }

    template <class Format> void reorder_first(const Format &format) {
        Contestant changed = losers_[0];
        Head &head = heads_[changed.head];
        const Bytes taken = head.text;
        const bool held = position_in_buffer(*head.run) > head.position; // else reading on has moved the bytes
        look_at(format, head, ++clock_);
        if (!deepens_) {
            replay(code_of(format, changed.head));
        } else if (held && encode(changed, taken)) {
            replay(changed);
        } else {
            build(format);
        }
    }
    void remove_first() {
        Head &head = heads_[losers_[0].head];
        head = {};
        --count_;
        replay({kExhausted, 0, losers_[0].head});
    }

  private:
    struct Head {
        kx_i64 recency;    ///< when it was advanced; a later one comes first among equals
        UnitDataInfo *run; ///< null: exhausted
        Bytes text;
        kx_i64 position; ///< of the record in the run's buffer
    };
    /// A head in the tree, with its code: most comparisons touch nothing else.
    struct Contestant {
        kx_i64 depth;
        kx_prefix prefix;
        kx_i64 head;
    };
    // As depths:
    static constexpr kx_i64 kSameText = std::numeric_limits<kx_i64>::max(), kExhausted = -1;

    /// Grows from record to record as long as the buffer stays.
    static kx_i64 position_in_buffer(const UnitDataInfo &run) {
        return run.RecordList != nullptr ? run.currRec : run.bufOffset;
    }

    template <class Format> void look_at(const Format &format, Head &head, kx_i64 recency) const {
        UnitDataInfo &run = *head.run;
        head = {recency, &run, deepens_ ? format.text(run) : Bytes{}, position_in_buffer(run)};
    }

    /// The code relative to a record that is smaller than any.
    template <class Format> [[nodiscard]] Contestant code_of(const Format &format, kx_i64 i) const {
        const Head &head = heads_[i];
        if (head.run == nullptr) {
            return {kExhausted, 0, i};
        }
        return {0, deepens_ ? rule_.at(head.text, 0) : coded_ ? format.prefix(*head.run) : 0, i};
    }

    /// Where two texts differ, and the 8 bytes of each from there on.
    struct Difference {
        kx_i64 depth; ///< kSameText: nowhere
        kx_prefix a, b;
    };
    [[nodiscard]] Difference difference(Bytes a, Bytes b, kx_i64 depth) const {
        const kx_i64 both = std::min(a.len, b.len) - kPrefixSize;
        while (depth <= both && load_unaligned<kx_prefix>(a.ptr + depth) == load_unaligned<kx_prefix>(b.ptr + depth)) {
            depth += kPrefixSize;
        }
        for (const kx_i64 most = std::max(a.len, b.len); depth < most; depth += kPrefixSize) {
            const kx_prefix x = rule_.at(a, depth), y = rule_.at(b, depth);
            if (x != y) {
                return {depth, x, y};
            }
        }
        return {kSameText, 0, 0};
    }

    /// Gives a head its code relative to the record taken before. False when it is smaller: that run is not in order.
    bool encode(Contestant &x, Bytes taken) const {
        const Difference found = difference(taken, heads_[x.head].text, 0);
        x.depth = found.depth;
        x.prefix = found.b;
        return found.a <= found.b;
    }

    /// Equal codes: x precedes y, and `loser` gets its code relative to the other.
    bool settle(const Contestant &x, const Contestant &y, Contestant &loser) const {
        const Head &a = heads_[x.head], &b = heads_[y.head];
        if (a.run == nullptr) {
            loser = y;
            return true; // one is as exhausted as the other
        }
        Difference found{kSameText, 0, 0};
        if (deepens_ && x.depth != kSameText) {
            found = difference(a.text, b.text, x.depth + kPrefixSize);
        }
        const bool result = found.depth != kSameText ? found.a < found.b : precedes_by_comparator(a, b);
        loser = result ? y : x;
        if (deepens_) {
            loser.depth = found.depth;
            loser.prefix = result ? found.b : found.a;
        }
        return result;
    }

    [[nodiscard]] bool precedes_by_comparator(const Head &a, const Head &b) const {
        const int order = coded_ && rule_.decisive ? 0 : compare_(&a.run, &b.run);
        if (order != 0) {
            return order < 0;
        }
        return stable_ ? a.run->index < b.run->index : a.recency > b.recency;
    }

    /// Enters the runs one by one: a place in the tree is free until its second visitor comes.
    template <class Format> void build(const Format &format) {
        constexpr kx_i64 kFree = -1;
        for (kx_i64 node = 0; node < size_; ++node) {
            losers_[node].head = kFree;
        }
        for (kx_i64 i = 0; i < size_; ++i) {
            Contestant winner = code_of(format, i);
            kx_i64 node = (i + size_) / 2;
            for (; node > 0 && losers_[node].head != kFree; node /= 2) {
                winner = play(losers_[node], winner);
            }
            losers_[node] = winner;
        }
    }

    /// The first run has changed: it meets the losers on its way to the root.
    void replay(Contestant winner) {
        for (kx_i64 node = (winner.head + size_) / 2; node > 0; node /= 2) {
            winner = play(losers_[node], winner);
        }
        losers_[0] = winner;
    }

    /// The winner; the loser stays. Whose code is less is anybody's guess: told without a branch, which would be taken
    /// wrongly half the time.
    Contestant play(Contestant &there, Contestant comes) const {
        const bool same_depth = there.depth == comes.depth;
        if (same_depth & (there.prefix == comes.prefix)) {
            Contestant loser = there;
            const Contestant winner = settle(there, comes, loser) ? there : comes;
            there = loser;
            return winner;
        }
        const bool stays_first = (there.depth > comes.depth) | (same_depth & (there.prefix < comes.prefix));
        const kx_i64 change = -static_cast<kx_i64>(stays_first);
        const kx_i64 depth = (there.depth ^ comes.depth) & change;
        const kx_prefix prefix = (there.prefix ^ comes.prefix) & static_cast<kx_prefix>(change);
        const kx_i64 head = (there.head ^ comes.head) & change;
        there = {there.depth ^ depth, there.prefix ^ prefix, there.head ^ head};
        // The mask has exchanged the two: what comes has become the winner.
        return {comes.depth ^ depth, comes.prefix ^ prefix, comes.head ^ head};
    }

    void *memory_ = nullptr;
    Head *heads_ = nullptr;
    Contestant *losers_ = nullptr; ///< losers_[0] is the winner of all
    kx_i64 size_ = 0, count_ = 0, clock_ = 0;
    kx_compare compare_ = nullptr;
    kx_prefix_rule rule_{};
    bool stable_ = false, coded_ = false, deepens_ = false;
};

/// The tree, or the list where the format says that its order is not consistent.
class kx_either_heads {
  public:
    template <class Format> int open(const Format &format, const kx_list *runs) {
        literal_ = !format.order_is_consistent();
        return literal_ ? list_.open(format, runs) : tree_.open(format, runs);
    }
    void close() { literal_ ? list_.close() : tree_.close(); }

    [[nodiscard]] kx_i64 count() const { return literal_ ? list_.count() : tree_.count(); }
    [[nodiscard]] UnitDataInfo &first() const { return literal_ ? list_.first() : tree_.first(); }

    template <class Format> void reorder_first(const Format &format) {
        literal_ ? list_.reorder_first(format) : tree_.reorder_first(format);
    }
    void remove_first() { literal_ ? list_.remove_first() : tree_.remove_first(); }

  private:
    kx_literal_heads list_;
    kx_tree_heads tree_;
    bool literal_ = false;
};

} // namespace orkan
