// job_fixture.h: the run's state as the options of a job would have set it.
#pragma once

#include <string>
#include <vector>

#include "kx_list/kx_list.h"
#include "kx_sort/kx_budget.h"
#include "support/capture.h"
#include "support/fault.h"
#include "support/job.h"
#include "support/run_state.h"

namespace support {

class JobState : public RunState {
  protected:
    JobState() { dataInfo.list = __kx_list_create(); }

    static void use_pool(kx_i64 bytes, bool may_grow = true) {
        RunState::use_pool(bytes, may_grow);
        dataInfo = {__kx_list_create(), 0, 0};
    }

    void configure(const Job &job) {
        job_ = job;
        argsInfo.bFixVar = argsInfo.bCsv = 0;
        switch (job.format) {
        case kx_format::fixed: set_fixed(to_i64(job.length)); break;
        case kx_format::csv: set_csv(job_.code.c_str()); break;
        default: set_lines(job_.code.c_str()); break;
        }
        argsInfo.delimiter = job_.csv.shape.delimiter.c_str();
        argsInfo.delimiter_len = to_i64(job_.csv.shape.delimiter.size());
        argsInfo.quote = job_.csv.shape.quote;
        argsInfo.bNullLastOut = job.csv.empty_last ? 1 : 0;
        argsInfo.bStabilize = is_stable(job) ? 1 : 0;
        argsInfo.bUnique = is_unique(job) ? 1 : 0;
        job.format == kx_format::csv ? set_csv_keys(job.csv) : set_byte_keys(job.rules);
    }

    static void set_error_file(const std::string &path) {
        std::free(argsInfo.errFile.path);
        argsInfo.errFile.path = kx_copy_text(path.c_str());
    }

    static constexpr const char *kReleased = "メモリ解放がかかった[#]msです。\n";

    Box box;

  private:
    static void set_byte_keys(const Rules &rules) {
        std::vector<KeyInfo> keys;
        argsInfo.keyMaxPos = 0;
        for (const ModelKey &k : rules.keys) {
            keys.push_back(key(static_cast<std::int32_t>(k.position), static_cast<std::int32_t>(k.length),
                               k.numeric ? kTypeNum : kTypeAscii, k.descending ? kSeqDesc : kSeqAsc));
            argsInfo.keyMaxPos = std::max(argsInfo.keyMaxPos, k.length == 0 ? 0 : to_i64(k.position + k.length));
        }
        set_order(keys, rules.descending);
    }
    static void set_csv_keys(const CsvRules &rules) {
        std::vector<KeyInfo> keys;
        for (const CsvKey &k : rules.keys) {
            keys.push_back(key(k.column, 0, k.numeric ? kTypeNum : kTypeAscii, k.descending ? kSeqDesc : kSeqAsc));
        }
        argsInfo.keyMaxPos = 0;
        set_order(keys, rules.descending);
    }
    static void set_order(const std::vector<KeyInfo> &keys, bool descending) {
        set_keys(keys);
        argsInfo.bRecSort = !keys.empty() ? kRecSortNone : descending ? kRecSortDesc : kRecSortAsc;
    }

    Job job_; ///< the settings point into it
};

} // namespace support
