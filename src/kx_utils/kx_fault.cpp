#include "kx_utils/kx_fault.h"

#ifdef ORKAN_FAULT_HOOKS
namespace orkan {

bool (*kx_fault_hook)(kx_site site, kx_i64 bytes);
kx_small_sizes kx_small;

} // namespace orkan
#endif
