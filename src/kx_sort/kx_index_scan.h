// kx_index_scan.h: what the indexes of newline-ended and CSV records share: an array of locators that grows while
// records are found, and the list over it without the records that are too short.
#pragma once

#include <algorithm>
#include <limits>

#include "kx_io/kx_error_file.h"
#include "kx_list/kx_list.h"
#include "kx_memory/kx_memory.h"
#include "kx_utils/kx_fault.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

/// An unterminated rest of this many bytes is no record any more.
inline constexpr kx_i64 kLongestTail = 655359;

/// What is longer than this, with its newline code, is no record in complete mode, and by default where the buffer of a
/// presorted input would have to grow for it.
inline constexpr kx_i64 kLongestRecord = kx_i64{1} << 30;

/// Locators that an index has room for at first.
inline constexpr kx_i64 kFirstLocators = 1024;

/// The longest record: in complete mode the same along every path.
inline kx_i64 kx_longest_record() {
    return keeps_every_record() ? kx_record_bytes(kLongestRecord) : std::numeric_limits<kx_i64>::max();
}

/// The longest unterminated rest that the index of a buffer may leave. In complete mode none when no more data follow,
/// as only an unbalanced quote leaves one, and else any part of a record.
inline kx_i64 kx_longest_tail(bool at_end) {
    return !keeps_every_record() ? kLongestTail : at_end ? 0 : kx_longest_record() - argsInfo.sep_len;
}

/// A pool block for locators; none to begin with.
struct kx_locator_memory {
    void *block = nullptr;
    kx_i64 bytes = 0;
};

/// What an index takes besides its list; the next one may use it again.
struct kx_index_memory {
    kx_locator_memory records, fields;
};

/// Where the memory of the last index is looked for.
inline void kx_publish_index_memory(const kx_index_memory &memory) {
    recordInfoArray = memory.records.block != nullptr ? memory.records.block : recordInfoArray;
    keyInfoArray = memory.fields.block != nullptr ? static_cast<KeyInfo_csv *>(memory.fields.block) : keyInfoArray;
}

inline void kx_release_index_memory(kx_index_memory &memory) {
    kx_free(memPool, memory.records.block);
    kx_free(memPool, memory.fields.block);
    memory = {};
}

/// Locators in pool memory.
template <class Locator> class kx_locators {
  public:
    explicit kx_locators(kx_locator_memory &memory) : memory_(memory) {}

    /// Room for `capacity` locators or more. False when memory is refused.
    bool open(kx_i64 capacity) {
        if (memory_.block == nullptr || memory_.bytes / kSize < capacity) {
            kx_free(memPool, memory_.block);
            take(kx_malloc_hwm(memPool, multiply_saturating(capacity, kSize)), capacity);
        } else {
            take(memory_.block, memory_.bytes / kSize);
        }
        return array_ != nullptr || no_memory();
    }
    [[nodiscard]] bool full() const { return count_ == capacity_; }
    [[nodiscard]] kx_i64 count() const { return count_; }
    [[nodiscard]] kx_i64 capacity() const { return capacity_; }
    [[nodiscard]] Locator *array() const { return array_; }

    /// Grows to the wanted capacity, or where so much is refused to twice the present one. False when that is too.
    bool grow(kx_i64 wanted) {
        return reallocate(wanted) || reallocate(multiply_saturating(capacity_, 2)) || no_memory();
    }
    void add(const Locator &locator) { array_[count_++] = locator; }

  private:
    static constexpr kx_i64 kSize = sizeof(Locator);

    bool reallocate(kx_i64 capacity) {
        void *grown = kx_realloc(memPool, memory_.block, multiply_saturating(capacity, kSize));
        if (grown == nullptr) {
            return false;
        }
        take(grown, capacity);
        return true;
    }
    void take(void *block, kx_i64 capacity) {
        array_ = static_cast<Locator *>(block);
        capacity_ = capacity;
        memory_ = {block, block != nullptr ? capacity * kSize : 0};
    }
    bool no_memory() const {
        kx_say(msg::kNoMemory, kib_round_up(multiply_saturating(capacity_, kSize)));
        return false;
    }

    kx_locator_memory &memory_;
    Locator *array_ = nullptr;
    kx_i64 capacity_ = 0, count_ = 0;
};

/// The list of all locators that `accept` takes, in order; the others go to the error file, as the walk runs from the
/// last to the first in reverse order. accept(locator) is asked once for each. Null with a message on failure.
template <class Locator, class Accept> kx_list *kx_list_accepted(const kx_locators<Locator> &locators, Accept accept) {
    const kx_i64 count = locators.count();
    kx_list_owner list(__kx_list_create());
    if (list.get() == nullptr || kx_list_init(list.get(), count) != 0) {
        kx_say(msg::kNoMemory, kib_round_up(multiply_saturating(count, to_i64(sizeof(void *)))));
        return nullptr;
    }
    kx_i64 first = count; // accepted records gather at the list's end
    for (kx_i64 i = count - 1; i >= 0; --i) {
        Locator &locator = locators.array()[i];
        argsInfo.maxRecLen = std::max<kx_i64>(argsInfo.maxRecLen, locator.len);
        if (accept(locator)) {
            kx_list_set(list.get(), --first, &locator);
        } else if (kx_error_file_write({locator.addr, locator.len}, locator.addr - locators.array()->addr) != 0) {
            return nullptr;
        }
    }
    kx_list_delete(list.get(), 0, first);
    return list.release();
}

} // namespace orkan
