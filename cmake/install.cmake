include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tessary)
install(TARGETS tessary EXPORT tessaryTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/tessary DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tessaryTargets NAMESPACE tessary:: DESTINATION ${package_dir})

configure_package_config_file(cmake/tessaryConfig.cmake.in ${PROJECT_BINARY_DIR}/tessaryConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tessaryConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tessaryConfig.cmake ${PROJECT_BINARY_DIR}/tessaryConfigVersion.cmake
  DESTINATION ${package_dir})

configure_file(cmake/tessary.pc.in ${PROJECT_BINARY_DIR}/tessary.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tessary.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
