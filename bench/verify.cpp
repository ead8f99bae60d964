// Checks the output of a sort against its input: the order, and that the records are those of the input.
//
// usage: verify --format fixed|lines|csv [--length BYTES] [--key START,BYTES[n][d]]... [--stable] [--unique] [--values]
//               OUTPUT INPUT...
//
// Keys are byte positions, for CSV columns from 1 (`3`, `5nd`); without a key whole records are compared. Shares no
// code with the sort. The sum of all records' hashes tells whether the records are the same in any order. With --stable
// those of one key must be in the order of the input. With --unique every key must be there exactly once, with a record
// of the input that has it (with --stable the first one). With --values CSV records are compared by the values of their
// fields, not by their quotes. Prints what is wrong and ends with status 1, else says nothing.

#include <algorithm>
#include <charconv>
#include <compare>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using text = std::string_view;
using hash_value = std::uint64_t;

enum class record_format { fixed, lines, csv };

struct sort_key {
    std::size_t start = 0; // byte, or column from 0
    std::size_t bytes = 0;
    bool numeric = false;
    bool descending = false;
};

struct sort_task {
    record_format format = record_format::lines;
    std::size_t length = 0;
    std::vector<sort_key> keys;
    bool stable = false;
    bool unique = false;
    bool values = false;
};

[[noreturn]] void stop(const std::string &problem) {
    std::printf("%s\n", problem.c_str());
    std::exit(1);
}

// Eight bytes at a time, each step mixed well. Seeded by the length, so that padding cannot be mistaken for data.
hash_value mixed(hash_value value) {
    value ^= value >> 32;
    value *= 0xd6e8feb86659fd93U;
    value ^= value >> 29;
    value *= 0xd6e8feb86659fd93U;
    return value ^ (value >> 32);
}

hash_value hash_of(text data, hash_value seed) {
    hash_value hash = mixed(seed + data.size());
    std::size_t at = 0;
    for (; at + 8 <= data.size(); at += 8) {
        hash_value word;
        std::memcpy(&word, data.data() + at, 8);
        hash = mixed(hash ^ word);
    }
    hash_value rest = 0;
    if (at < data.size()) {
        std::memcpy(&rest, data.data() + at, data.size() - at);
    }
    return mixed(hash + rest);
}

text map_file(const char *path) {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (file < 0 || fstat(file, &status) != 0) {
        stop(std::string("cannot read ") + path);
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size == 0) {
        return {};
    }
    void *const data = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file, 0);
    if (data == MAP_FAILED) {
        stop(std::string("cannot map ") + path);
    }
    close(file);
    return {static_cast<const char *>(data), size};
}

// Cuts the first record off `data`, its end included. In CSV an odd number of quotes protects line ends.
text next_record(const sort_task &task, text &data) {
    std::size_t end = 0;
    if (task.format == record_format::fixed) {
        end = std::min(task.length, data.size());
    } else if (task.format == record_format::lines) {
        end = std::min(data.find('\n'), data.size() - 1) + 1;
    } else {
        bool quoted = false;
        while (end < data.size() && (quoted || data[end] != '\n')) {
            quoted ^= data[end++] == '"';
        }
        end = std::min(end + 1, data.size());
    }
    const text record = data.substr(0, end);
    data.remove_prefix(end);
    return record;
}

text without_end(text record) {
    for (const char ending : {'\n', '\r'}) {
        if (!record.empty() && record.back() == ending) {
            record.remove_suffix(1);
        }
    }
    return record;
}

// Cuts the first field off `row`, its quotes included; nothing is left behind the last one.
std::optional<text> next_field(std::optional<text> &row) {
    if (!row) {
        return std::nullopt;
    }
    bool quoted = false;
    std::size_t end = 0;
    while (end < row->size() && (quoted || (*row)[end] != ',')) {
        quoted ^= (*row)[end++] == '"';
    }
    const text field = row->substr(0, end);
    row = end < row->size() ? std::optional(row->substr(end + 1)) : std::nullopt;
    return field;
}

std::string value_of(text field) {
    if (field.size() < 2 || field.front() != '"') {
        return std::string(field);
    }
    std::string value;
    field = field.substr(1, field.size() - 2);
    for (std::size_t i = 0; i < field.size(); i += field[i] == '"' ? 2U : 1U) {
        value += field[i];
    }
    return value;
}

hash_value record_hash(const sort_task &task, text record) {
    if (!task.values) {
        return hash_of(record, 1);
    }
    hash_value hash = 1;
    std::optional<text> row = without_end(record);
    while (const std::optional<text> field = next_field(row)) {
        hash = field->starts_with('"') ? hash_of(value_of(*field), hash) : hash_of(*field, hash);
    }
    return hash;
}

text key_bytes(const sort_task &task, const sort_key &key, text record) {
    if (task.format != record_format::csv) {
        return record.substr(std::min(key.start, record.size()), key.bytes);
    }
    std::optional<text> row = without_end(record);
    std::optional<text> field = next_field(row);
    for (std::size_t column = 0; column < key.start && field; ++column) {
        field = next_field(row);
    }
    return field.value_or(text());
}

std::int64_t number_in(text bytes) {
    bytes.remove_prefix(std::min(bytes.find_first_not_of(' '), bytes.size()));
    std::int64_t number = 0;
    std::from_chars(bytes.data(), bytes.data() + bytes.size(), number);
    return number;
}

int order_by(const sort_key &key, text left, text right) {
    int order = 0;
    if (key.numeric) {
        const std::int64_t a = number_in(left);
        const std::int64_t b = number_in(right);
        order = a < b ? -1 : a > b;
    } else {
        order = left.compare(right);
    }
    return key.descending ? -order : order;
}

