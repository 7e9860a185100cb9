# What is macOS's own in the build. platform_linux.cmake sets the same names.

set(pellux_executable_folder @executable_path)  # In a run path: where the program lies.
set(pellux_link_uuid)                           # `uuid_generate_random` is part of the system's library.
set(pellux_nm_exports -gU)                      # How `nm` lists what a library exports.
# A linker writes down where each object file lies.
set(pellux_hide_build_paths_when_linking LINKER:-oso_prefix,${PROJECT_SOURCE_DIR}/)

# The system's linker does most by itself: programs may be loaded anywhere, and their constants are read-only. A child
# between `fork` and `execv` must not wait for the loader's locks, so nothing is bound at its first use; in a build on
# Linux the toolchain sees to that.
set(pellux_hardening_flags -fstack-protector-strong)
set(pellux_hardening_link_flags)
if(NOT CMAKE_CROSSCOMPILING)
  set(pellux_hardening_link_flags LINKER:-bind_at_load)
endif()

# pellux_link_program(target): what linking one of the bundle's programs takes. Each carries a property list of its own:
# the system shows its identifier, name and version where it asks the user about the program, and signs with the former.
function(pellux_link_program target)
  set(pellux_program ${target})
  set(plist ${PROJECT_BINARY_DIR}/Info-${target}.plist)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/macos/Info.plist.in ${plist} @ONLY)
  # A program exports nothing that another image could take for its own, `operator new` for one; only its header, which
  # the system asks for. Linkers sign by themselves for Apple's processors only.
  target_link_options(${target} PRIVATE
    LINKER:-exported_symbol,__mh_execute_header
    LINKER:-sectcreate,__TEXT,__info_plist,${plist}
    LINKER:-adhoc_codesign)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${plist})
endfunction()

# pellux_link_liblogger(target): what linking the logging library takes. It exports what exports_macos.txt says.
function(pellux_link_liblogger target)
  set(exports ${CMAKE_CURRENT_SOURCE_DIR}/exports_macos.txt)
  # Beside the two functions a linker exports what the C++ library's headers leave visible, such as type information.
  target_link_options(${target} PRIVATE LINKER:-exported_symbols_list,${exports} LINKER:-adhoc_codesign)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${exports})
  set_target_properties(${target} PROPERTIES
    MACHO_COMPATIBILITY_VERSION 1.0.0
    MACHO_CURRENT_VERSION ${PROJECT_VERSION})
endfunction()
