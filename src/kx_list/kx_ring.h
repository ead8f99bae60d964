// kx_ring.h: the one container, a growable ring of untyped pointers, as far as it needs no memory pool.
//
//   tab      | b | c |   |   |   | a |      tab_size 6, start 5, len 3: a, b, c
//              0   1   2   3   4   5        item i lives in slot (start + i) mod tab_size
//
// R1  0 <= len <= tab_size
// R2  0 <= start < tab_size once there are slots; without slots start and len are 0
// R3  a list owns its slot array, never the items
//
// The memory pool keeps its free blocks in such a list, so nothing here allocates from the pool; what does is in
// kx_list.h. Indices are not checked against len: a wrong one reads or writes some slot of the ring.
#pragma once

#include "kx_types/kx_bytes.h"

namespace orkan {

struct kx_list {
    void **tab;      ///< slot array
    kx_i64 tab_size; ///< slots
    kx_i64 start;    ///< slot of item 0
    kx_i64 len;      ///< live items
};
using __kx_list_t = kx_list;

static_assert(sizeof(kx_list) == 32);

/// The fixed growth step, in slots: small and predictable reallocations inside the pool.
inline constexpr kx_i64 kListGrowth = 1024;

/// Orders two items, or two pointers to slots where an operation says so: negative, zero, positive.
using kx_list_compare = int (*)(const void *a, const void *b);
/// Non-zero when the item, living in that slot, is the one looked for.
using kx_list_match = int (*)(const void *item, const void *key, kx_i64 slot);
/// Orders the key against the item that lives in that slot: negative, zero, positive.
using kx_list_compare_key = int (*)(const void *key, const void *item, kx_i64 slot);
using kx_list_item_callback = void (*)(void *item);
using kx_list_item_destructor_t = void (*)(void *item);

/// The slot behind the end of the array brought back into it; -1 when there are no slots.
kx_i64 kx_ring_wrap(const kx_list *list, kx_i64 slot);

/// The slot of item i. One comparison for a range that does not wrap, the remainder for one that does.
inline kx_i64 kx_ring_slot(const kx_list *list, kx_i64 i) {
    const kx_i64 slot = list->start + i;
    return slot >= 0 && slot < list->tab_size ? slot : kx_ring_wrap(list, slot);
}

/// Item i; null when the list has no slots.
inline void *kx_list_get(const kx_list *list, kx_i64 i) {
    const kx_i64 slot = kx_ring_slot(list, i);
    return slot < 0 ? nullptr : list->tab[slot];
}

/// Replaces item i; nothing when the list has no slots.
inline void kx_list_set(kx_list *list, kx_i64 i, void *item) {
    const kx_i64 slot = kx_ring_slot(list, i);
    if (slot >= 0) {
        list->tab[slot] = item;
    }
}

/// Live items; a null list has none.
inline kx_i64 kx_list_len(const kx_list *list) { return list == nullptr ? 0 : list->len; }

/// The slot (not the index) of the last item, with a signed remainder: -1 for an empty list that starts at slot 0.
kx_i64 kx_list_last_pos(const kx_list *list);

/// -1 when the list is empty, else 1. Nobody else could fill the list, so it never waits.
int kx_list_wait_until_nonempty(const kx_list *list);

/// A hook that does nothing; the pool calls it after each change of its free list.
void kx_list_check(const kx_list *list, kx_list_compare cmp);

/// True when R1 and R2 hold.
bool kx_ring_check(const kx_list *list);

/// Takes item 0 out; null when the list is empty. The last item leaves `start` where it is.
void *kx_list_extract_first(kx_list *list);

/// Calls fn(item) for each item in order.
void kx_list_callback(const kx_list *list, kx_list_item_callback fn);

/// As kx_list_append (kx_list.h), but grows with the system allocator. 0, or 1 when memory was refused (list as
/// before).
int kx_list_append_memPool(kx_list *list, void *item);

/// True when the live range reaches the end of the slot array, so that an append has to grow it, free slots in front
/// of `start` or not.
inline bool kx_ring_at_end(const kx_list *list) { return list->len >= list->tab_size - list->start; }

/// Takes over a slot array that was reallocated to `added` more slots, and straightens a range that wrapped.
void kx_ring_adopt(kx_list *list, void **tab, kx_i64 added);

/// Rotates the slots so that the live range begins at slot 0.
void kx_ring_unwrap(kx_list *list);

/// Removes items i .. i + n - 1. From the end only `len` changes, from the front only `start` and `len`; otherwise
/// the items behind move down. A range that does not lie in the list: nothing.
void kx_list_delete(kx_list *list, kx_i64 i, kx_i64 n);
void __kx_delete_items_from_list(kx_list *list, kx_i64 i, kx_i64 n);

/// Removes every item with match(item, key, slot) != 0, keeping the order of the rest; how many there were.
kx_i64 kx_list_delete_matching(kx_list *list, const void *key, kx_list_match match);

/// Removes every item that is this very pointer; how many there were.
kx_i64 kx_list_delete_equal(kx_list *list, const void *ptr);

/// The first item with match(item, key, slot) != 0, or null; its index, or -1.
void *kx_list_search(const kx_list *list, const void *key, kx_list_match match);
kx_i64 kx_list_search_pos(const kx_list *list, const void *key, kx_list_match match);

/// 0 when the pointer is not in the list. Kept: when it is, the operation does not return.
int kx_list_find_equal(const kx_list *list, const void *ptr);

/// Binary search in a list that ascends under cmp(key, item, slot): an index where it is 0, or -1.
kx_i64 kx_list_search_pos_dichotomize(const kx_list *list, const void *key, kx_list_compare_key cmp);

/// Where the item at pos must go so that the list ascends again; all others are in order. -1: nowhere. Otherwise the
/// index, counted before the item is taken out, of the item that it goes in front of. When only one place is in
/// question the two items are swapped at once (-1). cmp receives items and must never return 0.
kx_i64 kx_list_search_insert_pos_dichotomize(kx_list *list, kx_i64 pos, kx_list_compare cmp);

/// Lets item 0 sink to its place in an otherwise sorted list: swaps it with its successor while cmp, which receives
/// pointers to copies of the two items, returns exactly 1. So an item that ties with the next stays in front.
void kx_list_isort(kx_list *list, kx_list_compare cmp);

/// Moves the item at pos to its place in an otherwise sorted list, by binary search and one block move; cmp receives
/// items and must never return 0.
void kx_list_isort2(kx_list *list, kx_i64 pos, kx_list_compare cmp);

/// The earlier, linear kx_list_isort2: adjacent swaps forwards, then backwards, while cmp returns exactly 1.
void kx_list_isort2_old(kx_list *list, kx_i64 pos, kx_list_compare cmp);

} // namespace orkan
