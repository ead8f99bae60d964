#include "support/complete_model.h"

#include <algorithm>

namespace support {

namespace {

/// A record and the texts of its keys.
struct Record {
    std::string bytes;
    std::vector<std::string> texts = {};
    bool lacks_key = false;
};

std::vector<Record> fixed_records(const std::string &data, const Job &job, bool &broken) {
    broken = broken || data.size() % job.length != 0;
    std::vector<Record> records;
    for (std::size_t at = 0; at + job.length <= data.size(); at += job.length) {
        records.push_back({data.substr(at, job.length)});
    }
    return records;
}

std::vector<Record> line_records(const std::string &data, const Job &job) {
    std::vector<Record> records;
    for (std::size_t from = 0; from < data.size();) {
        const std::size_t end = data.find(job.code, from) + job.code.size();
        records.push_back({data.substr(from, end - from)});
        from = end;
    }
    return records;
}

void add_byte_keys(Record &record, const Job &job) {
    for (const ModelKey &key : job.rules.keys) {
        record.lacks_key = record.lacks_key || (key.length > 0 && key.position + key.length > record.bytes.size());
        record.texts.push_back(key.length == 0 || record.lacks_key ? ""
                                                                   : record.bytes.substr(key.position, key.length));
    }
}

std::vector<std::string> field_texts(const CsvRecord &record) {
    std::vector<std::string> texts;
    for (const CsvField &field : record.fields) {
        texts.push_back(
            record.bytes.substr(static_cast<std::size_t>(field.at), static_cast<std::size_t>(field.length)));
    }
    return texts;
}

std::vector<Record> csv_data(const std::string &data, const Job &job, bool &broken) {
    const std::vector<CsvRecord> found = csv_records(data, job.csv.shape);
    broken = broken || csv_size(found) != data.size();
    std::vector<Record> records;
    for (const CsvRecord &each : found) {
        Record record{each.bytes};
        const std::vector<std::string> texts = field_texts(each);
        for (const CsvKey &key : job.csv.keys) {
            const auto column = static_cast<std::size_t>(key.column);
            record.lacks_key = record.lacks_key || column > texts.size();
            record.texts.push_back(column > texts.size() ? "" : texts[column - 1]);
        }
        record.texts = job.csv.keys.empty() ? texts : record.texts;
        records.push_back(record);
    }
    return records;
}

KeyValue flag(bool set, bool descending) {
    return {.numeric = true, .descending = descending, .number = set ? 1 : 0, .text = {}};
}

KeyValue value(const std::string &text, bool numeric, bool descending) {
    return numeric ? KeyValue{true, descending, model_number(text, 0, text.size()), {}}
                   : KeyValue{false, descending, 0, text};
}

std::vector<KeyValue> byte_values(const Record &record, const Job &job) {
    std::vector<KeyValue> values;
    for (std::size_t k = 0; k < job.rules.keys.size(); ++k) {
        values.push_back(value(record.texts[k], job.rules.keys[k].numeric, job.rules.keys[k].descending));
    }
    if (values.empty()) {
        values.push_back(value(record.bytes, false, job.rules.descending));
    }
    return values;
}

/// An empty column goes last with -N; with -U it is a key of its own, in front of 0.
std::vector<KeyValue> csv_values(const Record &record, const Job &job) {
    std::vector<KeyValue> values;
    for (std::size_t k = 0; k < job.csv.keys.size(); ++k) {
        const CsvKey &key = job.csv.keys[k];
        const std::string &text = record.texts[k];
        values.push_back(flag(job.csv.empty_last && text.empty(), false));
        values.push_back(value(text, key.numeric, key.descending));
        values.push_back(flag(key.numeric && job.csv.unique && !text.empty(), key.descending));
    }
    return values;
}

/// Field by field; the record that ends first is the smaller one.
std::vector<KeyValue> whole_csv_values(const Record &record, const Job &job, std::size_t most) {
    std::vector<KeyValue> values;
    for (std::size_t k = 0; k < most; ++k) {
        const bool there = k < record.texts.size();
        const std::string text = there ? record.texts[k] : "";
        values.push_back(flag(there, job.csv.descending));
        values.push_back(flag(job.csv.empty_last && there && text.empty(), false));
        values.push_back(value(text, false, job.csv.descending));
    }
    return values;
}

std::vector<KeyValue> values_of(const Record &record, const Job &job, std::size_t most_fields) {
    if (job.format != kx_format::csv) {
        return byte_values(record, job);
    }
    return job.csv.keys.empty() ? whole_csv_values(record, job, most_fields) : csv_values(record, job);
}

/// Takes the header line off an input; the first one met is kept.
std::string behind_header(const std::string &data, const Job &job, std::string &header) {
    const std::size_t code = data.find(job.code);
    const std::size_t end = code == std::string::npos ? data.size() : code + job.code.size();
    if (header.empty() && end > 0) {
        header = terminated(data.substr(0, end), job.code);
    }
    return data.substr(end);
}

std::vector<Record> records_of(const std::string &data, const Job &job, bool &broken) {
    if (job.format == kx_format::fixed) {
        return fixed_records(data, job, broken);
    }
    const std::string whole = data.empty() ? data : terminated(data, job.code);
    return job.format == kx_format::csv ? csv_data(whole, job, broken) : line_records(whole, job);
}

} // namespace

CompleteResult complete_sort(const CompleteTask &task) {
    CompleteResult result;
    std::vector<Record> records;
    std::size_t most_fields = 0;
    for (const std::string &input : task.inputs) {
        const std::string data = task.header ? behind_header(input, task.job, result.header) : input;
        for (Record &record : records_of(data, task.job, result.broken)) {
            if (task.job.format != kx_format::csv) {
                add_byte_keys(record, task.job);
            }
            most_fields = std::max(most_fields, record.texts.size());
            records.push_back(record);
        }
    }
    for (const Record &record : records) {
        if (record.lacks_key) {
            result.rejected.push_back(record.bytes);
        } else {
            result.items.push_back({record.bytes, values_of(record, task.job, most_fields)});
        }
    }
    std::sort(result.rejected.begin(), result.rejected.end());
    result.sorted = model_sort(result.items, {.stable = true, .unique = is_unique(task.job)});
    return result;
}

std::vector<std::string> presorted_inputs(const CompleteTask &task) {
    std::vector<std::string> sorted;
    for (const std::string &input : task.inputs) {
        const CompleteResult one = complete_sort({task.job, task.header, {input}});
        std::string bytes = one.output();
        for (const std::string &record : one.rejected) {
            bytes += record; // wherever they stand
        }
        sorted.push_back(bytes);
    }
    return sorted;
}

} // namespace support
