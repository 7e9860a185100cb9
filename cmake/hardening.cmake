# What a distribution hardens its programs with, so that a mistake in ours is stopped before it is exploited:
# pellux_compile gives it to every target. tests/binaries_test.py looks for it in the finished binaries.
#
# Builds that are optimised, and have no sanitizer, get the flags of the platform and FORTIFY at the level that compiler
# and C library carry. The others, which developers test with, have the standard library check its preconditions.

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

check_pie_supported(LANGUAGES CXX)

# A flag for another processor is a warning with some compilers.
set(CMAKE_REQUIRED_FLAGS -Werror)
set(supported_flags)
foreach(flag ${pellux_hardening_flags})
  string(MAKE_C_IDENTIFIER PELLUX_HAS${flag} has_flag)
  check_cxx_compiler_flag(${flag} ${has_flag})
  if(${has_flag})
    list(APPEND supported_flags ${flag})
  endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)

# Where level 3 is not carried, a warning says that it is taken for 2.
set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <cstdio>\nint main() { return 0; }" PELLUX_HAS_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)
if(PELLUX_HAS_FORTIFY_3)
  set(fortify_level 3)
else()
  set(fortify_level 2)
endif()

# Some compilers define a level of their own accord, which can't be defined again.
set(flags ${supported_flags} -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${fortify_level})

add_library(pellux_hardening INTERFACE)
set(is_optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
if(PELLUX_SANITIZERS)
  set(is_optimised 0)
endif()
target_compile_options(pellux_hardening INTERFACE "$<${is_optimised}:${flags}>")
target_compile_definitions(pellux_hardening INTERFACE "$<$<NOT:${is_optimised}>:_GLIBCXX_ASSERTIONS>")
target_link_options(pellux_hardening INTERFACE "$<${is_optimised}:${pellux_hardening_link_flags}>")
