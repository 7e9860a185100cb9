# Compiles on Linux for Macs with Intel's processors. scripts/macos-build puts in place what this takes.
set(MACOS_ARCH x86_64)
set(MACOS_MINIMUM 10.15)  # The first version with std::filesystem.
include(${CMAKE_CURRENT_LIST_DIR}/macos-cross.cmake)
