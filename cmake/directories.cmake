# directories.cmake: where `cmake --install` puts what.
#
# On Debian and its kin libraries live in lib/<architecture>, whatever the prefix: the loader and pkg-config look there
# below /usr and /usr/local alike, and packages built from any build folder are laid out as the system's own.
if(CMAKE_LIBRARY_ARCHITECTURE AND EXISTS /etc/debian_version AND NOT DEFINED CMAKE_INSTALL_LIBDIR)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Object code libraries")
endif()
include(GNUInstallDirs)

set(ORKAN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/orkan)
set(ORKAN_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(ORKAN_BASH_DIR ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions)
set(ORKAN_ZSH_DIR ${CMAKE_INSTALL_DATAROOTDIR}/zsh/site-functions)
set(ORKAN_FISH_DIR ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d)
