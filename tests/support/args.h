// args.h: option vectors.
#pragma once

#include <string>
#include <vector>

namespace support {

using Args = std::vector<std::string>;

inline Args with(Args args, const Args &more) {
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

} // namespace support
