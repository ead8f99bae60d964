// kx_index_csv.cpp: the index of CSV records: where records end and where their key fields are.
//
// Newline codes and delimiters count only outside quotes. Quotes are counted anew from each record's and each field's
// first byte; nothing is unquoted.
#include "kx_io/kx_origin.h"
#include "kx_sort/kx_index_scan.h"
#include "kx_sort_csv/kx_sort_csv.h"
#include "kx_utils/kx_scan.h"

namespace orkan {

namespace {

using Records = kx_locators<RecordInfo_csv>;
using Fields = kx_locators<KeyInfo_csv>;

/// Finds all terminated records; bufDealedSize becomes the bytes they take.
bool scan_records(Records &records, const char *block, kx_i64 size, kx_i64 longest_tail) {
    const Bytes sep{argsInfo.sep, argsInfo.sep_len};
    const kx_i64 longest = kx_longest_record();
    const char *cursor = block;
    const char *input_end = block + kx_input_end(0, size);
    kx_code_scan codes({block, size}, block + size, sep, true, argsInfo.quote);
    while (const char *match = codes.next()) {
        if (records.full() && !records.grow(2 * records.capacity())) {
            return false;
        }
        const char *end = match + sep.len;
        if (end - cursor > longest) { // it is left over, and longer than what may be
            break;
        }
        if (end >= input_end) {
            if (end > input_end) { // an unbalanced quote would glue it to a record of the next input
                break;
            }
            input_end = block + kx_input_end(end - block, size);
        }
        records.add({cursor, static_cast<std::int32_t>(end - cursor), nullptr, 0});
        cursor = end;
    }
    bufDealedSize = cursor - block;
    if (size - bufDealedSize > longest_tail || input_end < block + size) {
        kx_say(msg::kInvalidRecordLength.japanese_only());
        return false;
    }
    return true;
}

/// Hands the fields of a record to take(field, is_last) from the first one on, until that returns false.
template <class Take> void for_fields(const RecordInfo_csv &record, Take take) {
    const Bytes delimiter{argsInfo.delimiter, argsInfo.delimiter_len};
    const char *end = record.addr + record.len;
    const char *field = record.addr;
    kx_code_scan delimiters({record.addr, record.len}, dataEnd, delimiter, true, argsInfo.quote);
    for (bool more = true; more;) {
        const char *match = delimiters.next();
        const bool last = match == nullptr;
        // A delimiter that overlaps the newline code may leave less than nothing to the last field.
        const kx_i64 length = std::max<kx_i64>((last ? end - argsInfo.sep_len : match) - field, 0);
        more = take(KeyInfo_csv{static_cast<std::int32_t>(field - record.addr), static_cast<std::int32_t>(length)},
                    last) &&
               !last;
        field = last ? end : match + delimiter.len;
    }
}

// --- with sort keys ----------------------------------------------------------------------------------------------

/// Makes the field of a column that of its key; how many keys it serves. By design the first one only: then another
/// key on the column is missing in every record. In complete mode it serves all.
std::int32_t serve_keys(kx_i64 column, const KeyInfo_csv &field, KeyInfo_csv *entries) {
    std::int32_t served = 0;
    for (kx_i64 k = 0; k < argsInfo.keyNums; ++k) {
        if (argsInfo.arrSortKey[k].srtPos == column) {
            entries[k] = field;
            ++served;
            if (!keeps_every_record()) {
                break;
            }
        }
    }
    return served;
}

/// Stores the key fields of a record; columns behind the last one needed are not looked at. False when a key's column
/// is missing.
bool locate_keys(RecordInfo_csv &record, KeyInfo_csv *entries) {
    record.keyInfo = entries;
    kx_i64 column = 0;
    for_fields(record, [&](const KeyInfo_csv &field, bool /*last*/) {
        record.num += serve_keys(++column, field, entries);
        return record.num < argsInfo.keyNums;
    });
    return record.num == argsInfo.keyNums;
}

kx_list *list_with_keys(const Records &records, kx_locator_memory &memory) {
    Fields entries(memory);
    if (!entries.open(multiply_saturating(argsInfo.keyNums, records.count()))) {
        return nullptr;
    }
    return kx_list_accepted(records, [&](RecordInfo_csv &record) {
        return locate_keys(record, entries.array() + (&record - records.array()) * argsInfo.keyNums);
    });
}

// --- without sort keys -------------------------------------------------------------------------------------------

/// Kept: a full array doubles for a middle field and grows by the number of records for a last one.
bool make_room(Fields &fields, bool last, kx_i64 records) {
    return !fields.full() || fields.grow(last ? fields.capacity() + records : 2 * fields.capacity());
}

bool locate_all_fields(RecordInfo_csv &record, Fields &fields, kx_i64 records) {
    bool complete = true;
    for_fields(record, [&](const KeyInfo_csv &field, bool last) {
        complete = make_room(fields, last, records);
        if (complete) {
            fields.add(field);
            ++record.num;
        }
        return complete;
    });
    return complete;
}

kx_list *list_with_all_fields(const Records &records, kx_locator_memory &memory) {
    const kx_i64 count = records.count();
    Fields fields(memory);
    bool complete = fields.open(count);
    for (kx_i64 i = 0; complete && i < count; ++i) {
        complete = locate_all_fields(records.array()[i], fields, count);
    }
    if (!complete) {
        return nullptr;
    }
    KeyInfo_csv *next = fields.array(); // only now: the array has moved while it grew
    for (kx_i64 i = 0; i < count; ++i) {
        records.array()[i].keyInfo = next;
        next += records.array()[i].num;
    }
    return kx_list_accepted(records, [](const RecordInfo_csv &) { return true; });
}

} // namespace

kx_list *kx_index_csv(const char *buf, kx_i64 size, kx_i64 longest_tail, kx_index_memory &memory) {
    Records records(memory.records);
    bufDealedSize = 0;
    if (!kx_error_file_open() || !records.open(kx_first_locators(kFirstLocators))) {
        return nullptr;
    }
    if (!scan_records(records, buf, size, longest_tail)) {
        return nullptr;
    }
    kx_data_in({buf, size});
    kx_list *list =
        argsInfo.keyNums > 0 ? list_with_keys(records, memory.fields) : list_with_all_fields(records, memory.fields);
    if (list != nullptr && VERBOSE != 0) {
        finish = kx_clock();
        kx_say(msg::kIndexTook, "_kx_get_indexList_csv", elapsed_ms(start, finish));
    }
    return list;
}

kx_list *_kx_get_indexList_csv(const char *buf, kx_i64 size, kx_i64 longest_tail) {
    kx_index_memory memory;
    kx_list *list = kx_index_csv(buf, size, longest_tail, memory);
    kx_publish_index_memory(memory);
    return list;
}

} // namespace orkan
