// kx_folder.h: may files be made in a folder?
#pragma once

#include <unistd.h>

#include "kx_utils/kx_fault.h"

namespace orkan {

/// True when the folder exists and is readable and writable by the real user.
inline bool kx_folder_usable(const char *folder) {
    return !kx_fault(kx_site::access) && access(folder, F_OK) == 0 && access(folder, R_OK | W_OK) == 0;
}

} // namespace orkan
