// run_paths.h: what sorting one input owes, and where by design blocks need not give what memory gives.
#pragma once

#include "fuzz_input.h"
#include "support/complete_model.h"

namespace fuzz {

using support::CompleteResult;
using support::CompleteTask;
using support::Job;
using support::kx_format;

/// An input of fixed-length records with a fragment at its end is refused before it is sorted.
inline std::string whole_records(const Job &job, std::string bytes) {
    if (job.format == kx_format::fixed) {
        bytes.resize(bytes.size() - bytes.size() % job.length);
    }
    return bytes;
}

/// A number that goes on into what stands behind the record, which is not the same in memory and in a block.
inline bool reads_on(const std::string &record, std::size_t position, std::size_t limit) {
    if (limit == 0) {
        return false;
    }
    std::size_t at = record.find_first_not_of(" \t\n\v\f\r", position);
    if (at != std::string::npos && (record[at] == '-' || record[at] == '+')) {
        ++at;
        --limit;
    }
    if (at != std::string::npos) {
        const std::size_t end = std::min(record.find_first_not_of("0123456789", at), record.size());
        return end == record.size() && end - at < limit;
    }
    return true;
}

inline bool number_reads_on(const Job &job, const std::string &record) {
    return std::any_of(job.rules.keys.begin(), job.rules.keys.end(), [&](const support::ModelKey &key) {
        return key.numeric && reads_on(record, key.position, key.length);
    });
}

inline bool number_reads_on(const Job &job, const support::CsvRecord &record) {
    const auto fields = support::csv_key_fields(record, job.csv.keys);
    for (std::size_t k = 0; fields && k < fields->size(); ++k) {
        const support::CsvField &field = (*fields)[k];
        if (job.csv.keys[k].numeric &&
            reads_on(record.bytes, static_cast<std::size_t>(field.at), static_cast<std::size_t>(field.length))) {
            return true;
        }
    }
    return false;
}

/// Without complete mode: kept, the merge of whole CSV records lets field counts decide early.
inline bool paths_agree(const Job &job, const std::string &bytes) {
    const std::string data = support::ended(job, bytes);
    if (job.format != kx_format::csv) {
        const std::vector<support::Item> items = support::items_of(job, data);
        return std::none_of(items.begin(), items.end(), [&](auto &item) { return number_reads_on(job, item.bytes); });
    }
    const std::vector<support::CsvRecord> records = support::csv_records(data, job.csv.shape);
    return std::none_of(records.begin(), records.end(), [&](const support::CsvRecord &record) {
        const bool counts_differ = record.fields.size() != records.front().fields.size();
        return (job.csv.keys.empty() && counts_differ) || number_reads_on(job, record);
    });
}

/// Kept: without complete mode only the sort in memory takes the header line off.
inline bool blocks_know_headers(const CompleteTask &task, bool complete) { return !task.header || complete; }

/// Without complete mode the header line is taken off before the data get a newline code, so that nothing behind it is
/// one empty record. Kept: under -U no record is left without the header, too.
inline CompleteResult expected_by_default(const CompleteTask &task) {
    const Job &job = task.job;
    CompleteResult expected;
    std::string data = task.inputs.front();
    if (task.header) {
        const std::size_t code = data.find(job.code);
        expected.broken = code == std::string::npos;
        expected.header = data.substr(0, expected.broken ? code : code + job.code.size());
        data.erase(0, expected.header.size());
    }
    data = job.format == kx_format::fixed ? data : support::terminated(data, job.code);
    expected.items = support::items_of(job, data);
    expected.rejected = support::rejected_of(job, data);
    if (support::is_unique(job) && expected.items.empty()) {
        expected.header.clear();
    }
    return expected;
}

inline CompleteResult expected_of(const CompleteTask &task, bool complete) {
    return complete ? support::complete_sort(task) : expected_by_default(task);
}

/// The output has exactly the records of the items, in any order.
inline bool same_records(const Job &job, const std::string &output, const std::vector<support::Item> &items) {
    std::vector<std::string> expected;
    for (const support::Item &item : items) {
        expected.push_back(item.bytes);
    }
    std::sort(expected.begin(), expected.end());
    return support::records_of(job, output) == expected;
}

} // namespace fuzz
