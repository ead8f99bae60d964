#include "kx_sort/kx_merge_multi.h"

namespace orkan {

// Not built yet: it fails, and the driver reports it.
int kx_mergeSortMultiFile() { return 1; }

} // namespace orkan
