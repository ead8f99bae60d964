#include "kx_getopt/kx_getopt.h"

#include <cstdlib>
#include <cstring>

#include "kx_utils/kx_messages.h"
#include "kx_utils/kx_text.h"

namespace orkan {

std::int32_t optind = 1;
std::int32_t opterr = 1;
std::int32_t optopt;
char *optarg;
std::int32_t kx_getopt_sp = 1;

namespace {

// Kept: the option's letter is not named, and the status is 0.
[[noreturn]] void end_process(const char *program, const char *what) {
    if (opterr != 0) {
        kx_say(msg::kScannerError, program, what);
    }
    std::exit(0);
}

bool options_end(int argc, char **argv) {
    if (optind >= argc || argv[optind][0] != '-' || argv[optind][1] == '\0') {
        return true;
    }
    if (std::strcmp(argv[optind], "--") == 0) {
        ++optind;
        return true;
    }
    return false;
}

void next_element() {
    kx_getopt_sp = 1;
    ++optind;
}

char *take_argument(int argc, char **argv) {
    char *attached = argv[optind] + kx_getopt_sp + 1;
    next_element();
    if (*attached != '\0') {
        return attached;
    }
    if (optind >= argc) {
        end_process(argv[0], ": option requires an argument -- ");
    }
    return argv[optind++];
}

} // namespace

int kx_getopt(int argc, char **argv, const char *optstring) {
    if (kx_getopt_sp == 1 && options_end(argc, argv)) {
        return -1;
    }
    const char letter = argv[optind][kx_getopt_sp];
    optopt = static_cast<unsigned char>(letter);
    const char *known = letter == ':' ? nullptr : std::strchr(optstring, letter);
    if (known == nullptr) {
        end_process(argv[0], ": illegal option -- ");
    }
    if (known[1] == ':') {
        optarg = take_argument(argc, argv);
        kx_trim_spaces(optarg);
        return optopt;
    }
    optarg = nullptr;
    if (argv[optind][kx_getopt_sp + 1] == '\0') {
        next_element();
    } else {
        ++kx_getopt_sp;
    }
    return optopt;
}

void kx_getopt_reset() {
    kx_getopt_sp = 1;
    optind = 1;
    optarg = nullptr;
    optopt = 0;
}

} // namespace orkan
