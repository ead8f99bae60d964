// list_fixture.h: what the tests of the pointer list share: items with keys, lists whose range begins anywhere, and
// refused memory.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "kx_list/kx_list.h"
#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_fault.h"
#include "orkan/kx_run_state.h"

namespace orkan {

/// Items are elements of an array, so that an item has a number and a key to sort by.
struct Element {
    int key;
};
inline Element elements[20000];

inline void *item(kx_i64 number) { return &elements[number]; }
inline int key_of(const void *p) { return static_cast<const Element *>(p)->key; }
inline int sign(int n) { return n < 0 ? -1 : n > 0 ? 1 : 0; }

/// Comparators over items, and over pointers to slots. By key; the strict ones never tie.
inline int by_key(const void *a, const void *b) { return sign(key_of(a) - key_of(b)); }
inline int by_key_strict(const void *a, const void *b) {
    const int order = by_key(a, b);
    return order != 0 ? order : a > b ? 1 : -1;
}
inline int slots_by_key(const void *a, const void *b) {
    return by_key(*static_cast<void *const *>(a), *static_cast<void *const *>(b));
}
inline int key_against_item(const void *key, const void *p, kx_i64 /*slot*/) {
    return sign(*static_cast<const int *>(key) - key_of(p));
}
inline int has_key(const void *p, const void *key, kx_i64 /*slot*/) {
    return key_of(p) == *static_cast<const int *>(key);
}
inline int is_odd(const void *p, const void * /*key*/, kx_i64 /*slot*/) { return key_of(p) % 2; }

inline bool refuse_all; // every request to the system
inline bool refuse_large(kx_site site, kx_i64 bytes) {
    return site == kx_site::allocate && (refuse_all || bytes > 8192);
}

class ListTest : public ::testing::Test {
  public:
    ~ListTest() override {
        kx_fault_hook = nullptr;
        refuse_all = false;
        EXPECT_STREQ(kx_pool_check(memPool), nullptr);
        kx_mem_pool_free(memPool);
        memPool = nullptr;
    }
    ListTest(const ListTest &) = delete;
    ListTest &operator=(const ListTest &) = delete;

  protected:
    ListTest() {
        memPool = kx_mem_pool_create(8 << 20, 0);
        for (int i = 0; i < 20000; ++i) {
            elements[i].key = i;
        }
    }

    static void refuse_system() {
        refuse_all = true;
        kx_fault_hook = refuse_large;
    }
    static void refuse_pool() {
        while (kx_list_len(memPool->listFree) > 0) {
            kx_malloc(memPool, static_cast<kx_mmu *>(kx_list_get(memPool->listFree, 0))->size);
        }
    }

    /// A list of `size` slots whose range begins at slot `first`, with the items of these numbers.
    static kx_list *ring(kx_i64 size, kx_i64 first, const std::vector<int> &numbers) {
        kx_list *list = __kx_list_create();
        EXPECT_EQ(kx_list_init(list, size), 0);
        list->start = first;
        list->len = static_cast<kx_i64>(numbers.size());
        for (kx_i64 i = 0; i < list->len; ++i) {
            kx_list_set(list, i, item(numbers[to_size(i)]));
        }
        EXPECT_TRUE(kx_ring_check(list));
        return list;
    }
    static kx_list *list_of(const std::vector<int> &numbers) {
        return ring(static_cast<kx_i64>(numbers.size()), 0, numbers);
    }
    static void set_keys(const std::vector<int> &keys) {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            elements[i].key = keys[i];
        }
    }
    static std::vector<int> numbers(const kx_list *list) {
        EXPECT_TRUE(kx_ring_check(list));
        std::vector<int> all;
        for (kx_i64 i = 0; i < kx_list_len(list); ++i) {
            const auto *element = static_cast<const Element *>(kx_list_get(list, i));
            all.push_back(element == nullptr ? -1 : static_cast<int>(element - elements));
        }
        return all;
    }
};

using Numbers = std::vector<int>;

inline Numbers up_to(int n) {
    Numbers all;
    for (int i = 0; i < n; ++i) {
        all.push_back(i);
    }
    return all;
}

inline Numbers keys_of(const Numbers &numbers) {
    Numbers keys;
    for (int i : numbers) {
        keys.push_back(elements[i].key);
    }
    return keys;
}

} // namespace orkan
