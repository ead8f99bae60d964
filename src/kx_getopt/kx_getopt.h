// kx_getopt.h: walks an argument vector one option letter at a time.
//
// In the manner of the classic single-letter scanner, with two decisions of its own: every option argument is trimmed
// of surrounding blanks in place, and a scanning error ends the whole process with exit status 0.
#pragma once

#include <cstdint>

namespace orkan {

extern std::int32_t optind;       ///< index of the next vector element to scan; at the end, of the first operand
extern std::int32_t opterr;       ///< non-zero: print a message before ending the process; never reset
extern std::int32_t optopt;       ///< the letter last examined
extern char *optarg;              ///< argument of the option last returned, or null; points into the vector
extern std::int32_t kx_getopt_sp; ///< position of the next letter inside argv[optind]; 1 is just behind the dash

/// The next option letter, or -1 when the options end. `optstring` lists the letters; one followed by ":" takes an
/// argument, the rest of its element or the whole next one. Letters without arguments may share an element.
int kx_getopt(int argc, char **argv, const char *optstring);

/// Rewinds the scanner for a new vector.
void kx_getopt_reset();

} // namespace orkan
