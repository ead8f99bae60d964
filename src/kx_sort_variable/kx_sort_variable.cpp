// Not built yet: these fail, and the driver reports it.
#include "kx_sort_variable/kx_sort_variable.h"

namespace orkan {

kx_list *_kx_get_indexList_variable(const char * /*buf*/, kx_i64 /*size*/) { return nullptr; }

int kx_splitSortFile_variable(kx_stream & /*in*/, kx_stream & /*tmp*/, kx_i64 /*size*/) { return 1; }

int kx_mergeSortFile_variable(kx_stream & /*tmp*/, kx_stream & /*out*/) { return 1; }

} // namespace orkan
