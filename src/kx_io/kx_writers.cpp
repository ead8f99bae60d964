#include "kx_io/kx_writers.h"

#include <algorithm>
#include <cstring>

#include "kx_io/kx_error_file.h"
#include "kx_io/kx_load.h"
#include "kx_sort/kx_choose.h"
#include "kx_utils/kx_messages.h"
#include "orkan/kx_run_state.h"

namespace orkan {

namespace {

// Items this far ahead are asked of the memory system while the current one is copied; two distances where an item
// is a locator first and a record behind it.
constexpr kx_i64 kRecordsAhead = 16, kLocatorsAhead = 32;
constexpr kx_i64 kCacheLine = 64, kTouchedBytes = 4 * kCacheLine; // of a longer record the processor fetches the rest

// What an item of each format is: its record bytes, and what stands in front of them in the temporary file.

struct FixedItems {
    kx_i64 len = argsInfo.recLen;

    [[nodiscard]] Bytes record(const void *item) const { return {static_cast<const char *>(item), len}; }
    static void touch_locator(const void * /*item*/) {}
    static bool write_prefix(kx_stream & /*to*/, const void * /*item*/) { return true; }
    static kx_i64 prefix_size(const void * /*item*/) { return 0; }
};

struct VariableItems {
    static const RecordInfo &info(const void *item) { return *static_cast<const RecordInfo *>(item); }
    static Bytes record(const void *item) { return {info(item).addr, info(item).len}; }
    static void touch_locator(const void *item) { __builtin_prefetch(item); }
    static bool write_prefix(kx_stream &to, const void *item) {
        const RecordLength_temp len = info(item).len;
        return kx_stream_write(to, &len, sizeof len);
    }
    static kx_i64 prefix_size(const void * /*item*/) { return sizeof(RecordLength_temp); }
};

struct CsvItems {
    static const RecordInfo_csv &info(const void *item) { return *static_cast<const RecordInfo_csv *>(item); }
    static Bytes record(const void *item) { return {info(item).addr, info(item).len}; }
    static void touch_locator(const void *item) { __builtin_prefetch(item); }
    static kx_i64 locators_size(const void *item) { return info(item).num * to_i64(sizeof(KeyInfo_csv)); }
    static bool write_prefix(kx_stream &to, const void *item) {
        const RecordInfo_csv_temp head{info(item).len, info(item).num};
        return kx_stream_write(to, &head, sizeof head) && kx_stream_write(to, info(item).keyInfo, locators_size(item));
    }
    static kx_i64 prefix_size(const void *item) { return to_i64(sizeof(RecordInfo_csv_temp)) + locators_size(item); }
};

/// Calls `use` with the run's item format.
template <class Use> auto with_items(Use use) {
    switch (kx_record_format()) {
    case kx_format::fixed: return use(FixedItems{});
    case kx_format::csv: return use(CsvItems{});
    default: return use(VariableItems{});
    }
}

template <class Items> void look_ahead(const Items &items, const kx_list *list, kx_i64 i, kx_i64 count) {
    if (i + kLocatorsAhead < count) {
        items.touch_locator(kx_list_get(list, i + kLocatorsAhead));
    }
    if (i + kRecordsAhead < count) {
        const Bytes next = items.record(kx_list_get(list, i + kRecordsAhead));
        const kx_i64 touched = std::min(next.len, kTouchedBytes);
        for (kx_i64 at = 0; at < touched; at += kCacheLine) {
            __builtin_prefetch(next.ptr + at);
        }
        __builtin_prefetch(next.ptr + touched - 1);
    }
}

/// Hands the list's items to `write` in order, without those equal to their predecessor where `differs` is given (the
/// neighbour in the list, not the record written last). False as soon as a write fails.
template <class Items, class Write>
bool for_kept_items(const Items &items, const kx_list *list, kx_compare differs, Write write) {
    const kx_i64 count = kx_list_len(list);
    for (kx_i64 i = 0; i < count; ++i) {
        look_ahead(items, list, i, count);
        const void *item = kx_list_get(list, i);
        if (i > 0 && differs != nullptr && differs(kx_list_get(list, i - 1), item) == 0) {
            continue;
        }
        if (!write(item)) {
            return false;
        }
    }
    return true;
}

template <class Items> bool write_record(const Items &items, kx_stream &to, const void *item) {
    const Bytes record = items.record(item);
    return kx_stream_write(to, record.ptr, record.len);
}

/// Writes records; those that lie one behind the other in memory, as in sorted input, in one piece and uncopied.
class RecordRuns {
  public:
    explicit RecordRuns(kx_stream &to) : to_(to) {}

    bool write(Bytes record) {
        if (record.ptr == run_.ptr + run_.len) {
            run_.len += record.len;
            return true;
        }
        const bool written = finish();
        run_ = record;
        return written;
    }
    bool finish() { return kx_stream_write(to_, run_.ptr, run_.len); }

