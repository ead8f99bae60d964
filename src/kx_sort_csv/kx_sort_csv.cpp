// Not built yet: these fail, and the driver reports it.
#include "kx_sort_csv/kx_sort_csv.h"

namespace orkan {

kx_list *_kx_get_indexList_csv(const char * /*buf*/, kx_i64 /*size*/) { return nullptr; }

int kx_splitSortFile_csv(kx_stream & /*in*/, kx_stream & /*tmp*/, kx_i64 /*size*/) { return 1; }

int kx_mergeSortFile_csv(kx_stream & /*tmp*/, kx_stream & /*out*/) { return 1; }

} // namespace orkan
