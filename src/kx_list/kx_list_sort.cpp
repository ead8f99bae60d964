// kx_list_sort.cpp: the two sorts of a list.
//
//   kx_list_msort  _kx_msort over the slots; a buffer from the quick end of the pool for each merge
//   kx_list_qsort  a merge sort with one scratch array from the system and insertion sort on short ranges; without
//                  a scratch array it merges in place, slower but to the same result
//
// Every index is bounded by a counter of its own, so a comparator that is not a consistent order can misplace items
// but lose none and touch no foreign memory.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "kx_assert/kx_assert.h"
#include "kx_list/kx_list.h"
#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_system_memory.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

/// Ranges up to this length are sorted by insertion.
constexpr kx_i64 kShortRange = 12;

/// Elements of any width; the width of a slot is known to the compiler, which then moves pointers.
template <kx_i64 fixed_width> class elements {
  public:
    elements(void *base, kx_i64 width) : base_(static_cast<char *>(base)), width_(width) {}

    [[nodiscard]] char *at(kx_i64 i) const { return base_ + i * width(); }
    void copy(kx_i64 to, const char *from, kx_i64 n = 1) const { std::memcpy(at(to), from, to_size(n * width())); }

  private:
    [[nodiscard]] kx_i64 width() const { return fixed_width != 0 ? fixed_width : width_; }

    char *base_;
    kx_i64 width_;
};

/// Merges [lo, mid] and [mid + 1, hi] into the buffer and copies them back.
template <kx_i64 fixed_width>
void merge_through(void *buffer, void *base, kx_i64 lo, kx_i64 mid, kx_i64 hi, kx_i64 width, kx_list_compare cmp) {
    const elements<fixed_width> a(base, width);
    const elements<fixed_width> merged(buffer, width);
    kx_i64 i = lo;
    kx_i64 j = mid + 1;
    kx_i64 n = 0;
    while (i <= mid && j <= hi) {
        const bool take_right = cmp(a.at(i), a.at(j)) >= 1; // a tie takes the left one: stable
        merged.copy(n++, a.at(take_right ? j++ : i++));
    }
    merged.copy(n, a.at(i), mid + 1 - i);
    n += mid + 1 - i;
    merged.copy(n, a.at(j), hi + 1 - j);
    n += hi + 1 - j;
    KX_ASSERT(n == hi - lo + 1);
    a.copy(lo, merged.at(0), n);
}

void insertion_sort(void **a, kx_i64 n, kx_list_compare cmp) {
    for (kx_i64 i = 1; i < n; ++i) {
        void *const item = a[i];
        kx_i64 place = i;
        for (; place > 0 && cmp(&a[place - 1], &item) >= 1; --place) {
            a[place] = a[place - 1];
        }
        a[place] = item;
    }
}

/// Merges the sorted a[0, mid) and a[mid, n); the scratch array has room for mid items.
void merge_halves(void **a, kx_i64 mid, kx_i64 n, void **scratch, kx_list_compare cmp) {
    std::copy_n(a, mid, scratch);
    kx_i64 i = 0;
    kx_i64 j = mid;
    kx_i64 out = 0;
    while (i < mid && j < n) {
        KX_ASSERT(out < j);
        a[out++] = cmp(&scratch[i], &a[j]) >= 1 ? a[j++] : scratch[i++];
    }
    std::copy_n(scratch + i, mid - i, a + out);
}

/// How many of the n sorted items at `a` stand before `item`: those less than it, and with ties also its equals.
kx_i64 count_before(void **a, kx_i64 n, void *item, bool ties, kx_list_compare cmp) {
    kx_i64 lo = 0;
    while (n > 0) {
        const kx_i64 half = n / 2;
        const bool before = ties ? cmp(&a[lo + half], &item) < 1 : cmp(&item, &a[lo + half]) >= 1;
        lo += before ? half + 1 : 0;
        n = before ? n - half - 1 : half;
    }
    return lo;
}

