# package.cmake: `cpack -G DEB` in a build folder makes one Debian package for each component.
set(CPACK_PACKAGE_NAME orkan)
set(CPACK_PACKAGE_VENDOR "the orkan developers")
set(CPACK_PACKAGE_CONTACT "The orkan developers <orkan@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian_files.cmake)
set(CPACK_ORKAN_ZSH_DIR ${ORKAN_ZSH_DIR}) # for that script, as the licence above

# The system's libraries are asked for, and named where nobody can be asked.
find_program(ORKAN_SHLIBDEPS dpkg-shlibdeps)
find_program(ORKAN_FILE file)
mark_as_advanced(ORKAN_SHLIBDEPS ORKAN_FILE)
if(ORKAN_SHLIBDEPS AND ORKAN_FILE)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}) # the module's own library
else()
  set(system_libraries "libc6, libgcc-s1, libstdc++6")
endif()

# orkan_package(COMPONENT PACKAGE SECTION SUMMARY TEXT DEPENDENCY...)
function(orkan_package component package section summary text)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  list(JOIN ARGN ", " depends)
  string(TOUPPER ${component} upper)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
endfunction()

set(about "orkan sorts large files of fixed-length records, lines or CSV by text and number
keys, within the memory it is given. What does not fit goes through a temporary
file.")
set(library liborkan${PROJECT_VERSION_MAJOR})
set(own_library "${library} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_COMPONENTS_ALL)
orkan_package(command orkan utils "record sort for large data and bounded memory"
  "${about}\nThis package has the command, its manual and its completions for bash, zsh\nand fish."
  ${system_libraries})
orkan_package(library ${library} libs "record sort for large data and bounded memory - library"
  "${about}\nThis package has the shared library."
  ${system_libraries})
orkan_package(development liborkan-dev libdevel "record sort for large data and bounded memory - development files"
  "${about}\nThis package has the header, the CMake package, the pkg-config file and the\nlibrary's manual."
  ${own_library})
# What other packages that use the library depend on. (ldconfig is called by scripts that cpack adds.)
set(shlibs ${PROJECT_BINARY_DIR}/debian/shlibs)
file(WRITE ${shlibs} "liborkan ${PROJECT_VERSION_MAJOR} ${library} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${shlibs})

if(TARGET orkan_module)
  # The module is built for one version of the interpreter.
  find_package(Python3 COMPONENTS Interpreter Development.Module)
  math(EXPR next_minor "${Python3_VERSION_MINOR} + 1")
  set(interpreter "python3 (>= ${Python3_VERSION_MAJOR}.${Python3_VERSION_MINOR})"
    "python3 (<< ${Python3_VERSION_MAJOR}.${next_minor})")
  orkan_package(python python3-orkan python "record sort for large data and bounded memory - Python module"
    "${about}\nThis package has the module for Python 3."
    ${interpreter} ${own_library} ${system_libraries})
endif()

include(CPack)
