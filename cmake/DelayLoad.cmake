# vela_delay_load(<target> <library> <function>...)
#
# The named functions of <library> are bound at their first call, not when the process starts: loading the shell's
# libraries doubles the start-up of a command that never needs them. With mingw-w64 the list is the contract: a function
# that is missing here would be imported the ordinary way, which tests/build/ImportTable reports.
function(vela_delay_load target library)
  if(MSVC)
    target_link_libraries(${target} INTERFACE ${library}.lib delayimp.lib)
    target_link_options(${target} INTERFACE /DELAYLOAD:${library}.dll)
    return()
  endif()
  set(_def "${CMAKE_CURRENT_BINARY_DIR}/${library}.def")
  set(_lib "${CMAKE_CURRENT_BINARY_DIR}/lib${library}_delay.a")
  string(REPLACE ";" "\n  " _names "${ARGN}")
  file(CONFIGURE OUTPUT "${_def}" CONTENT "LIBRARY ${library}.dll\nEXPORTS\n  ${_names}\n" @ONLY NEWLINE_STYLE UNIX)
  find_program(VELA_DLLTOOL NAMES x86_64-w64-mingw32-dlltool dlltool REQUIRED)
  add_custom_command(OUTPUT "${_lib}"
    COMMAND "${VELA_DLLTOOL}" -d "${_def}" -y "${_lib}"
    DEPENDS "${_def}" VERBATIM COMMENT "Delay-load library for ${library}.dll")
  add_custom_target(${library}_delay_file DEPENDS "${_lib}")
  add_library(${library}_delay STATIC IMPORTED GLOBAL)
  set_target_properties(${library}_delay PROPERTIES IMPORTED_LOCATION "${_lib}")
  target_link_libraries(${library}_delay INTERFACE delayimp)
  add_dependencies(${library}_delay ${library}_delay_file)
  add_dependencies(${target} ${library}_delay_file)
  target_link_libraries(${target} INTERFACE ${library}_delay)
endfunction()
