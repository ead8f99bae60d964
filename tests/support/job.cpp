#include "support/job.h"

#include <algorithm>

namespace support {

namespace {

constexpr std::size_t kLongest = 20; ///< bytes of a random line's text

const std::string &letters_of(std::mt19937 &random) {
    static const std::string alphabets[] = {"ab", "0123456789",         "+-019", "abcdefgh.", "\x01\x7f\x80\xff",
                                            "=",  std::string("\0a", 2)};
    return alphabets[random() % 7];
}

std::string random_text(std::mt19937 &random, const std::string &letters, std::size_t length) {
    std::string text(length, ' ');
    for (char &c : text) {
        c = letters[random() % letters.size()];
    }
    return text;
}

std::string random_field(std::mt19937 &random, const CsvShape &shape) {
    const std::string quoted = "ab" + shape.delimiter, plain("abc\0", 4);
    switch (random() % 6) {
    case 0: return "";
    case 1:
        return "\"" + random_text(random, quoted, random() % 4) + (random() % 2 == 0 ? shape.newline : "\"\"") + "\"";
    case 2: return random_text(random, plain, 1 + random() % 3);
    default: return (random() % 4 == 0 ? "-" : "") + std::to_string(1 + random() % 30);
    }
}

std::string random_csv(std::mt19937 &random, const Job &job) {
    const bool cut = !job.csv.keys.empty() && random() % 12 == 0;
    std::string record = random_field(random, job.csv.shape);
    for (std::size_t n = cut ? 0 : 2; n > 0; --n) {
        record += job.csv.shape.delimiter + random_field(random, job.csv.shape);
    }
    return record + job.code;
}

/// Keys over bytes; numeric ones reach a byte in front of the last one that is no blank.
std::vector<ModelKey> random_keys(std::mt19937 &random, std::size_t longest, std::size_t code) {
    std::vector<ModelKey> keys;
    for (std::size_t n = random() % 4; n > 0; --n) {
        ModelKey key{
            .position = random() % (longest / 2 + 1), .numeric = random() % 2 == 0, .descending = random() % 2 == 0};
        key.length = random() % (longest / 2 + 1);
        key.length = key.numeric ? std::max(key.length, code + 1) : key.length;
        key.length = std::min(key.length, longest - key.position);
        keys.push_back(key);
    }
    return keys;
}

CsvRules random_csv_rules(std::mt19937 &random, const std::string &code) {
    CsvRules rules{.shape = {.newline = code}, .descending = random() % 2 == 0, .empty_last = random() % 2 == 0};
    std::vector<int> columns = {1, 2, 3};
    std::shuffle(columns.begin(), columns.end(), random);
    columns.resize(random() % 4);
    for (const int column : columns) {
        rules.keys.push_back({.column = column, .numeric = random() % 2 == 0, .descending = random() % 2 == 0});
    }
    return rules;
}

std::vector<std::string> sorted(std::vector<std::string> texts) {
    std::sort(texts.begin(), texts.end());
    return texts;
}

std::string key_option(const ModelKey &key) {
    return "-K" + std::to_string(key.position) + "," + std::to_string(key.length) + (key.numeric ? "n" : "") +
           (key.descending ? "d" : "a");
}
std::string key_option(const CsvKey &key) {
    return "-K" + std::to_string(key.column) + (key.numeric ? "n" : "") + (key.descending ? "d" : "a");
}

template <class Keys> void add_order(std::vector<std::string> &args, const Keys &keys, bool descending) {
    for (const auto &key : keys) {
        args.push_back(key_option(key));
    }
    if (keys.empty()) {
        args.emplace_back(descending ? "-R" : "-A");
    }
}

} // namespace

Job whole_job(kx_format format, const std::string &code) {
    Job job{.format = format, .code = code};
    job.csv.shape.newline = code;
    return job;
}

Job key_job(kx_format format, std::size_t length, const std::string &code) {
    Job job = whole_job(format, code);
    job.rules.keys = {{.position = 0, .length = length}};
    job.csv.keys = {{.column = 1}};
    return job;
}

Job random_job(std::mt19937 &random, kx_format format) {
    Job job{.format = format, .length = 2 + random() % 15, .code = kCodes[random() % 3]};
    const bool fixed = format == kx_format::fixed;
    job.rules.keys = random_keys(random, fixed ? job.length : kLongest, fixed ? 0 : job.code.size());
    job.rules.descending = random() % 2 == 0;
    job.csv = random_csv_rules(random, job.code);
    make_stable(job, random() % 2 == 0);
    make_unique(job, random() % 2 == 0);
    const auto numeric = [](const CsvKey &key) { return key.numeric; };
    if (is_unique(job) && std::any_of(job.csv.keys.begin(), job.csv.keys.end(), numeric)) {
        job.csv.empty_last = false; // by number an empty field equals text, but would not stand beside it
    }
    return job;
}

std::string random_record(std::mt19937 &random, const Job &job) {
    switch (job.format) {
    case kx_format::fixed: return random_text(random, letters_of(random), job.length - 1) + "x";
    case kx_format::csv: return random_csv(random, job);
    default: return random_text(random, letters_of(random), random() % (kLongest + 1)) + "x" + job.code;
    }
}

std::string random_records(std::mt19937 &random, const Job &job, std::size_t bytes) {
    std::string data;
    while (data.size() < bytes) {
        data += random_record(random, job);
    }
    return data;
}

void make_stable(Job &job, bool stable) { job.rules.stable = job.csv.stable = stable; }
void make_unique(Job &job, bool unique) { job.rules.unique = job.csv.unique = unique; }
bool is_stable(const Job &job) { return job.rules.stable; }
bool is_unique(const Job &job) { return job.rules.unique; }

std::string ended(const Job &job, const std::string &data) {
    return job.format == kx_format::fixed || data.empty() ? data : terminated(data, job.code);
}

std::vector<Item> items_of(const Job &job, const std::string &data) {
    switch (job.format) {
    case kx_format::fixed: return fixed_items(data, job.length, job.rules);
    case kx_format::csv: return csv_items(data, job.csv);
    default: return line_items(data, job.code, job.rules).kept;
    }
}

std::vector<std::string> rejected_of(const Job &job, const std::string &data) {
    std::vector<std::string> rejected;
    if (job.format == kx_format::variable) {
        rejected = line_items(data, job.code, job.rules).short_ones;
    } else if (job.format == kx_format::csv && !job.csv.keys.empty()) {
        for (const CsvRecord &record : csv_records(data, job.csv.shape)) {
            if (!csv_key_fields(record, job.csv.keys)) {
                rejected.push_back(record.bytes);
            }
        }
    }
    return sorted(rejected);
}

std::vector<std::string> records_of(const Job &job, const std::string &data) {
    std::vector<std::string> records;
    if (job.format == kx_format::csv) {
        for (const CsvRecord &record : csv_records(data, job.csv.shape)) {
            records.push_back(record.bytes);
        }
    } else {
        for (const Item &item : items_of({.format = job.format, .length = job.length, .code = job.code}, data)) {
            records.push_back(item.bytes);
        }
    }
    return sorted(records);
}

Rules order_of(const Job &job) { return job.format == kx_format::csv ? job.csv.order() : job.rules; }

std::vector<std::string> options_of(const Job &job) {
    std::vector<std::string> args;
    if (job.format == kx_format::csv) {
        args = {"-C"};
        add_order(args, job.csv.keys, job.csv.descending);
        if (job.csv.empty_last) {
            args.emplace_back("-N");
        }
        if (const std::string &delimiter = job.csv.shape.delimiter; delimiter != ",") {
            args.push_back("-D" + (delimiter == "\t" ? "\\t" : delimiter));
        }
    } else {
        add_order(args, job.rules.keys, job.rules.descending);
    }
    if (job.format == kx_format::fixed) {
        args.push_back("-L" + std::to_string(job.length));
    } else {
        args.emplace_back(job.code == "\n" ? "-P\\n" : job.code == "\r" ? "-P\\r" : "-P\\r\\n");
    }
    for (const char *option : {is_stable(job) ? "-S" : "", is_unique(job) ? "-U" : ""}) {
        if (*option != '\0') {
            args.emplace_back(option);
        }
    }
    return args;
}

} // namespace support
