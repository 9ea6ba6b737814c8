# Install rules and the package config, so a host can find_package(ZAR_DAWControl).
include(CMakePackageConfigHelpers)

install(TARGETS ZAR_DAWControl EXPORT ZAR_DAWControlTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/ZAR_DAWControl/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZAR_DAWControl
  FILES_MATCHING PATTERN "*.h")
install(EXPORT ZAR_DAWControlTargets
  NAMESPACE ZAR::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ZAR_DAWControl)

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/ZAR_DAWControlConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZAR_DAWControlConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ZAR_DAWControl)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/ZAR_DAWControlConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/ZAR_DAWControlConfig.cmake
  ${PROJECT_BINARY_DIR}/ZAR_DAWControlConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ZAR_DAWControl)
