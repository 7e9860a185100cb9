# The application bundle. It lies in the build folder and runs where it lies, and from wherever it is copied to:
#
#   Pellux.app/Contents/MacOS/       the programs; each add_bundle_program adds one
#   Pellux.app/Contents/Frameworks/  the logging library
#   Pellux.app/Contents/Resources/   the settings file that names the SDK
#
# Its name and the list of its programs stand here and nowhere else. Scripts, tests and the inspector of the bundle for
# macOS read them from bundle.txt in the build folder: lines of the form KEY=VALUE, several values apart by spaces.

set(pellux_bundle_name Pellux.app)
set(pellux_bundle ${PROJECT_BINARY_DIR}/${pellux_bundle_name})

set(pellux_sdk_file ${pellux_bundle}/Contents/Resources/qz3api.ini)
add_custom_command(
  OUTPUT ${pellux_sdk_file}
  COMMAND ${CMAKE_COMMAND} -E copy ${PROJECT_SOURCE_DIR}/packaging/bundle/qz3api.ini ${pellux_sdk_file}
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/bundle/qz3api.ini)
add_custom_target(bundle ALL DEPENDS ${pellux_sdk_file})

# add_bundle_program(name SOURCE...)
#
# Adds the executable `name`, one of the bundle's programs. It finds the logging library by its own place, and is built
# with the target `bundle`. What it links is said as for every other target.
function(add_bundle_program name)
  add_executable(${name} ${ARGN})
  pellux_compile(${name})
  pellux_link_program(${name})
  set_target_properties(${name} PROPERTIES
    PELLUX_IN_BUNDLE ON  # On Linux, for what a self-contained bundle's programs link.
    RUNTIME_OUTPUT_DIRECTORY ${pellux_bundle}/Contents/MacOS$<0:>
    BUILD_WITH_INSTALL_RPATH ON
    INSTALL_RPATH ${pellux_executable_folder}/../Frameworks)
  add_dependencies(bundle ${name})
  set_property(TARGET bundle APPEND PROPERTY PELLUX_PROGRAMS ${name})
endfunction()

# add_bundle_library(name): puts the shared library `name`, which exists already, into the bundle.
function(add_bundle_library name)
  set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${pellux_bundle}/Contents/Frameworks$<0:>)
  add_dependencies(bundle ${name})
endfunction()

file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/bundle.txt CONTENT
"name=${pellux_bundle_name}
version=${PROJECT_VERSION}
programs=$<JOIN:$<TARGET_PROPERTY:bundle,PELLUX_PROGRAMS>, >
")
