# What is Linux's own in the build. platform_macos.cmake sets the same names.

set(pellux_executable_folder $ORIGIN)       # In a run path: where the program lies.
set(pellux_uuid_libraries uuid)             # What `uuid_generate_random` is part of.
set(pellux_nm_exports -D --defined-only)    # How `nm` lists what a library exports.
set(pellux_hide_build_paths_when_linking)   # Linkers write no path down.

# pellux_link_program(target): what linking one of the bundle's programs takes.
function(pellux_link_program target)
endfunction()

# pellux_link_liblogger(target): what linking the logging library takes. It exports what exports_linux.txt says.
function(pellux_link_liblogger target)
  set(exports ${CMAKE_CURRENT_SOURCE_DIR}/exports_linux.txt)
  # What a fork runs in the child, and the loggers, must stay in place.
  target_link_options(${target} PRIVATE LINKER:--version-script,${exports} LINKER:-z,nodelete)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${exports})
endfunction()
