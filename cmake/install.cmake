# install.cmake: what is installed, in three components: command, library, development.
#
# Nothing installed knows its prefix: the Python module, the CMake package and the pkg-config file find the library from
# where they are themselves. An installed tree can be moved.
include(CMakePackageConfigHelpers)

# A link in the build folder that is installed as it is; `ORKAN` is the command's name in its usage text.
function(orkan_install_link name target destination)
  set(link ${PROJECT_BINARY_DIR}/links/${destination}/${name})
  cmake_path(GET link PARENT_PATH folder)
  file(MAKE_DIRECTORY ${folder})
  file(CREATE_LINK ${target} ${link} SYMBOLIC)
  install(FILES ${link} DESTINATION ${destination} COMPONENT command)
endfunction()

# --- command ---------------------------------------------------------------------------------------------------------

install(TARGETS orkan_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)
install(FILES man/orkan.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT command)
install(FILES man/ja/orkan.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/ja/man1 COMPONENT command)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT command)
install(FILES completions/orkan.bash RENAME orkan DESTINATION ${ORKAN_BASH_DIR} COMPONENT command)
install(FILES completions/_orkan DESTINATION ${ORKAN_ZSH_DIR} COMPONENT command)
install(FILES completions/orkan.fish DESTINATION ${ORKAN_FISH_DIR} COMPONENT command)
orkan_install_link(ORKAN orkan ${CMAKE_INSTALL_BINDIR})
orkan_install_link(ORKAN.1 orkan.1 ${CMAKE_INSTALL_MANDIR}/man1)
orkan_install_link(ORKAN.1 orkan.1 ${CMAKE_INSTALL_MANDIR}/ja/man1)
orkan_install_link(ORKAN orkan ${ORKAN_BASH_DIR})
orkan_install_link(ORKAN.fish orkan.fish ${ORKAN_FISH_DIR})

# --- library and development files -----------------------------------------------------------------------------------

install(TARGETS orkan EXPORT orkan
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/orkan/orkan.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orkan COMPONENT development)
install(FILES man/orkan_file.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)

install(EXPORT orkan NAMESPACE orkan:: FILE orkan-targets.cmake DESTINATION ${ORKAN_CMAKE_DIR} COMPONENT development)
configure_package_config_file(cmake/orkan-config.cmake.in orkan-config.cmake INSTALL_DESTINATION ${ORKAN_CMAKE_DIR})
write_basic_package_version_file(orkan-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orkan-config.cmake ${PROJECT_BINARY_DIR}/orkan-config-version.cmake
  DESTINATION ${ORKAN_CMAKE_DIR} COMPONENT development)

# Paths for the pkg-config file.
file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
file(RELATIVE_PATH libdir_from_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH includedir_from_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/orkan.pc.in orkan.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orkan.pc DESTINATION ${ORKAN_PKGCONFIG_DIR} COMPONENT development)
