// kx_pool_random_test.cpp: long random sequences of pool operations against a model.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <vector>

#include "support/pool_fixture.h"

namespace orkan {
namespace {

class PoolModel {
  public:
    PoolModel(kx_i64 bytes, kx_i64 autoExtend, unsigned seed) : pool_(bytes, autoExtend), random_(seed) {}

    void step() {
        refuse_for_a_while();
        const int what = number(0, 99);
        if (what < 14) {
            take(kx_malloc, false);
        } else if (what < 26) {
            take(kx_malloc_hwm, false);
        } else if (what < 46) {
            take(kx_qmalloc, true);
        } else if (what < 58) {
            resize(kx_realloc);
        } else if (what < 68) {
            resize(kx_realloc_both);
        } else if (what < 82) {
            give(number(0, 1) == 0 ? kx_free : kx_qfree, pick());
        } else if (what < 93) {
            give_newest_quick();
        } else {
            give_stale();
        }
        verify();
    }

    void give_everything() {
        kx_fault_hook = nullptr;
        while (!live_.empty()) {
            give(kx_free, pick());
        }
        EXPECT_EQ(pool_->num, 0);
        EXPECT_EQ(pool_->qnum, 0);
        EXPECT_EQ(free_sizes(pool_), Sizes{pool_->size - kHeader});
    }

  private:
    struct Block {
        kx_i64 bytes;
        unsigned char pattern;
    };
    using Live = std::map<char *, Block>;

    int number(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random_); }

    kx_i64 size() {
        switch (number(0, 9)) {
        case 0: return 0;
        case 1: return number(1, 9);
        case 2: return number(500, 3000);
        case 3: return free_sizes(pool_).empty() ? 1 : std::max<kx_i64>(0, free_sizes(pool_).back() - number(0, 50));
        case 4: return number(0, 20) == 0 ? 20000 : number(1, 100);
        default: return number(1, 300);
        }
    }

    void refuse_for_a_while() {
        if (number(0, 30) == 0) {
            least_refused = 0;
            accepted_requests = number(0, 3) == 0 ? 0 : LLONG_MAX;
            kx_fault_hook = [](kx_site, kx_i64) { return accepted_requests == 0; };
        }
    }

    void fill(char *p, kx_i64 bytes) {
        const Block block{bytes, static_cast<unsigned char>(number(0, 255))};
        ASSERT_TRUE(live_.emplace(p, block).second) << "handed out twice";
        std::memset(p, block.pattern, to_size(bytes));
    }

    static bool holds(const char *p, kx_i64 bytes, unsigned char pattern) {
        for (kx_i64 i = 0; i < bytes; ++i) {
            if (static_cast<unsigned char>(p[i]) != pattern) {
                return false;
            }
        }
        return true;
    }

    template <class Operation> void take(Operation operation, bool quick) {
        const kx_i64 bytes = size();
        auto *p = static_cast<char *>(operation(pool_, bytes));
        if (p != nullptr) {
            fill(p, bytes);
            if (quick) {
                quick_.push_back(p);
            }
        }
    }

    Live::iterator pick() {
        return live_.empty() ? live_.end() : std::next(live_.begin(), number(0, static_cast<int>(live_.size()) - 1));
    }

    template <class Operation> void resize(Operation operation) {
        const auto at = pick();
        if (at == live_.end()) {
            return;
        }
        char *const old = at->first;
        const Block block = at->second;
        const kx_i64 bytes = size();
        auto *p = static_cast<char *>(operation(pool_, old, bytes));
        if (p == nullptr) {
            return; // refused: the old block is checked with all others
        }
        EXPECT_TRUE(holds(p, std::min(bytes, block.bytes), block.pattern));
        live_.erase(at);
        if (p != old) {
            stale_.push_back(old);
        }
        fill(p, bytes);
    }

    template <class Operation> void give(Operation operation, Live::iterator at) {
        if (at != live_.end()) {
            operation(pool_, at->first);
            stale_.push_back(at->first);
            live_.erase(at);
        }
    }

    void give_newest_quick() {
        if (!quick_.empty()) {
            give(kx_qfree, live_.find(quick_.back()));
            quick_.pop_back();
        }
    }

    /// A pointer that was released before, unless it is somebody's block again.
    void give_stale() {
        if (!stale_.empty()) {
            char *p = stale_[to_size(number(0, static_cast<int>(stale_.size()) - 1))];
            if (live_.find(p) == live_.end()) {
                number(0, 1) == 0 ? kx_free(pool_, p) : kx_qfree(pool_, p);
                EXPECT_EQ(kx_realloc(pool_, p, 10), nullptr);
            }
        }
    }

    void verify() const {
        ASSERT_STREQ(kx_pool_check(pool_), nullptr);
        for (const auto &[p, block] : live_) {
            ASSERT_TRUE(holds(p, block.bytes, block.pattern)) << "somebody wrote into a block";
        }
    }

    OwnPool pool_;
    std::mt19937 random_;
    Live live_;
    std::vector<char *> quick_, stale_;
};

class PoolRandom : public ::testing::TestWithParam<int> {};

TEST_P(PoolRandom, NoSequenceOfCallsHarmsALiveBlock) {
    const int seed = GetParam();
    const kx_i64 bytes = 700 + (seed * 977) % 9000; // of every remainder by 8
    PoolModel model(bytes, seed % 3 == 0 ? 0 : 1, static_cast<unsigned>(seed));
    for (int i = 0; i < 1500 && !HasFatalFailure(); ++i) {
        model.step();
        ASSERT_FALSE(HasFailure()) << "seed " << seed << ", step " << i;
    }
    model.give_everything();
}

INSTANTIATE_TEST_SUITE_P(Seeds, PoolRandom, ::testing::Range(0, 60));

} // namespace
} // namespace orkan
