# Debian packages, by `cpack -G DEB` in a build that is configured for /usr: the preset "package".
#
#   libtessary      the library, whose soname has no version, and the stand-ins that it is linked to on a Linux host
#   libtessary-dev  headers, CMake and pkg-config files
#   tessary         tool, simulator, boards, manual pages, completions, documents
set(TESSARY_PACKAGE_CONTACT "The Tessary maintainers <maintainers@tessary.example>" CACHE STRING
  "The maintainer that the Debian packages name")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT ${TESSARY_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/simulator/platform)

# Each package has its changelog and the licence among its documents, and only there.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/debian)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)  # heeds SOURCE_DATE_EPOCH
configure_file(cmake/debian/copyright.in ${PROJECT_BINARY_DIR}/debian/copyright @ONLY)

# The package of a group of components. NAME and the rest as dpkg's control file has them.
function(tessary_add_package group name section synopsis description)
  cmake_parse_arguments(package "" "DEPENDS" "COMPONENTS" ${ARGN})
  set(changelog ${PROJECT_BINARY_DIR}/debian/${name}.changelog)
  file(WRITE ${changelog}
    "${name} (${PROJECT_VERSION}) unstable; urgency=medium\n\n"
    "  * Release ${PROJECT_VERSION}: see CHANGELOG.md.\n\n"
    " -- ${TESSARY_PACKAGE_CONTACT}  ${date}\n")
  execute_process(COMMAND gzip -9nf ${changelog})
  install(FILES ${changelog}.gz DESTINATION share/doc/${name} RENAME changelog.gz
    COMPONENT debian_${group} EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_BINARY_DIR}/debian/copyright DESTINATION share/doc/${name}
    COMPONENT debian_${group} EXCLUDE_FROM_ALL)

  list(APPEND package_COMPONENTS debian_${group})
  foreach(component IN LISTS package_COMPONENTS)
    string(TOUPPER ${component} upper)
    set(CPACK_COMPONENT_${upper}_GROUP ${group} PARENT_SCOPE)
  endforeach()
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${package_COMPONENTS} PARENT_SCOPE)
  string(TOUPPER ${group} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${package_DEPENDS}" PARENT_SCOPE)
  set(CPACK_COMPONENT_GROUP_${upper}_DESCRIPTION "${synopsis}\n${description}" PARENT_SCOPE)
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${synopsis}\n${description}" PARENT_SCOPE)
endfunction()

set(CPACK_COMPONENTS_ALL "")
tessary_add_package(library libtessary libs
  "resource monitors for Android automotive boards - library"
  "CPU, processes, memory, temperatures, disks, network, GPU, DSPs and DDR\nbandwidth, read by a host program as plain numbers."
  COMPONENTS library)
tessary_add_package(development libtessary-dev libdevel
  "resource monitors for Android automotive boards - development files"
  "Headers, and the files by which CMake and pkg-config find the library."
  COMPONENTS development DEPENDS "libtessary (= ${PROJECT_VERSION})")
tessary_add_package(tools tessary utils
  "resource monitors for Android automotive boards - tool and simulator"
  "Shows, records and explains the figures of a board; and simulates a board,\non which any program runs on an ordinary Linux machine."
  COMPONENTS tool board DEPENDS "libtessary (= ${PROJECT_VERSION})")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/triggers)
include(CPack)
