include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tessary)
install(TARGETS tessary EXPORT tessaryTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
install(DIRECTORY include/tessary DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT tessaryTargets NAMESPACE tessary:: DESTINATION ${package_dir} COMPONENT development)

configure_package_config_file(cmake/tessaryConfig.cmake.in ${PROJECT_BINARY_DIR}/tessaryConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tessaryConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tessaryConfig.cmake ${PROJECT_BINARY_DIR}/tessaryConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# pkg-config's file knows where it lies itself, so that a copy that was moved works; unless its folder is outside the
# prefix. How far up the prefix is depends on the library's folder: lib, or lib/x86_64-linux-gnu.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${pc_dir})
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH up /${pc_dir} /)
  string(REGEX REPLACE "/$" "" up "${up}")
  set(pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(dir IN ITEMS libdir includedir)
  string(TOUPPER ${dir} cmake_dir)
  set(pc_${dir} ${CMAKE_INSTALL_${cmake_dir}})
  if(NOT IS_ABSOLUTE ${pc_${dir}})
    set(pc_${dir} "\${prefix}/${pc_${dir}}")
  endif()
endforeach()
configure_file(cmake/tessary.pc.in ${PROJECT_BINARY_DIR}/tessary.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tessary.pc DESTINATION ${pc_dir} COMPONENT development)