int order_of(const sort_task &task, text left, text right) {
    if (task.keys.empty()) {
        return without_end(left).compare(without_end(right));
    }
    for (const sort_key &key : task.keys) {
        if (const int order = order_by(key, key_bytes(task, key, left), key_bytes(task, key, right)); order != 0) {
            return order;
        }
    }
    return 0;
}

// Records with equal keys have equal hashes.
hash_value key_hash(const sort_task &task, text record) {
    if (task.keys.empty()) {
        return hash_of(record, 2);
    }
    hash_value hash = 2;
    for (const sort_key &key : task.keys) {
        const text bytes = key_bytes(task, key, record);
        hash = key.numeric ? mixed(hash ^ static_cast<hash_value>(number_in(bytes))) : hash_of(bytes, hash);
    }
    return hash;
}

template <class Visit> void for_each_record(const sort_task &task, text data, Visit visit) {
    while (!data.empty()) {
        visit(next_record(task, data));
    }
}

void check_order(const sort_task &task, text output) {
    text last;
    std::int64_t number = 0;
    for_each_record(task, output, [&](text record) {
        const int order = number++ == 0 ? -1 : order_of(task, last, record);
        if (order > 0) {
            stop("record " + std::to_string(number) + " is out of order");
        }
        if (order == 0 && task.unique) {
            stop("record " + std::to_string(number) + " has the key of the one before it");
        }
        last = record;
    });
}

struct record_sum {
    std::int64_t count = 0;
    hash_value sum = 0;
    bool operator==(const record_sum &) const = default;
};

record_sum sum_of(const sort_task &task, const std::vector<text> &files) {
    record_sum result;
    for (const text data : files) {
        for_each_record(task, data, [&](text record) {
            ++result.count;
            result.sum += record_hash(task, record);
        });
    }
    return result;
}

// A record by its hashes, and its place in its file.
struct record_entry {
    hash_value key, number, record;
    auto operator<=>(const record_entry &) const = default;
};

// By key, those with one key in their order.
std::vector<record_entry> entries_of(const sort_task &task, const std::vector<text> &files) {
    std::vector<record_entry> entries;
    for (const text data : files) {
        for_each_record(task, data, [&](text record) {
            entries.push_back({key_hash(task, record), entries.size(), record_hash(task, record)});
        });
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

void check_stable(const sort_task &task, const std::vector<text> &inputs, text output) {
    const auto same = [](const record_entry &a, const record_entry &b) {
        return a.key == b.key && a.record == b.record;
    };
    const std::vector<record_entry> expected = entries_of(task, inputs);
    const std::vector<record_entry> found = entries_of(task, {output});
    if (!std::equal(expected.begin(), expected.end(), found.begin(), found.end(), same)) {
        stop("records with equal keys are not in the order of the input");
    }
}

// Every key once; the output's order has shown that no key is there twice.
void check_unique(const sort_task &task, const std::vector<text> &inputs, text output) {
    const auto by_key = [](const record_entry &a, const record_entry &b) { return a.key < b.key; };
    const std::vector<record_entry> entries = entries_of(task, inputs);
    const std::vector<record_entry> found = entries_of(task, {output});
    for (const record_entry &one : found) {
        auto [first, last] = std::equal_range(entries.begin(), entries.end(), one, by_key);
        last = task.stable && first != last ? first + 1 : last;
        if (std::none_of(first, last, [&](const record_entry &entry) { return entry.record == one.record; })) {
            stop("record " + std::to_string(one.number + 1) + " is not the input's for its key");
        }
    }
    std::int64_t keys = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        keys += i == 0 || entries[i].key != entries[i - 1].key;
    }
    if (keys != static_cast<std::int64_t>(found.size())) {
        stop("there are " + std::to_string(keys) + " keys, but " + std::to_string(found.size()) + " records");
    }
}

void check_records(const sort_task &task, const std::vector<text> &inputs, text output) {
    if (task.unique) {
        check_unique(task, inputs, output);
    } else if (sum_of(task, inputs) != sum_of(task, {output})) {
        stop("the records are not those of the input");
    } else if (task.stable) {
        check_stable(task, inputs, output);
    }
}

record_format format_named(text name) {
    if (name == "fixed") {
        return record_format::fixed;
    }
    return name == "csv" ? record_format::csv : record_format::lines;
}

sort_key parse_key(const sort_task &task, const char *argument) {
    char *rest = nullptr;
    sort_key key;
    key.start = std::strtoul(argument, &rest, 10);
    if (task.format == record_format::csv) {
        --key.start;
    }
    if (*rest == ',') {
        key.bytes = std::strtoul(rest + 1, &rest, 10);
    }
    key.numeric = std::strchr(rest, 'n') != nullptr;
    key.descending = std::strchr(rest, 'd') != nullptr;
    return key;
}

} // namespace

int main(int argc, char **argv) {
    sort_task task;
    int at = 1;
    for (; at < argc && text(argv[at]).starts_with("--"); ++at) {
        const text option = argv[at];
        if (option == "--format") {
            task.format = format_named(argv[++at]);
        } else if (option == "--length") {
            task.length = std::strtoul(argv[++at], nullptr, 10);
        } else if (option == "--key") {
            task.keys.push_back(parse_key(task, argv[++at]));
        } else {
            (option == "--stable" ? task.stable : option == "--unique" ? task.unique : task.values) = true;
        }
    }
    if (argc - at < 2) {
        stop("usage: verify --format fixed|lines|csv [OPTION]... OUTPUT INPUT...");
    }
    const text output = map_file(argv[at]);
    std::vector<text> inputs;
    std::transform(argv + at + 1, argv + argc, std::back_inserter(inputs), map_file);
    check_order(task, output);
    check_records(task, inputs, output);
    return 0;
}
