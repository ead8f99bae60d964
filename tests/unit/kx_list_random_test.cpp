// kx_list_random_test.cpp: long random sequences of list operations against std::deque.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <random>

#include "support/list_fixture.h"

namespace orkan {
namespace {

class ListRandom : public ListTest, public ::testing::WithParamInterface<unsigned> {
  protected:
    int number(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random_); }

    /// Moves the range to any slot, so that it wraps as often as not.
    void turn() {
        if (list_->tab_size > 0) {
            const Numbers all = numbers(list_);
            list_->start = number(0, static_cast<int>(list_->tab_size) - 1);
            for (kx_i64 i = 0; i < list_->len; ++i) {
                kx_list_set(list_, i, item(all[to_size(i)]));
            }
        }
    }

    void grow_step() {
        const int what = number(0, 5);
        const int next = number(0, 999);
        if (what < 2) {
            ASSERT_EQ(kx_list_append(list_, item(next)), 0);
            model_.push_back(next);
        } else if (what == 2) {
            const int at = number(0, static_cast<int>(model_.size()));
            ASSERT_EQ(kx_list_insert(list_, at, item(next)), 0);
            model_.insert(model_.begin() + at, next);
        } else if (what == 3) {
            kx_list_append_unique(list_, item(next), has_that_key);
            if (std::find(model_.begin(), model_.end(), next) == model_.end()) {
                model_.push_back(next);
            }
        } else if (what == 4) {
            ASSERT_EQ(kx_list_enlarge(list_, number(0, 3)), 0);
        } else {
            ASSERT_EQ(__kx_make_bigger(list_, number(0, 40), 1), 0);
        }
    }
    static int has_that_key(const void *p, const void *other, kx_i64 /*slot*/) { return key_of(p) == key_of(other); }

    void shrink_step() {
        const int n = static_cast<int>(model_.size());
        const int key = number(0, 999);
        switch (number(0, 5)) {
        case 0:
            EXPECT_EQ(kx_list_extract_first(list_), n == 0 ? nullptr : item(model_.front()));
            if (n > 0) {
                model_.pop_front();
            }
            break;
        case 1:
        case 2: {
            const int at = number(0, n);
            const int count = number(0, std::min(4, n - at));
            kx_list_delete(list_, at, count);
            model_.erase(model_.begin() + at, model_.begin() + at + count);
            break;
        }
        case 3: EXPECT_EQ(kx_list_delete_matching(list_, &key, has_key), std::erase(model_, key)); break;
        case 4: EXPECT_EQ(kx_list_delete_equal(list_, item(key)), std::erase(model_, key)); break;
        default: {
            kx_list *moved = number(0, 9) == 0 ? __kx_list_extract_matching(list_, nullptr, is_odd) : nullptr;
            if (moved != nullptr) {
                Numbers odd;
                std::copy_if(model_.begin(), model_.end(), std::back_inserter(odd), [](int i) { return i % 2 == 1; });
                EXPECT_EQ(numbers(moved), odd);
                std::erase_if(model_, [](int i) { return i % 2 == 1; });
                kx_list_destroy(moved, nullptr);
            }
        }
        }
    }

    void other_step() {
        switch (number(0, 5)) {
        case 0: turn(); break;
        case 1: {
            kx_list *copy = kx_list_clone(list_);
            kx_list_destroy(list_, nullptr);
            list_ = copy;
            break;
        }
        case 2:
            if (!model_.empty()) {
                const int at = number(0, static_cast<int>(model_.size()) - 1);
                const int next = number(0, 999);
                kx_list_set(list_, at, item(next));
                model_[to_size(at)] = next;
            }
            break;
        case 3:
            kx_list_qsort(list_, slots_by_key);
            std::sort(model_.begin(), model_.end());
            break;
        case 4:
            EXPECT_EQ(kx_list_msort(list_, slots_by_key), 0);
            std::sort(model_.begin(), model_.end());
            break;
        default: misplace_one();
        }
    }

    /// Only distinct items have one right order.
    void misplace_one() {
        std::sort(model_.begin(), model_.end());
        if (model_.empty() || std::adjacent_find(model_.begin(), model_.end()) != model_.end()) {
            std::sort(model_.begin(), model_.end());
            kx_list_qsort(list_, slots_by_key);
            return;
        }
        kx_list_qsort(list_, slots_by_key);
        const int from = number(0, static_cast<int>(model_.size()) - 1);
        const int to = number(0, static_cast<int>(model_.size()) - 1);
        Numbers all = numbers(list_);
        const int moved = all[to_size(from)];
        all.erase(all.begin() + from);
        all.insert(all.begin() + to, moved);
        for (std::size_t i = 0; i < all.size(); ++i) {
            kx_list_set(list_, to_i64(i), item(all[i]));
        }
        number(0, 1) == 0 ? kx_list_isort2(list_, to, by_key_strict) : kx_list_isort2_old(list_, to, by_key_strict);
    }

    void compare() {
        ASSERT_EQ(numbers(list_), Numbers(model_.begin(), model_.end()));
        const int key = number(0, 999);
        const auto first = std::find(model_.begin(), model_.end(), key);
        const kx_i64 expected = first == model_.end() ? -1 : first - model_.begin();
        EXPECT_EQ(kx_list_search_pos(list_, &key, has_key), expected);
    }

    std::mt19937 random_{GetParam()};
    kx_list *list_ = __kx_list_create();
    std::deque<int> model_;
};

TEST_P(ListRandom, EveryOperationAgreesWithTheModel) {
    for (int i = 0; i < 800 && !HasFailure(); ++i) {
        const bool growing = number(0, 99) < (model_.size() < 60 ? 60 : 20);
        number(0, 9) == 0 ? other_step() : growing ? grow_step() : shrink_step();
        compare();
        ASSERT_STREQ(kx_pool_check(memPool), nullptr);
    }
    kx_list_destroy(list_, nullptr);
    EXPECT_EQ(memPool->num, 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ListRandom, ::testing::Range(0U, 25U));

} // namespace
} // namespace orkan
