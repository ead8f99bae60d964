// replay_main.cpp: runs a fuzz target over the files of its corpus, once each. A finding ends the process.
//
//   fuzz_text FOLDER...
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz_input.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> files_of(const char *folder) {
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const fs::path &path) {
    std::printf("%s\n", path.filename().c_str());
    std::fflush(stdout); // the last one named is the one that failed
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    fuzz::check(file.good() || file.eof(), "a file that can be read");
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char **argv) {
    std::size_t replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path &path : files_of(argv[i])) {
            replay(path);
            ++replayed;
        }
    }
    std::printf("%zu inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
