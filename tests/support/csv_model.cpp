#include "support/csv_model.h"

#include <algorithm>

#include "support/merge_model.h"

namespace support {

namespace {

std::vector<CsvField> fields_of(const std::string &record, const CsvShape &shape) {
    std::vector<CsvField> fields;
    const std::size_t end = record.size();
    std::size_t from = 0;
    for (;;) {
        const std::size_t at = csv_find(record, from, end, shape.delimiter, shape.quote);
        if (at == std::string::npos) {
            const auto length = static_cast<std::int64_t>(end) - static_cast<std::int64_t>(shape.newline.size() + from);
            fields.push_back({static_cast<std::int64_t>(from), std::max<std::int64_t>(length, 0)});
            return fields;
        }
        fields.push_back({static_cast<std::int64_t>(from), static_cast<std::int64_t>(at - from)});
        from = at + shape.delimiter.size();
    }
}

std::string text_of(const CsvRecord &record, const CsvField &field) {
    return record.bytes.substr(static_cast<std::size_t>(field.at), static_cast<std::size_t>(field.length));
}

KeyValue flag(bool set, bool descending) {
    return {.numeric = true, .descending = descending, .number = set ? 1 : 0, .text = {}};
}

void add_key(Item &item, const std::string &data, const CsvRecord &record, const CsvField &field, const CsvKey &key,
             bool empty_last) {
    if (empty_last) {
        item.values.push_back(flag(field.length == 0, false));
    }
    KeyValue value{.numeric = key.numeric, .descending = key.descending};
    if (key.numeric) {
        value.number =
            model_number(data, record.at + static_cast<std::size_t>(field.at), static_cast<std::size_t>(field.length));
    } else {
        value.text = text_of(record, field);
    }
    item.values.push_back(value);
}

/// All fields; where one record has no further field, that decides.
Item whole_item(const CsvRecord &record, const CsvRules &rules, std::size_t most_fields) {
    Item item{record.bytes, {}};
    for (std::size_t k = 0; k < most_fields; ++k) {
        const bool there = k < record.fields.size();
        const std::string text = there ? text_of(record, record.fields[k]) : "";
        item.values.push_back(flag(there, rules.descending));
        item.values.push_back(flag(rules.empty_last && there && text.empty(), false));
        item.values.push_back({.descending = rules.descending, .text = text});
    }
    return item;
}

std::vector<Item> whole_items(const std::vector<CsvRecord> &records, const CsvRules &rules) {
    std::size_t most = 0;
    for (const CsvRecord &record : records) {
        most = std::max(most, record.fields.size());
    }
    std::vector<Item> items;
    for (const CsvRecord &record : records) {
        items.push_back(rules.whole ? whole_item(record, rules, most) : Item{record.bytes, {}});
    }
    return items;
}

template <class T> int order_of(const T &a, const T &b) { return a < b ? -1 : b < a ? 1 : 0; }

/// Nothing when emptiness does not decide.
std::optional<int> by_emptiness(const std::string &a, const std::string &b, const CsvRules &rules) {
    if (!rules.empty_last || (!a.empty() && !b.empty())) {
        return std::nullopt;
    }
    return order_of(a.empty(), b.empty());
}

std::int64_t number_of(const CsvRecord &record, const CsvField &field) {
    return model_number(record.bytes, static_cast<std::size_t>(field.at), static_cast<std::size_t>(field.length));
}

int by_key(const CsvRecord &a, const CsvField &x, const CsvRecord &b, const CsvField &y, const CsvKey &key,
           const CsvRules &rules) {
    if (const auto decided = by_emptiness(text_of(a, x), text_of(b, y), rules)) {
        return *decided;
    }
    const int order = key.numeric ? order_of(number_of(a, x), number_of(b, y)) : order_of(text_of(a, x), text_of(b, y));
    return key.descending ? -order : order;
}

/// Field k of both.
int by_field(const CsvRecord &a, const CsvRecord &b, std::size_t k, const CsvRules &rules) {
    const std::string x = text_of(a, a.fields[k]), y = text_of(b, b.fields[k]);
    if (const auto decided = by_emptiness(x, y, rules)) {
        return *decided;
    }
    const std::size_t common = std::min(x.size(), y.size());
    int order = order_of(x.substr(0, common), y.substr(0, common));
    if (order == 0) {
        order = order_of(a.fields.size(), b.fields.size());
    }
    if (order == 0) {
        order = order_of(x.size(), y.size());
    }
    return rules.descending ? -order : order;
}

} // namespace

int csv_head_order(const CsvRecord &a, const CsvRecord &b, const CsvRules &rules) {
    int order = 0;
    if (!rules.keys.empty() || !rules.whole) {
        const auto x = csv_key_fields(a, rules.keys).value(), y = csv_key_fields(b, rules.keys).value();
        for (std::size_t k = 0; order == 0 && k < rules.keys.size(); ++k) {
            order = by_key(a, x[k], b, y[k], rules.keys[k], rules);
        }
        return order;
    }
    for (std::size_t k = 0; order == 0 && k < std::min(a.fields.size(), b.fields.size()); ++k) {
        order = by_field(a, b, k, rules);
    }
    const int counts = order_of(a.fields.size(), b.fields.size());
    return order != 0 ? order : rules.descending ? -counts : counts;
}

bool csv_same(const CsvRecord &a, const CsvRecord &b, const CsvRules &rules) {
    if (rules.keys.empty() && rules.whole) {
        const auto texts = [](const CsvRecord &record) {
            std::vector<std::string> all;
            for (const CsvField &field : record.fields) {
                all.push_back(text_of(record, field));
            }
            return all;
        };
        return texts(a) == texts(b);
    }
    const auto x = csv_key_fields(a, rules.keys).value(), y = csv_key_fields(b, rules.keys).value();
    bool same = true;
    for (std::size_t k = 0; k < rules.keys.size(); ++k) {
        same = same && (rules.keys[k].numeric ? number_of(a, x[k]) == number_of(b, y[k])
                                              : text_of(a, x[k]) == text_of(b, y[k]));
    }
    return same;
}

std::string csv_merge(const std::vector<std::vector<CsvRecord>> &blocks, const CsvRules &rules) {
    std::vector<std::size_t> taken(blocks.size(), 0);
    const auto head = [&](std::size_t i) -> const CsvRecord & { return blocks[i][taken[i]]; };
    const auto order = [&](std::size_t a, std::size_t b) { return csv_head_order(head(a), head(b), rules); };
    ModelHeads heads(blocks.size(), order, rules.stable);
    const CsvRecord *last = nullptr;
    std::string out;
    while (!heads.empty()) {
        const std::size_t first = heads.first();
        if (!rules.unique || last == nullptr || !csv_same(*last, head(first), rules)) {
            last = &head(first);
            out += last->bytes;
        }
        if (++taken[first] < blocks[first].size()) {
            heads.advanced();
        } else {
            heads.exhausted();
        }
    }
    return out;
}

std::size_t csv_find(const std::string &text, std::size_t from, std::size_t to, const std::string &pattern,
                     char quote) {
    int quotes = 0;
    for (std::size_t at = from; at < to; ++at) {
        quotes += text[at] == quote ? 1 : 0;
        if (quotes % 2 == 0 && at + pattern.size() <= to && text.compare(at, pattern.size(), pattern) == 0) {
            return at;
        }
    }
    return std::string::npos;
}

std::vector<CsvRecord> csv_records(const std::string &data, const CsvShape &shape) {
    std::vector<CsvRecord> records;
    std::size_t from = 0;
    for (std::size_t at = 0;
         (at = csv_find(data, from, data.size(), shape.newline, shape.quote)) != std::string::npos;) {
        const std::size_t end = at + shape.newline.size();
        CsvRecord record{from, data.substr(from, end - from), {}};
        record.fields = fields_of(record.bytes, shape);
        records.push_back(record);
        from = end;
    }
    return records;
}

std::size_t csv_size(const std::vector<CsvRecord> &records) {
    return records.empty() ? 0 : records.back().at + records.back().bytes.size();
}

std::optional<std::vector<CsvField>> csv_key_fields(const CsvRecord &record, const std::vector<CsvKey> &keys) {
    std::vector<CsvField> fields;
    for (std::size_t k = 0; k < keys.size(); ++k) {
        const auto column = static_cast<std::size_t>(keys[k].column);
        const auto serves = [&](const CsvKey &key) { return key.column == keys[k].column; };
        const bool taken = std::any_of(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(k), serves);
        if (taken || column < 1 || column > record.fields.size()) {
            return std::nullopt;
        }
        fields.push_back(record.fields[column - 1]);
    }
    return fields;
}

std::vector<Item> csv_items(const std::string &data, const CsvRules &rules) {
    const std::vector<CsvRecord> records = csv_records(data, rules.shape);
    if (rules.keys.empty()) {
        return whole_items(records, rules);
    }
    std::vector<Item> items;
    for (const CsvRecord &record : records) {
        const auto fields = csv_key_fields(record, rules.keys);
        if (!fields) {
            continue;
        }
        Item item{record.bytes, {}};
        for (std::size_t k = 0; k < rules.keys.size(); ++k) {
            add_key(item, data, record, (*fields)[k], rules.keys[k], rules.empty_last);
        }
        items.push_back(item);
    }
    return items;
}

std::string csv_rejected(const std::string &data, const CsvRules &rules) {
    std::string all;
    for (const CsvRecord &record : csv_records(data, rules.shape)) {
        if (!csv_key_fields(record, rules.keys)) {
            all.insert(0, record.bytes);
        }
    }
    return all;
}

std::string csv_ended(const std::string &data, const CsvShape &shape) {
    const std::string &code = shape.newline;
    const bool ends = data.size() >= code.size() && data.compare(data.size() - code.size(), code.size(), code) == 0;
    return ends ? data : data + code;
}

} // namespace support
