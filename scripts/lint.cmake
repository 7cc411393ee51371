# CMake includes this after project() of the product, for scripts/lint.sh. Here clang only reads the sources. There is
# no shared header, because it would hide a missing include.
set(CMAKE_CXX_COMPILE_OBJECT
  "<CMAKE_CXX_COMPILER> <DEFINES> <INCLUDES> <FLAGS> -fsyntax-only <SOURCE>" "<CMAKE_COMMAND> -E touch <OBJECT>")
set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
separate_arguments(_warnings UNIX_COMMAND "-Wall -Wextra -Wpedantic -Wconversion -Wshadow-all -Wold-style-cast
  -Wnon-virtual-dtor -Wextra-semi -Wextra-semi-stmt -Wimplicit-fallthrough -Wunreachable-code -Wloop-analysis
  -Wstring-conversion -Wunused-member-function -Wunused-template -Wheader-hygiene -Wundefined-reinterpret-cast
  -Wcast-qual -Wdeprecated-copy-dtor -Wnewline-eof -Wover-aligned -Wmissing-noreturn -Werror")
add_compile_options(${_warnings})
# A fake in a test has all members, even if the test calls only some of them.
add_compile_options("$<$<PATH:IS_PREFIX,${CMAKE_SOURCE_DIR}/tests,$<TARGET_PROPERTY:SOURCE_DIR>>:-Wno-unused-member-function>")

# Each header as a separate source: it must include what it needs. (CMake's VERIFY_INTERFACE_HEADER_SETS needs every
# header in a file set of a library, and does not support executables.)
function(vela_lint_headers)
  file(GLOB_RECURSE headers RELATIVE "${CMAKE_SOURCE_DIR}" CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/*.h")
  list(FILTER headers EXCLUDE REGEX "^(build|scripts|tests/fuzz)")
  foreach(header IN LISTS headers)
    set(source "${CMAKE_BINARY_DIR}/headers/${header}.cpp")
    file(CONFIGURE OUTPUT "${source}" CONTENT "#include \"@header@\"\n" @ONLY)
    list(APPEND sources "${source}")
  endforeach()
  add_library(headers OBJECT ${sources})
  target_link_libraries(headers PRIVATE boost_headers doctest_headers vela_options)
  target_include_directories(headers PRIVATE "${CMAKE_SOURCE_DIR}")
  target_compile_options(headers PRIVATE -Wno-unused-template -Wno-unused-member-function -Wno-unused-function)
endfunction()

cmake_language(DEFER CALL vela_lint_headers)
