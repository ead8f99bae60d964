// csv_blocks.h: CSV blocks in a temporary file, made by hand or by a split sort, and what stands in them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kx_sort/kx_budget.h"
#include "kx_sort/kx_unit.h"
#include "support/csv_fixture.h"
#include "support/lists.h"

namespace support {

/// One record of the temporary file.
inline std::string temporary_record(const std::string &bytes, const std::vector<CsvField> &fields) {
    std::string stored =
        int32_bytes(static_cast<std::int32_t>(bytes.size())) + int32_bytes(static_cast<std::int32_t>(fields.size()));
    for (const CsvField &field : fields) {
        stored +=
            int32_bytes(static_cast<std::int32_t>(field.at)) + int32_bytes(static_cast<std::int32_t>(field.length));
    }
    return stored + bytes;
}

/// The locators that the index gives a record under these rules.
inline std::vector<CsvField> locators_of(const CsvRecord &record, const CsvRules &rules) {
    return rules.keys.empty() ? record.fields : csv_key_fields(record, rules.keys).value_or(std::vector<CsvField>{});
}

class CsvBlocks : public CsvState {
  protected:
    CsvBlocks() { dataInfo.list = __kx_list_create(); }

    /// Another pool, and so another block list; nothing of the run before is known any more.
    static void start_over(kx_i64 pool, bool may_grow = true) {
        use_pool(pool, may_grow);
        dataInfo = DataInfo{};
        dataInfo.list = __kx_list_create();
        keyInfoArray = nullptr;
        recordInfoArray = nullptr;
    }

    static UnitDataInfo &block(kx_i64 i) { return *static_cast<UnitDataInfo *>(kx_list_get(dataInfo.list, i)); }

    /// Opens both files of the box, calls body(from, to) and closes them; `to` is made anew.
    void with_files(const std::string &from, const std::string &to,
                    const std::function<void(kx_stream &, kx_stream &)> &body) {
        kx_stream in{}, out{};
        ASSERT_TRUE(kx_stream_open_read(in, box.path(from).c_str()));
        ASSERT_TRUE(kx_stream_open_write(out, box.path(to).c_str()));
        body(in, out);
        kx_stream_clear(in);
        kx_stream_clear(out);
    }

    /// Adds a block of these stored records behind the bytes of the file so far.
    static void add_block(std::string &file, const std::string &stored, std::size_t records) {
        UnitDataInfo *unit = kx_append_block(to_i64(file.size()));
        ASSERT_NE(unit, nullptr);
        unit->size = to_i64(stored.size());
        unit->totalRecNum = to_i64(records);
        file += stored;
    }
};

} // namespace support
