#include "support/model.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <sstream>

namespace support {

namespace {

bool blank(char c) { return std::string(" \t\n\v\f\r").find(c) != std::string::npos; }
bool digit(char c) { return std::string("0123456789").find(c) != std::string::npos; }

/// -1, 0, 1 as a stands before, beside or behind b.
int place(const KeyValue &a, const KeyValue &b) {
    int order = 0;
    if (a.numeric) {
        order = a.number < b.number ? -1 : a.number > b.number ? 1 : 0;
    } else {
        const int c = a.text.compare(b.text);
        order = c < 0 ? -1 : c > 0 ? 1 : 0;
    }
    return a.descending ? -order : order;
}

bool stands_before(const Item &a, const Item &b) {
    for (std::size_t k = 0; k < a.values.size(); ++k) {
        if (const int order = place(a.values[k], b.values[k]); order != 0) {
            return order < 0;
        }
    }
    return false;
}

KeyValue value_of(const std::string &data, std::size_t record, const ModelKey &key) {
    KeyValue value{.numeric = key.numeric, .descending = key.descending};
    if (key.numeric) {
        value.number = model_number(data, record + key.position, key.length);
    } else {
        value.text = key.length == 0 ? "" : data.substr(record + key.position, key.length);
    }
    return value;
}

/// The record of `length` bytes at data[record].
Item item_at(const std::string &data, std::size_t record, std::size_t length, const Rules &rules) {
    Item item{data.substr(record, length), {}};
    for (const ModelKey &key : rules.keys) {
        item.values.push_back(value_of(data, record, key));
    }
    if (rules.keys.empty()) {
        item.values.push_back({.descending = rules.descending, .text = item.bytes});
    }
    return item;
}

/// The items of equal keys that stand together in a sorted sequence.
std::vector<std::vector<Item>> groups_of(const std::vector<Item> &sorted) {
    std::vector<std::vector<Item>> groups;
    for (const Item &item : sorted) {
        if (groups.empty() || stands_before(groups.back().front(), item)) {
            groups.emplace_back();
        }
        groups.back().push_back(item);
    }
    return groups;
}

std::multiset<std::string> bytes_of(const std::vector<Item> &items) {
    std::multiset<std::string> bytes;
    for (const Item &item : items) {
        bytes.insert(item.bytes);
    }
    return bytes;
}

testing::AssertionResult wrong(std::size_t group, std::size_t at, const std::string &what) {
    return testing::AssertionFailure() << what << " in group " << group << " of equal keys, at byte " << at
                                       << " of the output";
}

/// Takes one record off the output that is among `left`; of several that fit the longest. False when none does.
bool take_record(const std::string &output, std::size_t &at, std::multiset<std::string> &left,
                 const std::set<std::size_t> &lengths) {
    return std::any_of(lengths.rbegin(), lengths.rend(), [&](std::size_t length) {
        const auto found = left.find(output.substr(at, length));
        if (found == left.end()) {
            return false;
        }
        at += found->size(); // the output may end before `length` bytes
        left.erase(found);
        return true;
    });
}

/// Takes one group's records off the output; records of one group may differ in length.
testing::AssertionResult take_group(const std::string &output, std::size_t &at, std::size_t number,
                                    const std::vector<Item> &group, bool only_one) {
    std::multiset<std::string> left = bytes_of(group);
    std::set<std::size_t> lengths;
    for (const std::string &bytes : left) {
        lengths.insert(bytes.size());
    }
    for (std::size_t n = only_one ? 1 : group.size(); n > 0; --n) {
        if (!take_record(output, at, left, lengths)) {
            return wrong(number, at, "no record of the input");
        }
    }
    return testing::AssertionSuccess();
}

} // namespace

std::int64_t model_number(const std::string &data, std::size_t position, std::size_t length) {
    const auto at = [&data](std::size_t p) { return p < data.size() ? data[p] : '\0'; };
    while (blank(at(position))) {
        ++position;
    }
    const char sign = at(position);
    std::size_t left = length;
    if (sign == '-' || sign == '+') {
        if (left == 0) {
            return 0;
        }
        --left;
        ++position;
    }
    std::string digits;
    while (digits.size() < left && digit(at(position))) {
        digits += at(position++);
    }
    const std::uint64_t value =
        std::accumulate(digits.begin(), digits.end(), std::uint64_t{0},
                        [](std::uint64_t sum, char c) { return sum * 10 + static_cast<std::uint64_t>(c - '0'); });
    return static_cast<std::int64_t>(sign == '-' ? ~value + 1 : value);
}

std::vector<Item> fixed_items(const std::string &data, std::size_t record_length, const Rules &rules) {
    std::vector<Item> items;
    for (std::size_t record = 0; record + record_length <= data.size(); record += record_length) {
        items.push_back(item_at(data, record, record_length, rules));
    }
    return items;
}

std::string terminated(const std::string &data, const std::string &newline) {
    const bool ends = data.size() >= newline.size() && data.substr(data.size() - newline.size()) == newline;
    return ends ? data : data + newline;
}

Lines line_items(const std::string &data, const std::string &newline, const Rules &rules) {
    std::size_t least = 0;
    for (const ModelKey &key : rules.keys) {
        least = std::max(least, key.length == 0 ? 0 : key.position + key.length);
    }
    Lines lines;
    std::size_t begin = 0;
    for (std::size_t at = 0; (at = data.find(newline, begin)) != std::string::npos;) {
        const std::size_t length = at + newline.size() - begin;
        if (length < least) {
            lines.short_ones.push_back(data.substr(begin, length));
        } else {
            lines.kept.push_back(item_at(data, begin, length, rules));
        }
        begin += length;
    }
    return lines;
}

std::vector<Item> model_sort(std::vector<Item> items, const Rules &rules) {
    std::vector<std::size_t> places(items.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    std::stable_sort(places.begin(), places.end(),
                     [&items](std::size_t a, std::size_t b) { return stands_before(items[a], items[b]); });
    std::vector<Item> sorted;
    for (const std::size_t at : places) {
        if (!rules.unique || sorted.empty() || stands_before(sorted.back(), items[at])) {
            sorted.push_back(std::move(items[at]));
        }
    }
    return sorted;
}

std::string joined(const std::vector<Item> &items) {
    std::string all;
    for (const Item &item : items) {
        all += item.bytes;
    }
    return all;
}

testing::AssertionResult is_sorted_output(const std::string &output, const std::vector<Item> &items,
                                          const Rules &rules) {
    if (rules.stable) {
        if (output == joined(model_sort(items, rules))) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "not the stable result";
    }
    Rules all = rules;
    all.unique = false;
    const std::vector<std::vector<Item>> groups = groups_of(model_sort(items, all));
    std::size_t at = 0;
    for (std::size_t g = 0; g < groups.size(); ++g) {
        if (auto taken = take_group(output, at, g, groups[g], rules.unique); !taken) {
            return taken;
        }
    }
    if (at != output.size()) {
        return testing::AssertionFailure() << output.size() - at << " bytes too many";
    }
    return testing::AssertionSuccess();
}

} // namespace support
