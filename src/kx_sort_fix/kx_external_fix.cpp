// Not built yet: these fail, and the driver reports it.
#include "kx_sort_fix/kx_sort_fix.h"

namespace orkan {

int kx_splitSortFile(kx_stream & /*in*/, kx_stream & /*tmp*/) { return 1; }

int kx_mergeSortFile(kx_stream & /*tmp*/, kx_stream & /*out*/) { return 1; }

} // namespace orkan
