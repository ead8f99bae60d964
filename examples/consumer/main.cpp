// main.cpp INPUT OUTPUT: sorts a CSV file with a header by column 6, then by the number in column 7, the largest first.
// C++11.
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <orkan/orkan.h>

namespace {

// Takes the arguments by value: option arguments are trimmed in place.
int sort_records(std::vector<std::string> arguments) {
    std::vector<char *> pointers;
    for (std::string &argument : arguments) {
        pointers.push_back(&argument[0]);
    }
    return orkan_file(static_cast<int>(pointers.size()), pointers.data());
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::cerr << "usage: " << argv[0] << " INPUT OUTPUT\n";
        return EXIT_FAILURE;
    }
    if (sort_records({argv[0], "-C", "-H", "-K6", "-K7nd", "-S", "-T", "/tmp", "-O", argv[2], "--", argv[1]}) != 0) {
        std::cerr << argv[1] << " is not sorted\n";
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
