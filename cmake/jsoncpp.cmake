# Finds jsoncpp, which is 1.9.5 everywhere: other versions accept and refuse other documents.
#
#   JsonCpp::JsonCpp        what the common library and its users link: the installed library; on macOS the next one
#   pellux_jsoncpp          its sources, compiled into a static library; there only where something links it
#   pellux_link_jsoncpp     what `common` links: on Linux, a self-contained bundle's programs get the second one

set(pellux_link_jsoncpp JsonCpp::JsonCpp)
set(pellux_installs_jsoncpp OFF)

# A project that adds this one may have found jsoncpp already.
set(links_sources ${PELLUX_SELF_CONTAINED})
if(pellux_platform STREQUAL "linux")
  if(NOT TARGET JsonCpp::JsonCpp)
    find_package(jsoncpp 1.9.5 EXACT CONFIG REQUIRED)
  endif()
elseif(NOT TARGET JsonCpp::JsonCpp)
  set(links_sources ON)
endif()
if(NOT links_sources)
  return()
endif()

# Debian has them, under this name; scripts/fetch-jsoncpp gets them from there.
file(READ ${CMAKE_CURRENT_LIST_DIR}/jsoncpp.sha256 checksum)
string(REGEX MATCH "^([0-9a-f]+)  ([^\n]+)" checksum ${checksum})
set(checksum ${CMAKE_MATCH_1})
set(debian_archive ${PROJECT_SOURCE_DIR}/.cache/jsoncpp/${CMAKE_MATCH_2})
find_program(PELLUX_APT_GET apt-get NO_CMAKE_FIND_ROOT_PATH)
if(PELLUX_APT_GET)
  set(default_archive ${debian_archive})
else()
  set(default_archive https://github.com/open-source-parsers/jsoncpp/archive/refs/tags/1.9.5.tar.gz)
endif()
set(PELLUX_JSONCPP_ARCHIVE ${default_archive} CACHE STRING "Path or URL of the source archive of jsoncpp 1.9.5")
if(PELLUX_JSONCPP_ARCHIVE STREQUAL debian_archive AND NOT EXISTS ${debian_archive})
  execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/fetch-jsoncpp COMMAND_ERROR_IS_FATAL ANY)
endif()

include(FetchContent)
# Only unpacked: the archive's own CMake files would move everybody's output folders.
FetchContent_Declare(jsoncpp
  URL ${PELLUX_JSONCPP_ARCHIVE}
  URL_HASH SHA256=${checksum}
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
set_target_properties(pellux_jsoncpp PROPERTIES
  CXX_EXTENSIONS OFF
  CXX_VISIBILITY_PRESET hidden
  POSITION_INDEPENDENT_CODE ON)

if(TARGET JsonCpp::JsonCpp)
  # Its header files are the same, so that one compilation of `common` goes with both.
  set(pellux_link_jsoncpp
    $<BUILD_INTERFACE:$<IF:$<BOOL:$<TARGET_PROPERTY:PELLUX_IN_BUNDLE>>,pellux_jsoncpp,JsonCpp::JsonCpp>>
    $<INSTALL_INTERFACE:JsonCpp::JsonCpp>)
else()
  add_library(JsonCpp::JsonCpp ALIAS pellux_jsoncpp)
  set(pellux_installs_jsoncpp ON)
endif()
