# How our code is compiled: pellux_compile says it for one target. Its parts are linked PRIVATE, so that nothing of them
# reaches a project that uses ours. Names of targets begin with "pellux_": others have a `project_options`, too.

set(PELLUX_SANITIZERS "" CACHE STRING "Sanitizers to build with, separated by commas: address,undefined or thread")

# Warnings are errors only where this project is the one being built: a newer compiler's new warning must not stop
# somebody who merely uses it.
add_library(pellux_warnings INTERFACE)
target_compile_options(pellux_warnings INTERFACE
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

add_library(pellux_sanitizers INTERFACE)
if(PELLUX_SANITIZERS)
  target_compile_options(pellux_sanitizers INTERFACE -fsanitize=${PELLUX_SANITIZERS} -fno-omit-frame-pointer)
  if(PELLUX_SANITIZERS STREQUAL "thread")
    # The thread sanitizer cannot follow the fences around plain fields; tests/tsan.supp says which fields these are.
    target_compile_options(pellux_sanitizers INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
  else()
    target_compile_options(pellux_sanitizers INTERFACE -fno-sanitize-recover=all)
  endif()
  target_link_options(pellux_sanitizers INTERFACE -fsanitize=${PELLUX_SANITIZERS})
endif()

# For what is shipped: file names in it are relative to the top folder then, and say nothing of where it was built.
option(PELLUX_HIDE_BUILD_PATHS "Leave no path of the build machine in what is built" OFF)
add_library(pellux_build_paths INTERFACE)
if(PELLUX_HIDE_BUILD_PATHS)
  target_compile_options(pellux_build_paths INTERFACE
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
    -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)
  target_link_options(pellux_build_paths INTERFACE ${pellux_hide_build_paths_when_linking})
endif()

# pellux_compile(target [WITHOUT_SANITIZERS])
#
# Compiles the target's sources as all of ours: C++17 without extensions, our warnings, hardened, and with headers found
# by their path from the top folder. WITHOUT_SANITIZERS is for small programs whose threads, memory or exit are looked
# at from outside.
function(pellux_compile target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "WITHOUT_SANITIZERS" "" "")
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE
    $<BUILD_INTERFACE:pellux_warnings>
    $<BUILD_INTERFACE:pellux_hardening>
    $<BUILD_INTERFACE:pellux_build_paths>)
  if(NOT arg_WITHOUT_SANITIZERS)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:pellux_sanitizers>)
  endif()
endfunction()
