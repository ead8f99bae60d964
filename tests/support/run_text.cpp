// run_text.cpp: what a run printed, without what differs from run to run; files of real data.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

#include "support/run.h"

namespace support {

namespace fs = std::filesystem;

std::string steady(const std::string &text) {
    static const std::regex stamp("[0-9]{4}-[01][0-9]-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9] ");
    static const std::regex milliseconds("\\[ {0,7}[0-9]+\\]ms");
    static const std::regex clocks("finish=[0-9]+, startFirst=[0-9]+, finish-startFirst=[0-9]+,");
    static const std::regex total("\\[[0-9]+\\]ms, \\[[0-9]+\\.[0-9]{3}\\]s");
    static const std::regex pid("orkan_[0-9]+\\.tmp");
    std::string result = std::regex_replace(text, total, "[<n>]ms, [<n>]s");
    result = std::regex_replace(result, clocks, "finish=<n>, startFirst=<n>, finish-startFirst=<n>,");
    for (std::sregex_iterator it(result.begin(), result.end(), milliseconds), end; it != end; ++it) {
        EXPECT_GE(it->length(), 12) << "a time narrower than 8 places: " << it->str();
    }
    result = std::regex_replace(result, milliseconds, "[#]ms");
    result = std::regex_replace(result, stamp, "<time> ");
    return std::regex_replace(result, pid, "orkan_<pid>.tmp");
}

std::string steady(const Outcome &outcome) {
    const std::string own = "orkan_" + std::to_string(outcome.pid) + ".tmp";
    static const std::regex pid("orkan_[0-9]+\\.tmp");
    for (std::sregex_iterator it(outcome.err.begin(), outcome.err.end(), pid), end; it != end; ++it) {
        EXPECT_EQ(it->str(), own);
    }
    return steady(outcome.err);
}

std::optional<std::string> shared_data(const std::string &name) {
    const char *folder = std::getenv("ORKAN_SHARED_DATA");
    const fs::path project = fs::path(__FILE__).parent_path().parent_path().parent_path();
    const fs::path place = folder != nullptr ? fs::path(folder) : project.parent_path() / "shared/data/csv/real";
    std::ifstream file(place / name, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

} // namespace support
