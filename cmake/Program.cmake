# vela_program(<name> <resource> SOURCES <file>... USES <library>...)
#
# A program that is shipped, in the build folder. <resource> is a template of a resource script, which also contains the
# manifest.
function(vela_program name resource)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "SOURCES;USES")
  string(REGEX REPLACE "[.]in$" "" _script "${resource}")
  configure_file("${resource}" "${_script}" @ONLY NEWLINE_STYLE UNIX)
  add_executable(${name} ${arg_SOURCES} "${CMAKE_CURRENT_BINARY_DIR}/${_script}")
  target_include_directories(${name} PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}")  # the script names the manifest
  target_link_libraries(${name} PRIVATE ${arg_USES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}")
  if(MSVC)
    target_link_options(${name} PRIVATE /MANIFEST:NO)  # the script carries the one manifest of every build
    return()
  endif()
  # What is shipped. The counters of a coverage build need more of Windows, and so may a compiler on Windows.
  if(CMAKE_CROSSCOMPILING AND NOT VELA_COVERAGE)
    set(_list "${PROJECT_SOURCE_DIR}/tests/build/Windows52Functions.cpp")
    set(_check "${PROJECT_SOURCE_DIR}/cmake/CheckImports.cmake")
    add_custom_command(TARGET ${name} POST_BUILD VERBATIM
      COMMAND "${CMAKE_COMMAND}" -D "OBJDUMP=${CMAKE_OBJDUMP}" -D "PROGRAM=$<TARGET_FILE:${name}>" -D "LIST=${_list}"
              -P "${_check}")
    set_target_properties(${name} PROPERTIES LINK_DEPENDS "${_list};${_check}")
  endif()
  # Tells which libraries went into the program; the release names them (scripts/package.py).
  target_link_options(${name} PRIVATE "-Wl,-Map=${CMAKE_BINARY_DIR}/${name}.map")
endfunction()