  private:
    kx_stream &to_;
    Bytes run_{};
};

/// Standard output may stay unbuffered where memory is short; a file may not.
int set_output_buffer() {
    if (!kx_stream_set_buffer(outFile, kOutputBufferSize) && !outFile.standard) {
        return kx_fail(msg::kOutputBuffer);
    }
    return 0;
}

int write_list(const kx_list *list, kx_stream &to, kx_compare differs) {
    RecordRuns runs(to);
    const auto write_all = [&](auto items) {
        return for_kept_items(items, list, differs, [&](const void *item) { return runs.write(items.record(item)); });
    };
    const bool complete = kx_write_csv_header(to) && with_items(write_all) && runs.finish();
    return complete ? 0 : kx_output_failed();
}

int write_to_own_output(const kx_list *list, kx_compare differs) {
    if (set_output_buffer() != 0 || list == nullptr) {
        return 1;
    }
    // Kept: then not even the header; in complete mode that is no exception.
    const bool nothing = differs != nullptr && kx_list_len(list) == 0 && !keeps_every_record();
    if (!nothing && write_list(list, outFile, differs) != 0) {
        return 1;
    }
    return kx_close_output();
}

int output_list(const kx_list *list, kx_stream *out, kx_compare differs,
                const kx_message<const char *> &cannot_create) {
    if (out == nullptr) {
        const int status = kx_open_output(cannot_create) != 0 ? 1 : write_to_own_output(list, differs);
        kx_stream_clear(outFile);
        return status;
    }
    if (list == nullptr) {
        return 1;
    }
    return differs != nullptr && kx_list_len(list) == 0 ? 0 : write_list(list, *out, differs);
}

template <class Items>
int write_temporary(const Items &items, const kx_list *list, kx_stream &to, UnitDataInfo *unit, kx_compare differs) {
    kx_i64 bytes = 0;
    kx_i64 records = 0;
    const bool complete = for_kept_items(items, list, differs, [&](const void *item) {
        bytes += items.prefix_size(item) + items.record(item).len;
        ++records;
        return items.write_prefix(to, item) && write_record(items, to, item);
    });
    if (unit != nullptr) {
        unit->size = bytes;
        unit->totalRecNum = records;
    }
    return complete ? 0 : -1;
}

} // namespace

int kx_outputFile_list(const kx_list *list, kx_stream *out) {
    return output_list(list, out, nullptr, msg::kCreateOutputFileHint);
}

int kx_outputFile_list_unique(const kx_list *list, kx_stream *out) {
    return output_list(list, out, kx_choose_index_difference(), msg::kCreateOutputFile);
}

int kx_outputTempFile_list(const kx_list *list, kx_stream &to, UnitDataInfo *unit) {
    if (list == nullptr) {
        return 0;
    }
    const int status = with_items([&](auto items) { return write_temporary(items, list, to, unit, nullptr); });
    if (unit != nullptr && kx_record_format() == kx_format::fixed) {
        unit->size = unit->totalRecNum = 0; // by design the caller counts
    }
    return status;
}

int kx_outputTempFile_list_unique(const kx_list *list, kx_stream &to, UnitDataInfo *unit) {
    if (list == nullptr) {
        return 0;
    }
    return with_items([&](auto items) { return write_temporary(items, list, to, unit, kx_choose_index_difference()); });
}

bool kx_write_csv_header(kx_stream &to) {
    const bool wanted = kx_record_format() == kx_format::csv && argsInfo.bHeader != 0 && argsInfo.headerLen > 0;
    return !wanted || kx_stream_write(to, argsInfo.header, argsInfo.headerLen);
}

int kx_open_output(const kx_message<const char *> &cannot_create) {
    // For want of data nobody may have opened it yet. Fixed-length records are never too short.
    if (keeps_every_record() && kx_record_format() != kx_format::fixed && !kx_error_file_open()) {
        return 1;
    }
    if (argsInfo.outFile.path == nullptr) {
        kx_stream_standard_output(outFile);
        return 0;
    }
    const char *path = argsInfo.outFile.path;
    const bool is_error_file = errFile.open && kx_same_file(argsInfo.errFile.path, path); // opening it would empty that
    if (is_error_file || !kx_stream_open_write(outFile, path)) {
        return kx_fail(cannot_create, path);
    }
    kx_stream_reserve_space(outFile, kx_expected_bytes());
    return 0;
}

int kx_close_output() { return kx_stream_close(outFile) ? 0 : kx_output_failed(); }

int kx_output_failed() {
    return argsInfo.outFile.path != nullptr ? kx_fail(msg::kWriteOutputFile, argsInfo.outFile.path)
                                            : kx_fail(msg::kWriteStandardOutput);
}

} // namespace orkan
