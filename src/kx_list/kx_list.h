// kx_list.h: the pointer list in the memory pool: creation, growth, insertion, sorts. The list itself and every
// operation that needs no pool are in kx_ring.h.
//
// List record and slot array come from the run's pool, memPool; so does every merge buffer. An operation that is
// refused memory leaves the list as it was.
#pragma once

#include "kx_list/kx_ring.h"

namespace orkan {

/// A new list, all fields zero; null when memory is refused.
kx_list *__kx_list_create();

/// A list with slots, start and items of its own copied from `list`; the items are shared. Null gives null, and so
/// does refused memory.
kx_list *kx_list_clone(const kx_list *list);

/// Makes it a list of exactly n null items. 0, or 1 when memory is refused or n is negative (list as before).
int kx_list_init(kx_list *list, kx_i64 n);

/// Adds n slots, not cleared; `len` stays. 0, or 1 when memory is refused or n is negative (list as before).
int kx_list_enlarge(kx_list *list, kx_i64 n);

/// Appends an item; a range that reaches the end of the slot array first grows it by exactly kListGrowth slots.
/// 0, or 1 when memory was refused (not appended).
int kx_list_append(kx_list *list, void *item);

/// Appends the item unless an item e has match(e, item, slot) != 0, or memory is refused.
void kx_list_append_unique(kx_list *list, void *item, kx_list_match match);

/// Inserts the item as item i, 0 <= i <= len. 0, or 1 when memory was refused (not inserted).
int kx_list_insert(kx_list *list, kx_i64 i, void *item);

/// Adds n slots when fewer than n are left behind the live range: from the pool, or with usePool 0 from the system.
/// 0, or 1 when memory was refused (list as before).
int __kx_make_bigger(kx_list *list, kx_i64 n, int usePool);

/// Moves every item with match(item, key, slot) != 0, in order, to a new list. Null when there is none. When memory is
/// refused on the way, what could not be moved stays where it is.
kx_list *__kx_list_extract_matching(kx_list *list, const void *key, kx_list_match match);

/// A new list of every item with match(item, key, slot) != 0. Null when there is none or memory is refused.
kx_list *__kx_list_search_all(const kx_list *list, const void *key, kx_list_match match);

/// Releases the list; null: nothing. A destructor is called on the items in order, up to the first null item.
void kx_list_destroy(kx_list *list, kx_list_item_destructor_t destructor);

/// Sorts; cmp receives pointers to two slots and may be any function at all: the result then is some permutation.
/// Equal items may come in any order as far as callers may rely on, but one input always gives the same output, with
/// or without memory to spare. Never fails.
void kx_list_qsort(kx_list *list, kx_list_compare cmp);

/// Sorts and keeps equal items in order. 0, or 1 when a merge buffer was refused (the items then are some permutation).
int kx_list_msort(kx_list *list, kx_list_compare cmp);

/// Stable merge sort of elements lo .. hi, `width` bytes each; _kx_merge joins the sorted [lo, mid] and [mid + 1, hi].
/// 0, or 1 when a merge buffer was refused.
int _kx_msort(void *base, kx_i64 lo, kx_i64 hi, kx_i64 width, kx_list_compare cmp);
int _kx_merge(void *base, kx_i64 lo, kx_i64 mid, kx_i64 hi, kx_i64 width, kx_list_compare cmp);

/// A list that lives as long as the block it is declared in, unless it is handed on.
class kx_list_owner {
  public:
    explicit kx_list_owner(kx_list *list) : list_(list) {}
    ~kx_list_owner() { kx_list_destroy(list_, nullptr); }
    kx_list_owner(const kx_list_owner &) = delete;
    kx_list_owner &operator=(const kx_list_owner &) = delete;

    [[nodiscard]] kx_list *get() const { return list_; }
    kx_list *release() {
        kx_list *handed_on = list_;
        list_ = nullptr;
        return handed_on;
    }

  private:
    kx_list *list_;
};

} // namespace orkan
