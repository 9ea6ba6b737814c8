# Install rules and the package config, so a host can find_package(ZAR_DAWControl).
include(CMakePackageConfigHelpers)

install(TARGETS ZAR_DAWControl EXPORT ZAR_DAWControlTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Only the public headers: what a host includes and what those include. The Linux backend (it
# brings spdlog, libplist and RtMidi), the facts the Pro Tools driver and the track read off Pro
# Tools' windows and sends it, the text helpers, the logging macros and the black box's recorder and
# judge (a host reads the records only) stay inside the library.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/ZAR_DAWControl/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZAR_DAWControl
  FILES_MATCHING PATTERN "*.h"
  PATTERN "platform/linux" EXCLUDE
  PATTERN "protools/ProToolsTransport.h" EXCLUDE
  PATTERN "protools/ProToolsUI.h" EXCLUDE
  PATTERN "track/TrackUI.h" EXCLUDE
  PATTERN "modes/SavedCopy.h" EXCLUDE
  PATTERN "passes/BlackBox.h" EXCLUDE
  PATTERN "passes/PassVerdict.h" EXCLUDE
  PATTERN "platform/utility/Utf8Text.h" EXCLUDE
  PATTERN "platform/Log.h" EXCLUDE)
install(FILES ${ZAR_VERSION_INCLUDE_DIR}/ZAR_DAWControl/ZAR_DAWControlVersion.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZAR_DAWControl)
# The pkg-config file finds the prefix from its own place, so `cmake --install --prefix` anywhere works.
file(RELATIVE_PATH ZAR_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
set(ZAR_PC_PREFIX "\${pcfiledir}/${ZAR_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/ZAR_DAWControl.pc.in ${PROJECT_BINARY_DIR}/ZAR_DAWControl.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ZAR_DAWControl.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
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
