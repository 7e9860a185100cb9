# The target check_headers, not part of `all`: every header of ours compiles on its own, and twice, as our sources do.
# A new folder's headers are among them by themselves.

file(GLOB folders RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/*)
list(REMOVE_ITEM folders build)
list(TRANSFORM folders REPLACE "(.+)" "${PROJECT_SOURCE_DIR}/\\1/*.h")
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${folders})

set(sources)
foreach(header ${headers})
  set(source ${PROJECT_BINARY_DIR}/check_headers/${header}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${header}\"\n#include \"${header}\"\n")
  list(APPEND sources ${source})
endforeach()

add_library(check_headers OBJECT EXCLUDE_FROM_ALL ${sources})
pellux_compile(check_headers)
target_link_libraries(check_headers PRIVATE JsonCpp::JsonCpp GTest::gtest Threads::Threads)
