# What `cmake --install` copies, in two components:
#
#   runtime      what a user needs: the bundle as it lies in the build folder, and the files that the manual names
#   development  the headers, both libraries and the CMake package PelluxCommon
#
#   cmake --install build/release --component runtime --prefix /opt/pellux
#
# Only for this project's own builds: whoever adds it as a subfolder installs what is theirs.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# Copied whole, not target by target: the bundle runs from wherever it is copied to, and a copy leaves a signature
# valid.
install(DIRECTORY ${pellux_bundle}/Contents
  DESTINATION ${pellux_bundle_name}
  USE_SOURCE_PERMISSIONS
  COMPONENT runtime)

install(FILES
  ${PROJECT_SOURCE_DIR}/examples/launch-list.json
  ${PROJECT_SOURCE_DIR}/examples/launch-list.schema.json
  ${PROJECT_SOURCE_DIR}/examples/log.ini
  DESTINATION ${CMAKE_INSTALL_DATADIR}/pellux
  COMPONENT runtime)

# A folder of the headers' own: they are included as "common/..." and "liblogger/...", names that others have, too.
set(pellux_include_folder ${CMAKE_INSTALL_INCLUDEDIR}/pellux)
set(pellux_package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/PelluxCommon)

install(TARGETS common liblogger
  EXPORT PelluxCommonTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  FILE_SET HEADERS DESTINATION ${pellux_include_folder} COMPONENT development
  INCLUDES DESTINATION ${pellux_include_folder})
# Where jsoncpp was compiled along, it goes along: no installed one may take its place.
if(pellux_installs_jsoncpp)
  install(TARGETS pellux_jsoncpp
    EXPORT PelluxCommonTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${pellux_include_folder})
  install(DIRECTORY ${jsoncpp_SOURCE_DIR}/include/json DESTINATION ${pellux_include_folder} COMPONENT development)
endif()
install(EXPORT PelluxCommonTargets
  NAMESPACE Pellux::
  DESTINATION ${pellux_package_folder}
  COMPONENT development)

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/PelluxCommonConfig.cmake.in
  ${PROJECT_BINARY_DIR}/PelluxCommonConfig.cmake
  INSTALL_DESTINATION ${pellux_package_folder}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/PelluxCommonConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/PelluxCommonConfig.cmake
  ${PROJECT_BINARY_DIR}/PelluxCommonConfigVersion.cmake
  DESTINATION ${pellux_package_folder}
  COMPONENT development)
