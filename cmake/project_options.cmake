# What every target of this project is compiled with. Linked PRIVATE, so that nothing of it reaches a project that
# uses ours.

set(PELLUX_SANITIZERS "" CACHE STRING "Sanitizers to build with, separated by commas: address,undefined or thread")

# Warnings are errors only where this project is the one being built: a newer compiler's new warning must not stop
# somebody who merely uses it.
add_library(project_warnings INTERFACE)
target_compile_options(project_warnings INTERFACE
  -Wall
  -Wextra
  -Wpedantic
  -Wcast-align
  -Wconversion
  -Wformat=2
  -Wnon-virtual-dtor
  -Wold-style-cast
  -Woverloaded-virtual
  -Wshadow
  -Wsign-conversion
  -Wundef
  $<$<BOOL:${PROJECT_IS_TOP_LEVEL}>:-Werror>)

add_library(project_sanitizers INTERFACE)
if(PELLUX_SANITIZERS)
  target_compile_options(project_sanitizers INTERFACE -fsanitize=${PELLUX_SANITIZERS} -fno-omit-frame-pointer)
  if(PELLUX_SANITIZERS STREQUAL "thread")
    # The fences around plain fields are nothing that the thread sanitizer can follow; tests/tsan.supp says which
    # fields these are.
    target_compile_options(project_sanitizers INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
  else()
    target_compile_options(project_sanitizers INTERFACE -fno-sanitize-recover=all)
  endif()
  target_link_options(project_sanitizers INTERFACE -fsanitize=${PELLUX_SANITIZERS})
endif()

# For what is shipped: file names in it are relative to the top folder then, and say nothing of where it was built.
option(PELLUX_HIDE_BUILD_PATHS "Leave no path of the build machine in what is built" OFF)
add_library(project_build_paths INTERFACE)
if(PELLUX_HIDE_BUILD_PATHS)
  target_compile_options(project_build_paths INTERFACE
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
    -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)
  # A linker for macOS writes down where each object file lies.
  target_link_options(project_build_paths INTERFACE
    $<$<PLATFORM_ID:Darwin>:LINKER:-oso_prefix,${PROJECT_SOURCE_DIR}/>)
endif()

add_library(project_options INTERFACE)
target_link_libraries(project_options INTERFACE project_build_paths project_sanitizers project_warnings)

# The bundle lies in the build folder and runs where it lies.
set(PELLUX_BUNDLE_CONTENTS ${PROJECT_BINARY_DIR}/Pellux.app/Contents)
