#include "kx_list/kx_list.h"

#include <algorithm>
#include <cstring>

#include "kx_assert/kx_assert.h"
#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_system_memory.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

constexpr kx_i64 kSlotBytes = sizeof(void *);

kx_i64 bytes_of(kx_i64 slots) { return multiply_saturating(slots, kSlotBytes); }

/// Reallocates to n more slots and keeps the items' order. 0, or 1 when memory is refused.
int grow(kx_list *list, kx_i64 n, bool from_pool) {
    const kx_i64 bytes = bytes_of(add_saturating(list->tab_size, n));
    void *tab = from_pool ? kx_realloc(memPool, list->tab, bytes) : kx_system_realloc(list->tab, bytes);
    if (tab == nullptr) {
        return 1;
    }
    kx_ring_adopt(list, static_cast<void **>(tab), n);
    return 0;
}

void store_behind_last(kx_list *list, void *item) {
    ++list->len;
    kx_list_set(list, list->len - 1, item);
    KX_ASSERT(kx_ring_check(list));
}

} // namespace

kx_list *__kx_list_create() {
    auto *list = static_cast<kx_list *>(kx_malloc(memPool, sizeof(kx_list)));
    if (list != nullptr) {
        *list = kx_list{};
    }
    return list;
}

kx_list *kx_list_clone(const kx_list *list) {
    if (list == nullptr) {
        return nullptr;
    }
    KX_ASSERT(kx_ring_check(list));
    kx_list_owner copy(__kx_list_create());
    if (copy.get() == nullptr) {
        return nullptr;
    }
    if (list->tab_size > 0) {
        auto **tab = static_cast<void **>(kx_malloc(memPool, bytes_of(list->tab_size)));
        if (tab == nullptr) {
            return nullptr;
        }
        std::memcpy(tab, list->tab, to_size(bytes_of(list->tab_size)));
        *copy.get() = {tab, list->tab_size, list->start, list->len};
    }
    return copy.release();
}

int kx_list_init(kx_list *list, kx_i64 n) {
    void *tab = n < 0 ? nullptr : kx_realloc(memPool, list->tab, bytes_of(n));
    if (tab == nullptr) {
        return 1;
    }
    *list = {static_cast<void **>(tab), n, 0, n};
    std::fill_n(list->tab, n, nullptr);
    KX_ASSERT(kx_ring_check(list));
    return 0;
}

int kx_list_enlarge(kx_list *list, kx_i64 n) { return n < 0 ? 1 : grow(list, n, true); }

int kx_list_append(kx_list *list, void *item) {
    KX_ASSERT(kx_ring_check(list));
    if (kx_ring_at_end(list) && grow(list, kListGrowth, true) != 0) {
        return 1;
    }
    store_behind_last(list, item);
    return 0;
}

void kx_list_append_unique(kx_list *list, void *item, kx_list_match match) {
    if (kx_list_search_pos(list, item, match) < 0 && __kx_make_bigger(list, 1, 1) == 0) {
        store_behind_last(list, item);
    }
}

int kx_list_insert(kx_list *list, kx_i64 i, void *item) {
    KX_ASSERT(i >= 0 && i <= list->len);
    if (__kx_make_bigger(list, kListGrowth, 1) != 0) {
        return 1;
    }
    ++list->len;
    for (kx_i64 to = list->len - 1; to > i; --to) {
        kx_list_set(list, to, kx_list_get(list, to - 1));
    }
    kx_list_set(list, i, item);
    KX_ASSERT(kx_ring_check(list));
    return 0;
}

int __kx_make_bigger(kx_list *list, kx_i64 n, int usePool) {
    KX_ASSERT(kx_ring_check(list) && n >= 0);
    const bool has_room = list->tab_size >= add_saturating(list->start + list->len, n);
    return has_room ? 0 : grow(list, n, usePool != 0);
}

kx_list *__kx_list_extract_matching(kx_list *list, const void *key, kx_list_match match) {
    kx_list_owner moved(__kx_list_create());
    if (moved.get() == nullptr) {
        return nullptr;
    }
    for (kx_i64 i = 0; i < list->len;) {
        void *item = kx_list_get(list, i);
        if (match(item, key, kx_ring_slot(list, i)) == 0 || kx_list_append(moved.get(), item) != 0) {
            ++i;
        } else {
            __kx_delete_items_from_list(list, i, 1);
        }
    }
    return kx_list_len(moved.get()) > 0 ? moved.release() : nullptr;
}

kx_list *__kx_list_search_all(const kx_list *list, const void *key, kx_list_match match) {
    kx_list_owner found(__kx_list_create());
    for (kx_i64 i = 0; found.get() != nullptr && i < list->len; ++i) {
        void *item = kx_list_get(list, i);
        if (match(item, key, kx_ring_slot(list, i)) != 0 && kx_list_append(found.get(), item) != 0) {
            return nullptr;
        }
    }
    return kx_list_len(found.get()) > 0 ? found.release() : nullptr;
}

void kx_list_destroy(kx_list *list, kx_list_item_destructor_t destructor) {
    if (list == nullptr) {
        return;
    }
    if (destructor != nullptr) {
        // Kept: a null item ends the draining, the items behind it are not destroyed.
        while (void *item = kx_list_extract_first(list)) {
            destructor(item);
        }
    }
    kx_free(memPool, list->tab);
    kx_free(memPool, list);
}

} // namespace orkan
