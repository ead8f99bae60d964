#include "kx_sort/kx_index_scan.h"
#include "kx_sort_variable/kx_sort_variable.h"
#include "kx_utils/kx_scan.h"

namespace orkan {

namespace {

using Locators = kx_locators<RecordInfo>;

/// From the average length so far to the number of records of the whole block.
kx_i64 extrapolated(const Locators &locators, kx_i64 size, kx_i64 consumed) {
    return multiply_saturating(locators.capacity(), size / consumed + 1);
}

/// Finds all terminated records; bufDealedSize becomes the bytes they take.
bool scan_records(Locators &locators, const char *block, kx_i64 size, kx_i64 longest_tail) {
    const Bytes sep{argsInfo.sep, argsInfo.sep_len};
    const kx_i64 longest = kx_longest_record();
    const char *cursor = block;
    kx_code_scan codes({block, size}, block + size, sep, false, '\0');
    while (const char *match = codes.next()) {
        if (locators.full() && !locators.grow(extrapolated(locators, size, cursor - block))) {
            return false;
        }
        const char *end = match + sep.len;
        if (end - cursor > longest) { // it is left over, and longer than what may be
            break;
        }
        locators.add({static_cast<std::int32_t>(end - cursor), cursor});
        cursor = end;
    }
    bufDealedSize = cursor - block;
    if (size - bufDealedSize > longest_tail) {
        kx_say(msg::kInvalidRecordLength);
        return false;
    }
    return true;
}

} // namespace

kx_list *kx_index_variable(const char *buf, kx_i64 size, kx_i64 longest_tail, kx_index_memory &memory) {
    Locators locators(memory.records);
    bufDealedSize = 0;
    if (!kx_error_file_open() || !locators.open(kx_first_locators(kFirstLocators))) {
        return nullptr;
    }
    if (!scan_records(locators, buf, size, longest_tail)) {
        return nullptr;
    }
    kx_data_in({buf, size});
    kx_list *list =
        kx_list_accepted(locators, [](const RecordInfo &record) { return record.len >= argsInfo.keyMaxPos; });
    if (list != nullptr && VERBOSE != 0) {
        finish = kx_clock();
        kx_say(msg::kIndexTook, "_kx_get_indexList_variable", elapsed_ms(start, finish));
    }
    return list;
}

kx_list *_kx_get_indexList_variable(const char *buf, kx_i64 size, kx_i64 longest_tail) {
    kx_index_memory memory;
    kx_list *list = kx_index_variable(buf, size, longest_tail, memory);
    kx_publish_index_memory(memory);
    return list;
}

} // namespace orkan
