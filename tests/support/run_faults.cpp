// run_faults.cpp: what fails in the process of a run.
#include <map>
#include <set>

#include "support/run.h"

namespace support {

namespace {

std::map<orkan::kx_site, int> calls_of_site;
std::map<orkan::kx_site, std::pair<int, bool>> failing_call;
std::multiset<orkan::kx_i64> refused_sizes;
orkan::kx_i64 refused_from = -1;

bool fault(orkan::kx_site site, orkan::kx_i64 bytes) {
    const int n = ++calls_of_site[site];
    if (const auto it = failing_call.find(site); it != failing_call.end()) {
        const auto [failing, onwards] = it->second;
        if (n == failing || (onwards && n > failing)) {
            return true;
        }
    }
    if (site != orkan::kx_site::allocate) {
        return false;
    }
    if (const auto it = refused_sizes.find(bytes); it != refused_sizes.end()) {
        refused_sizes.erase(it);
        return true;
    }
    return refused_from >= 0 && bytes >= refused_from;
}

} // namespace

void fail_call(orkan::kx_site site, int n, bool onwards) {
    calls_of_site[site] = 0;
    failing_call[site] = {n, onwards};
    orkan::kx_fault_hook = fault;
}

void refuse_allocations(std::initializer_list<orkan::kx_i64> sizes) {
    refused_sizes.insert(sizes.begin(), sizes.end());
    orkan::kx_fault_hook = fault;
}

void refuse_allocations_from(orkan::kx_i64 smallest) {
    refused_from = smallest;
    orkan::kx_fault_hook = fault;
}

} // namespace support
