# hardening.cmake: what a binary does against an error that is still in it. tests/scripts/hardening_test.sh looks for it
# in the built files.
#
#   addresses that change from run to run    position-independent code and programs
#   nothing to overwrite                     relocations done at start, then read-only; no executable stack
#   overwritten stacks are noticed           canaries in functions with arrays
#   copies know their target's size          _FORTIFY_SOURCE: 3 where compiler and C library have it, else 2
#
# Comparators and scans have no arrays: they stay as they are. The sanitizers do the last two better.
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

check_pie_supported(LANGUAGES CXX)
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,text)
if(ORKAN_SANITIZERS)
  return()
endif()
add_compile_options(-fstack-protector-strong)

set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <features.h>
#if __USE_FORTIFY_LEVEL != 3
#error not that far
#endif
int main() {}" ORKAN_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)
# It needs optimisation.
if(ORKAN_FORTIFY_3 AND NOT ORKAN_COVERAGE)
  add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
elseif(NOT ORKAN_COVERAGE)
  add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()
