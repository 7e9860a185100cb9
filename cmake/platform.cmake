# The platform, said once: `pellux_platform` is linux or macos. Sources that differ are chosen by their name,
# NAME_${pellux_platform}.cpp, and what differs in the build stands in platform_linux.cmake and platform_macos.cmake.
#
# Another platform takes a line here, a file beside those two, and each source that they have.

set(pellux_platform_Linux linux)
set(pellux_platform_Darwin macos)
if(NOT DEFINED pellux_platform_${CMAKE_SYSTEM_NAME})
  message(FATAL_ERROR "Pellux is made for Linux and macOS, not for ${CMAKE_SYSTEM_NAME}: "
                      "cmake/platform.cmake says what another platform takes.")
endif()
set(pellux_platform ${pellux_platform_${CMAKE_SYSTEM_NAME}})
include(platform_${pellux_platform})
