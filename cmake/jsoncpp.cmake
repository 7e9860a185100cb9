# Finds jsoncpp, the target JsonCpp::JsonCpp: on macOS its sources, compiled into a static library, so that the bundle
# needs nothing beside itself; elsewhere the installed library. It is 1.9.5 on both: later versions accept and refuse other
# documents.

# A project that adds this one may have found jsoncpp already.
if(TARGET JsonCpp::JsonCpp)
  return()
endif()
if(pellux_platform STREQUAL "linux")
  find_package(jsoncpp 1.9.5 CONFIG REQUIRED)
  return()
endif()

set(PELLUX_JSONCPP_ARCHIVE https://github.com/open-source-parsers/jsoncpp/archive/refs/tags/1.9.5.tar.gz
    CACHE STRING "Path or URL of the source archive of jsoncpp 1.9.5")

include(FetchContent)
# Only unpacked: the archive's own CMake files would move everybody's output folders.
FetchContent_Declare(jsoncpp
  URL ${PELLUX_JSONCPP_ARCHIVE}
  URL_HASH SHA256=f409856e5920c18d0c2fb85276e24ee607d2a09b5e7d5f0a371368903c275da2
  SOURCE_SUBDIR nothing-to-configure)
FetchContent_MakeAvailable(jsoncpp)

add_library(pellux_jsoncpp STATIC
  ${jsoncpp_SOURCE_DIR}/src/lib_json/json_reader.cpp
  ${jsoncpp_SOURCE_DIR}/src/lib_json/json_value.cpp
  ${jsoncpp_SOURCE_DIR}/src/lib_json/json_writer.cpp)
target_compile_features(pellux_jsoncpp PUBLIC cxx_std_17)
target_compile_options(pellux_jsoncpp PRIVATE -w)
target_include_directories(pellux_jsoncpp SYSTEM PUBLIC $<BUILD_INTERFACE:${jsoncpp_SOURCE_DIR}/include>)
target_link_libraries(pellux_jsoncpp PRIVATE $<BUILD_INTERFACE:pellux_hardening> $<BUILD_INTERFACE:pellux_build_paths>)
set_target_properties(pellux_jsoncpp PROPERTIES CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden)
add_library(JsonCpp::JsonCpp ALIAS pellux_jsoncpp)
