// fault_case.h: the runs in which every call of the operating system is refused in turn: their arguments, their inputs
// and what comes out of them when nothing is refused.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "kx_sort/kx_choose.h"
#include "kx_utils/kx_fault.h"

namespace support {

enum class Route { in_memory, mapped, split, one_chunk, chunks, presorted, pipes, presorted_pipes };
enum class Wish { plain, stable, unique };

struct FaultCase {
    orkan::kx_format format = orkan::kx_format::fixed;
    Route route = Route::in_memory;
    Wish wish = Wish::plain;
    bool complete = false; ///< complete mode: CSV has header lines, and the split path has several inputs
    int number = 0;        ///< of this case among all; chooses what else varies

    // Each route has each of these, with every wish.
    [[nodiscard]] bool has_errors() const { return (place() + static_cast<int>(format)) % 3 == 0; }
    [[nodiscard]] bool has_output() const { return (place() + (complete ? 1 : 0)) % 2 == 0; } ///< else standard output
    /// A file stands at the temporary path.
    [[nodiscard]] bool has_leftover() const {
        return (place() + static_cast<int>(format) + (complete ? 2 : 0)) % 4 == 1;
    }
    [[nodiscard]] bool from_standard_input() const { return route == Route::one_chunk || route == Route::chunks; }
    /// Each second input, the first one included, is a pipe.
    [[nodiscard]] bool has_pipes() const { return route == Route::pipes || route == Route::presorted_pipes; }
    [[nodiscard]] bool is_presorted() const { return route == Route::presorted || route == Route::presorted_pipes; }
    [[nodiscard]] bool closes_input() const { return !from_standard_input() && number % 5 == 2; }
    [[nodiscard]] bool has_header() const { return complete && format == orkan::kx_format::csv; }
    [[nodiscard]] std::string name() const;

  private:
    [[nodiscard]] int place() const { return static_cast<int>(route) + static_cast<int>(wish); }
};

inline void PrintTo(const FaultCase &c, std::ostream *to) { *to << c.name(); }

/// Every format, route and wish, first by default, then in complete mode, which alone reads pipes.
std::vector<FaultCase> all_fault_cases();

struct FaultData {
    std::vector<std::string> inputs;
    std::string output; ///< what the run gives
    std::string errors; ///< the records that lack the key
};
FaultData data_of(const FaultCase &c);

/// argv[1] and so on for the named inputs. Files: "out", "errors".
std::vector<std::string> arguments_of(const FaultCase &c, const std::vector<std::string> &inputs);

/// Sizes that make blocks, refills and full buffers of so few records.
orkan::kx_small_sizes sizes_of(const FaultCase &c);

} // namespace support
