// csv_fixture.h: the run's state for CSV, set by the rules that the model goes by.
#pragma once

#include <string>
#include <vector>

#include "kx_sort_csv/kx_sort_csv.h"
#include "kx_utils/kx_message.h"
#include "support/capture.h"
#include "support/csv_model.h"
#include "support/fault.h"
#include "support/run_state.h"

namespace support {

class CsvState : public RunState {
  protected:
    void configure(const CsvRules &rules) {
        rules_ = rules;
        set_csv(rules_.shape.newline.c_str());
        argsInfo.delimiter = rules_.shape.delimiter.c_str();
        argsInfo.delimiter_len = to_i64(rules_.shape.delimiter.size());
        argsInfo.quote = rules_.shape.quote;
        argsInfo.bNullLastOut = rules_.empty_last ? 1 : 0;
        argsInfo.bStabilize = rules_.stable ? 1 : 0;
        argsInfo.bUnique = rules_.unique ? 1 : 0;
        const bool whole = rules_.keys.empty() && rules_.whole;
        argsInfo.bRecSort = !whole ? kRecSortNone : rules_.descending ? kRecSortDesc : kRecSortAsc;
        std::vector<KeyInfo> keys;
        for (const CsvKey &wanted : rules_.keys) {
            keys.push_back(
                key(wanted.column, 0, wanted.numeric ? kTypeNum : kTypeAscii, wanted.descending ? kSeqDesc : kSeqAsc));
        }
        set_keys(keys);
    }

    /// Error records go to a file of the box.
    void keep_errors(const std::string &name = "errors") {
        std::free(argsInfo.errFile.path);
        argsInfo.errFile.path = kx_copy_text(box.path(name).c_str());
    }

    /// What the user of an index gives back.
    static void release_arrays() {
        kx_free(memPool, keyInfoArray);
        kx_free(memPool, recordInfoArray);
        keyInfoArray = nullptr;
        recordInfoArray = nullptr;
    }

    Box box;
    CsvRules rules_; ///< the settings point into it
};

} // namespace support
