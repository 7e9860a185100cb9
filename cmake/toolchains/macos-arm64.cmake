# Compiles on Linux for Macs with Apple's processors. scripts/macos-build puts in place what this takes.
set(MACOS_ARCH arm64)
set(MACOS_MINIMUM 11.0)  # The first version for these.
include(${CMAKE_CURRENT_LIST_DIR}/macos-cross.cmake)
