// kx_views.h: where the bytes of a record and of its sort keys are, and where the readable bytes end.
//
// Comparators see a record only through a view; a locator makes the view of what a sort or a merge holds:
//
//   index item            fixed_item     variable_item     csv_item          bytes end at dataEnd
//   head of a run         fixed_head     variable_head     csv_head          at the end of the run's buffer
//   head of an input                     variable_current  csv_current       likewise
//   last record output    last_fixed     last_variable     last_csv          with the record
//
// The records of the temporary file as a run's buffer holds them (host byte order, any alignment):
//
//   fixed-length     | record: recLen bytes |
//   variable-length  | len | record: len bytes |
//   CSV              | len | num | num KeyInfo_csv | record: len bytes |
//
// Trust: what an index builder located lies inside its record, so those views take positions as they are. What comes
// back from the temporary file is checked: a key, field, count or length that is damaged or cut off shrinks to the
// bytes held, down to none, and nothing outside them is read.
#pragma once

#include <algorithm>
#include <cstring>

#include "kx_assert/kx_assert.h"
#include "kx_list/kx_ring.h"
#include "orkan/kx_run_state.h"

namespace orkan {

// ---- Stretches of bytes ------------------------------------------------------------------------------------------

/// `len` bytes from `pos` on; none when `len` is not positive (such a key may start behind the record).
inline Bytes stretch(const char *record, kx_i64 pos, kx_i64 len) {
    return len < 1 ? Bytes{} : Bytes{record + pos, len};
}

/// As much of that stretch as lies in `whole`; no bytes and no place when it does not start in it or at its end.
inline Bytes stretch_within(Bytes whole, kx_i64 pos, kx_i64 len) {
    if (pos < 0 || pos > whole.len) {
        return {};
    }
    return {whole.ptr + pos, std::clamp<kx_i64>(len, 0, whole.len - pos)};
}

/// A value that may stand at any byte offset.
template <class T> T load_unaligned(const char *from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

// ---- Records of the temporary file -------------------------------------------------------------------------------

/// One record of the temporary file, as far as it is held.
struct TempRecord {
    Bytes locators;          ///< whole KeyInfo_csv entries, unaligned; none for variable-length records
    Bytes bytes;             ///< the record's own bytes
    kx_i64 stored_size = -1; ///< what it takes in the file with all in front of it; -1: header cut off or negative
};

/// Reads the length-prefixed record at the start of `held`.
inline TempRecord read_variable_temp(Bytes held) {
    const kx_i64 header = sizeof(RecordLength_temp);
    if (held.len < header) {
        return {};
    }
    const kx_i64 len = load_unaligned<RecordLength_temp>(held.ptr);
    return {{}, stretch_within(held, header, len), len < 0 ? -1 : header + len};
}

/// Reads the CSV record at the start of `held`.
inline TempRecord read_csv_temp(Bytes held) {
    const kx_i64 header = sizeof(RecordInfo_csv_temp), entry = sizeof(KeyInfo_csv);
    if (held.len < header) {
        return {};
    }
    const auto stored = load_unaligned<RecordInfo_csv_temp>(held.ptr);
    const kx_i64 entries = std::clamp<kx_i64>(stored.num, 0, (held.len - header) / entry) * entry;
    const bool negative = stored.len < 0 || stored.num < 0;
    return {stretch_within(held, header, entries), stretch_within(held, header + entries, stored.len),
            negative ? -1 : header + stored.num * entry + stored.len};
}

/// What a run's buffer holds from its current record on; with a position outside the buffer, nothing.
inline Bytes held_from_current(const UnitDataInfo &run) {
    const bool inside = run.buf != nullptr && run.bufOffset >= 0 && run.bufOffset < run.bufSize;
    return inside ? Bytes{run.buf + run.bufOffset, run.bufSize - run.bufOffset} : Bytes{};
}

/// One past the last byte held by a run's buffer.
inline const char *end_of(const UnitDataInfo &run) { return run.buf + std::max<kx_i64>(run.bufSize, 0); }

// ---- Views -------------------------------------------------------------------------------------------------------

enum class trust { index, checked };

/// A record whose keys are byte positions: fixed-length or variable-length.
template <trust from> struct ByteView {
    static constexpr bool kIsCsv = false;
    Bytes record;
    const char *end; ///< one past the last readable byte, for numbers that read on behind their key

    Bytes key(const KeyInfo &wanted, kx_i64 /*number*/) const {
        return from == trust::index ? stretch(record.ptr, wanted.srtPos, wanted.len)
                                    : stretch_within(record, wanted.srtPos, wanted.len);
    }
};

/// A CSV record: its keys are the located fields, in key order; without sort keys all its fields, in field order.
template <trust from> struct CsvView {
    static constexpr bool kIsCsv = true;
    Bytes record;
    const char *end;
    const char *locators; ///< `num` KeyInfo_csv entries at any byte offset
    kx_i64 num;

    /// Field k. An empty field has a place but no bytes, a field that the record does not have has neither.
    Bytes field(kx_i64 k) const {
        if (k >= num) {
            return {};
        }
        const auto at = load_unaligned<KeyInfo_csv>(locators + k * static_cast<kx_i64>(sizeof(KeyInfo_csv)));
        return from == trust::index ? Bytes{record.ptr + at.srtPos, at.len} : stretch_within(record, at.srtPos, at.len);
    }

    Bytes key(const KeyInfo & /*wanted*/, kx_i64 number) const { return field(number); }
};

// ---- Locators ----------------------------------------------------------------------------------------------------

/// The item in a list slot, as the sorts hand out slots.
inline const void *item_in(const void *slot) { return *static_cast<const void *const *>(slot); }
inline const UnitDataInfo &run_in(const void *slot) { return *static_cast<const UnitDataInfo *>(item_in(slot)); }

inline ByteView<trust::index> variable_view(const RecordInfo &record, const char *end) {
    return {{record.addr, record.len}, end};
}

inline CsvView<trust::index> csv_view(const RecordInfo_csv &record, const char *end) {
    return {{record.addr, record.len}, end, reinterpret_cast<const char *>(record.keyInfo), record.num};
}

inline ByteView<trust::index> fixed_item(const void *record) {
    return {{static_cast<const char *>(record), argsInfo.recLen}, dataEnd};
}
inline ByteView<trust::index> variable_item(const void *record) {
    return variable_view(*static_cast<const RecordInfo *>(record), dataEnd);
}
inline CsvView<trust::index> csv_item(const void *record) {
    return csv_view(*static_cast<const RecordInfo_csv *>(record), dataEnd);
}

inline ByteView<trust::checked> fixed_head(const UnitDataInfo &run) {
    return {stretch_within(held_from_current(run), 0, argsInfo.recLen), end_of(run)};
}
inline ByteView<trust::checked> variable_head(const UnitDataInfo &run) {
    return {read_variable_temp(held_from_current(run)).bytes, end_of(run)};
}
inline CsvView<trust::checked> csv_head(const UnitDataInfo &run) {
    const TempRecord temp = read_csv_temp(held_from_current(run));
    const kx_i64 num = temp.locators.len / static_cast<kx_i64>(sizeof(KeyInfo_csv));
    return {temp.bytes, end_of(run), temp.locators.ptr, num};
}

/// The current record of a presorted input.
template <class Record> const Record &current_of(const UnitDataInfo &input) {
    KX_ASSERT(input.currRec >= 0 && input.currRec < kx_list_len(input.RecordList));
    return *static_cast<const Record *>(kx_list_get(input.RecordList, input.currRec));
}
inline ByteView<trust::index> variable_current(const UnitDataInfo &input) {
    return variable_view(current_of<RecordInfo>(input), end_of(input));
}
inline CsvView<trust::index> csv_current(const UnitDataInfo &input) {
    return csv_view(current_of<RecordInfo_csv>(input), end_of(input));
}

/// The record last output from a run; nothing is known to be held behind it.
inline Bytes last_output(const UnitDataInfo &run) {
    return stretch(run.justOutRecAddr, 0, run.justOutRecAddr == nullptr ? 0 : run.justOutRecLen);
}
inline ByteView<trust::checked> last_fixed(const char *record) {
    return {{record, argsInfo.recLen}, record + argsInfo.recLen};
}
inline ByteView<trust::checked> last_variable(const UnitDataInfo &run) {
    const Bytes record = last_output(run);
    return {record, record.ptr + record.len};
}
inline CsvView<trust::checked> last_csv(const UnitDataInfo &run) {
    const Bytes record = last_output(run);
    return {record, record.ptr + record.len, reinterpret_cast<const char *>(run.justOutKeyInfo),
            run.justOutKeyInfo == nullptr ? 0 : run.justOutKeyNum};
}

} // namespace orkan
