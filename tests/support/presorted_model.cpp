#include "support/presorted_model.h"

#include <algorithm>

#include "orkan/kx_run_state.h"
#include "support/comparator_model.h"
#include "support/merge_model.h"

namespace support {

namespace {

using comparators::Model;
using comparators::ModelRecord;
using Records = std::vector<ModelRecord>;

constexpr std::size_t kBehind = 64; ///< bytes that a number may read on into

ModelRecord record_at(const std::string &data, std::size_t at, std::size_t length) {
    return {data.substr(at, length), data.substr(at + length, kBehind), {}, 0};
}

void locate(ModelRecord &record, const std::vector<CsvField> &fields) {
    for (const CsvField &field : fields) {
        record.fields.emplace_back(static_cast<int>(field.at), static_cast<int>(field.length));
    }
}

Records csv_input(const Job &job, const std::string &data) {
    Records records;
    for (const CsvRecord &record : csv_records(data, job.csv.shape)) {
        const auto keys = job.csv.keys.empty() ? record.fields : csv_key_fields(record, job.csv.keys);
        if (keys) {
            records.push_back(record_at(data, record.at, record.bytes.size()));
            locate(records.back(), *keys);
        }
    }
    return records;
}

Records line_input(const Job &job, const std::string &data) {
    Records records;
    for (std::size_t begin = 0, at = 0; (at = data.find(job.code, begin)) != std::string::npos;) {
        const std::size_t length = at + job.code.size() - begin;
        if (static_cast<orkan::kx_i64>(length) >= orkan::argsInfo.keyMaxPos) {
            records.push_back(record_at(data, begin, length));
        }
        begin += length;
    }
    return records;
}

/// At most the first MiB, whole records.
Records fixed_input(const Job &job, const std::string &data) {
    const std::string taken = data.substr(0, (std::size_t{1} << 20) / job.length * job.length);
    Records records;
    for (std::size_t at = 0; at + job.length <= taken.size(); at += job.length) {
        records.push_back(record_at(taken, at, job.length));
    }
    return records;
}

Records records_of_input(const Job &job, const std::string &data) {
    switch (job.format) {
    case kx_format::fixed: return fixed_input(job, data);
    case kx_format::csv: return csv_input(job, ended(job, data));
    default: return line_input(job, ended(job, data));
    }
}

struct Comparison {
    Model order, differ;
};

Comparison comparison_of(kx_format format) {
    using namespace comparators;
    const bool whole = orkan::argsInfo.bRecSort != 0;
    switch (format) {
    case kx_format::fixed: return {whole ? model_whole_fixed : model_keys, model_differ};
    case kx_format::csv: return {whole ? model_whole_csv_presorted : model_keys_csv, model_differ_csv_presorted};
    default: return {whole ? model_whole_variable_presorted : model_keys, model_differ};
    }
}

std::string merge(const std::vector<Records> &inputs, const Comparison &compare, bool stable, bool unique) {
    std::vector<std::size_t> taken(inputs.size(), 0);
    const auto current = [&](std::size_t i) -> const ModelRecord & { return inputs[i][taken[i]]; };
    ModelHeads heads(
        inputs.size(), [&](std::size_t a, std::size_t b) { return compare.order(current(a), current(b)); }, stable);
    std::string out;
    std::vector<ModelRecord> last;
    while (!heads.empty()) {
        const std::size_t first = heads.first();
        if (!unique || last.empty() || compare.differ(last[0], current(first)) != 0) {
            last = {current(first)};
            last[0].behind.clear();
            out += last[0].bytes;
        }
        if (++taken[first] == inputs[first].size()) {
            heads.exhausted();
        } else {
            heads.advanced();
        }
    }
    return out;
}

} // namespace

std::vector<std::string> inputs_in_use(std::vector<std::string> inputs) {
    inputs.erase(std::find(inputs.begin(), inputs.end(), ""), inputs.end());
    return inputs;
}

std::string model_presorted(const Job &job, const std::vector<std::string> &inputs) {
    std::vector<Records> all;
    for (const std::string &input : inputs_in_use(inputs)) {
        all.push_back(records_of_input(job, input));
        if (all.back().empty()) {
            all.pop_back();
        }
    }
    return merge(all, comparison_of(job.format), is_stable(job), is_unique(job));
}

std::string presorted(const Job &job, const std::string &data) {
    Job all = job;
    make_unique(all, false);
    std::string result;
    for (const std::string &record : rejected_of(job, data)) {
        result += record; // the records that take no part may stand anywhere
    }
    return result + joined(model_sort(items_of(job, data), order_of(all)));
}

} // namespace support
