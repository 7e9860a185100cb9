# How to link, said after CMake's own files for the platform have been read. The linker is called directly. The one that
# comes with the compiler leaves `-exported_symbols_list` out of account, so that a library would export its static C++
# run-time library, `operator new` included, and the launcher would use it; and it has hidden names of that library
# looked up in every image of the process.

# CMake leaves this unset where it can't ask a Mac's `sw_vers`, and there would be no run paths.
set(CMAKE_SHARED_LIBRARY_RUNTIME_C_FLAG "-rpath ")

foreach(_language C CXX)
  string(JOIN " " _link
    "\"${MACOS_LINKER}\" -arch ${MACOS_ARCH} -platform_version macos ${MACOS_MINIMUM} 26.4"
    "-syslibroot \"${MACOS_TOOLS}/sdk\" -L\"${MACOS_TOOLS}/${MACOS_ARCH}/lib\""
    "-headerpad_max_install_names -dead_strip -fatal_warnings <LINK_FLAGS>")
  # The C library's copies of the compiler's helpers come first: they are the ones made for the machine.
  set(_libraries "<LINK_LIBRARIES> -lc++ -lc++abi -lSystem -lcompiler_rt")
  set(CMAKE_${_language}_LINK_FLAGS "")
  set(CMAKE_${_language}_LINKER_WRAPPER_FLAG "")  # "LINKER:-a,b" becomes "-a b".
  set(CMAKE_${_language}_VERBOSE_FLAG -v)         # It has a part for the linker, which no driver unwraps here.
  # Two commands each. The linker has no option for what the second one does.
  set(_bind_at_load "\"${MACOS_PYTHON}\" \"${CMAKE_CURRENT_LIST_DIR}/../../tools/macos/bind_at_load.py\" <TARGET>")
  set(CMAKE_${_language}_LINK_EXECUTABLE "${_link} <OBJECTS> -o <TARGET> ${_libraries}" "${_bind_at_load}")
  set(CMAKE_${_language}_CREATE_SHARED_LIBRARY
    "${_link} -dylib -o <TARGET> <SONAME_FLAG> <TARGET_INSTALLNAME_DIR><TARGET_SONAME> <OBJECTS> ${_libraries}"
    "${_bind_at_load}")
endforeach()