/// As merge_halves without a scratch array: halves the longer side, exchanges what then stands on the wrong side of
/// the cut, and merges both parts.
void merge_in_place(void **a, kx_i64 mid, kx_i64 n, kx_list_compare cmp) {
    if (mid == 0 || mid == n) {
        return;
    }
    if (n == 2) {
        if (cmp(&a[0], &a[1]) >= 1) {
            std::swap(a[0], a[1]);
        }
        return;
    }
    const bool left_longer = mid >= n - mid;
    const kx_i64 half = (left_longer ? mid : n - mid) / 2;
    const kx_i64 from_left = left_longer ? half : count_before(a, mid, a[mid + half], true, cmp);
    const kx_i64 from_right = left_longer ? count_before(a + mid, n - mid, a[half], false, cmp) : half;
    std::rotate(a + from_left, a + mid, a + mid + from_right);
    const kx_i64 cut = from_left + from_right;
    KX_ASSERT(cut > 0 && cut < n); // so both parts are shorter
    merge_in_place(a, from_left, cut, cmp);
    merge_in_place(a + cut, mid - from_left, n - cut, cmp);
}

/// The scratch array has room for n / 2 items, or is null.
void merge_sort(void **a, kx_i64 n, void **scratch, kx_list_compare cmp) {
    if (n <= kShortRange) {
        insertion_sort(a, n, cmp);
        return;
    }
    const kx_i64 mid = n / 2;
    merge_sort(a, mid, scratch, cmp);
    merge_sort(a + mid, n - mid, scratch, cmp);
    if (cmp(&a[mid - 1], &a[mid]) < 1) {
        return; // in order already
    }
    if (scratch != nullptr) {
        merge_halves(a, mid, n, scratch, cmp);
    } else {
        merge_in_place(a, mid, n, cmp);
    }
}

/// The live range as an array. The lists that the system sorts never wrap; one that does is straightened.
void **items_of(kx_list *list) {
    KX_ASSERT(kx_ring_check(list));
    if (list->start + list->len > list->tab_size) {
        kx_ring_unwrap(list);
    }
    return list->tab + list->start;
}

} // namespace

void kx_list_qsort(kx_list *list, kx_list_compare cmp) {
    const kx_i64 n = kx_list_len(list);
    if (n < 2) {
        return;
    }
    // Not the C library's qsort: its order of equal items differs between platforms, and it may read outside the
    // array when the comparator contradicts itself.
    const kx_i64 scratch_bytes = multiply_saturating(n / 2, sizeof(void *));
    auto **scratch = n > kShortRange ? static_cast<void **>(kx_system_malloc(scratch_bytes)) : nullptr;
    merge_sort(items_of(list), n, scratch, cmp);
    std::free(scratch);
}

int kx_list_msort(kx_list *list, kx_list_compare cmp) {
    const kx_i64 n = kx_list_len(list);
    return n < 1 ? 0 : _kx_msort(items_of(list), 0, n - 1, sizeof(void *), cmp);
}

int _kx_msort(void *base, kx_i64 lo, kx_i64 hi, kx_i64 width, kx_list_compare cmp) {
    if (lo >= hi) {
        return 0;
    }
    const kx_i64 mid = lo + (hi - lo) / 2;
    if (hi - lo > 1 && (_kx_msort(base, lo, mid, width, cmp) != 0 || _kx_msort(base, mid + 1, hi, width, cmp) != 0)) {
        return 1;
    }
    return _kx_merge(base, lo, mid, hi, width, cmp);
}

int _kx_merge(void *base, kx_i64 lo, kx_i64 mid, kx_i64 hi, kx_i64 width, kx_list_compare cmp) {
    KX_ASSERT(lo <= mid && mid < hi && width > 0);
    const kx_quick_block buffer(memPool, multiply_saturating(width, hi - lo + 1));
    if (buffer.get() == nullptr) {
        return 1;
    }
    if (width == sizeof(void *)) {
        merge_through<sizeof(void *)>(buffer.get(), base, lo, mid, hi, width, cmp);
    } else {
        merge_through<0>(buffer.get(), base, lo, mid, hi, width, cmp);
    }
    return 0;
}

} // namespace orkan
