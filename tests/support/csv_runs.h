// csv_runs.h: the options that say what CSV rules say.
#pragma once

#include <string>
#include <vector>

#include "support/csv_model.h"

namespace support {

/// A text as an option's argument is to give it: newline codes and a tab by their escapes.
inline std::string escaped(const std::string &text) {
    if (text == "\t") {
        return "\\t";
    }
    return text == "\r\n" ? "\\r\\n" : text == "\n" ? "\\n" : text == "\r" ? "\\r" : text;
}

inline std::vector<std::string> options_of(const CsvRules &rules) {
    std::vector<std::string> args = {"-C", "-P", escaped(rules.shape.newline), "-D", escaped(rules.shape.delimiter)};
    for (const CsvKey &key : rules.keys) {
        args.push_back("-K" + std::to_string(key.column) + (key.numeric ? "n" : "") + (key.descending ? "d" : ""));
    }
    const auto add = [&args](bool wanted, const char *option) {
        if (wanted) {
            args.emplace_back(option);
        }
    };
    add(rules.keys.empty(), rules.descending ? "-R" : "-A");
    add(rules.empty_last, "-N");
    add(rules.stable, "-S");
    add(rules.unique, "-U");
    return args;
}

} // namespace support
