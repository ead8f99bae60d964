#include "support/texts.h"

namespace support {

std::string between(const std::string &text, const std::string &from, const std::string &to) {
    const std::size_t begin = text.find(from);
    if (begin == std::string::npos) {
        return "[" + from + "] is missing in " + text;
    }
    const std::size_t end = text.find(to, begin + from.size());
    if (end == std::string::npos) {
        return "[" + to + "] is missing in " + text;
    }
    return text.substr(begin + from.size(), end - begin - from.size());
}

} // namespace support
