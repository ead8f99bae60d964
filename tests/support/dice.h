// dice.h: seeded random choices for tests.
#pragma once

#include <cstddef>
#include <random>
#include <string>

namespace support {

class Dice {
  public:
    explicit Dice(unsigned seed) : engine_(seed) {}

    std::size_t below(std::size_t n) { return engine_() % n; }
    bool flip() { return below(2) == 0; }

    /// Bytes drawn from the letters; one in fifty is any byte at all.
    std::string text(std::size_t size, const std::string &letters) {
        std::string text(size, ' ');
        for (char &c : text) {
            c = below(50) == 0 ? static_cast<char>(below(256)) : letters[below(letters.size())];
        }
        return text;
    }

  private:
    std::mt19937 engine_;
};

} // namespace support
