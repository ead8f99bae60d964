// fault.h: one failing call of the operating system at a time, inside the test's own process.
//
//   const Fault fault({.site = kx_site::write, .call = 2});   // until the end of the block the second write fails
#pragma once

#include <limits>

#include "kx_utils/kx_fault.h"

namespace support {

struct FaultPlan {
    orkan::kx_site site = orkan::kx_site::allocate;
    int call = 1;               ///< which call at the site, from 1
    bool onwards = false;       ///< every later call too
    orkan::kx_i64 smallest = 0; ///< only requests for at least so many bytes count
    orkan::kx_i64 largest = std::numeric_limits<orkan::kx_i64>::max(); ///< and at most so many
};

class Fault {
  public:
    explicit Fault(FaultPlan plan) {
        plan_ = plan;
        met_ = 0;
        orkan::kx_fault_hook = fails;
    }
    ~Fault() { orkan::kx_fault_hook = nullptr; }
    Fault(const Fault &) = delete;
    Fault &operator=(const Fault &) = delete;

    /// Calls at the site so far.
    [[nodiscard]] static int calls() { return met_; }

  private:
    static bool fails(orkan::kx_site site, orkan::kx_i64 bytes) {
        if (site != plan_.site || bytes < plan_.smallest || bytes > plan_.largest) {
            return false;
        }
        ++met_;
        return met_ == plan_.call || (plan_.onwards && met_ > plan_.call);
    }

    static inline FaultPlan plan_;
    static inline int met_ = 0;
};

} // namespace support
