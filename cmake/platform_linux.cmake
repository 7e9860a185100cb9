# What is Linux's own in the build. platform_macos.cmake sets the same names.

set(pellux_executable_folder $ORIGIN)       # In a run path: where the program lies.
set(pellux_nm_exports -D --defined-only)    # How `nm` lists what a library exports.
set(pellux_hide_build_paths_when_linking)   # Linkers write no path down.

option(PELLUX_SELF_CONTAINED "The bundle's binaries have their libraries inside, so that it runs anywhere" OFF)

# What `uuid_generate_random` is part of.
set(pellux_link_uuid uuid)
if(PELLUX_SELF_CONTAINED)
  set(pellux_link_uuid
    $<BUILD_INTERFACE:$<IF:$<BOOL:$<TARGET_PROPERTY:PELLUX_IN_BUNDLE>>,-l:libuuid.a,uuid>>
    $<INSTALL_INTERFACE:uuid>)
endif()

# What the compiler carries of these; the last two are for one kind of processor each.
set(pellux_hardening_flags
  -fstack-protector-strong
  -fstack-clash-protection
  -fcf-protection
  -mbranch-protection=standard)
# What the dynamic linker writes when a program starts can't be written to later.
set(pellux_hardening_link_flags LINKER:-z,relro LINKER:-z,now)

# The C++ library inside, for each binary its own copy. Nothing of it is exported, so that none takes another's; what
# nobody uses stays out, because the dynamic linker's work in it is memory and time of every start.
function(pellux_link_libraries_inside target)
  if(PELLUX_SELF_CONTAINED)
    target_link_options(${target} PRIVATE
      -static-libstdc++ -static-libgcc LINKER:--exclude-libs,ALL LINKER:--gc-sections)
  endif()
endfunction()

# pellux_link_program(target): what linking one of the bundle's programs takes.
function(pellux_link_program target)
  pellux_link_libraries_inside(${target})
endfunction()

# pellux_link_liblogger(target): what linking the logging library takes. It exports what exports_linux.txt says.
function(pellux_link_liblogger target)
  pellux_link_libraries_inside(${target})
  set(exports ${CMAKE_CURRENT_SOURCE_DIR}/exports_linux.txt)
  # What a fork runs in the child, and the loggers, must stay in place.
  target_link_options(${target} PRIVATE LINKER:--version-script,${exports} LINKER:-z,nodelete)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${exports})
endfunction()
