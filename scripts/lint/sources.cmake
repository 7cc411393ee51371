# Included by CMake behind project() of the product (scripts/lint.sh). Compiling means reading: clang's warnings, and
# clang-tidy where -DVELA_TIDY=product or all. Ninja remembers which files had no fault.
set(CMAKE_CXX_COMPILE_OBJECT
  "<CMAKE_CXX_COMPILER> <DEFINES> <INCLUDES> <FLAGS> -fsyntax-only <SOURCE>" "<CMAKE_COMMAND> -E touch <OBJECT>")
set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)  # a shared header hides what a source forgets to include
separate_arguments(_warnings UNIX_COMMAND "-Wall -Wextra -Wpedantic -Wconversion -Wshadow-all -Wold-style-cast
  -Wnon-virtual-dtor -Wextra-semi -Wextra-semi-stmt -Wimplicit-fallthrough -Wunreachable-code -Wloop-analysis
  -Wstring-conversion -Wunused-member-function -Wunused-template -Wheader-hygiene -Wundefined-reinterpret-cast
  -Wcast-qual -Wdeprecated-copy-dtor -Wnewline-eof -Wover-aligned -Wmissing-noreturn -Werror")
add_compile_options(${_warnings})

function(vela_lint_folder folder)
  get_property(targets DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "UTILITY" OR type STREQUAL "INTERFACE_LIBRARY")
      continue()
    endif()
    if(folder MATCHES "/tests(/|$)")
      # A stand-in is complete, whichever of its members a test calls.
      target_compile_options(${target} PRIVATE -Wno-unused-member-function)
    endif()
    if(VELA_TIDY STREQUAL "all" OR (VELA_TIDY STREQUAL "product" AND NOT folder MATCHES "/tests(/|$)"))
      set_target_properties(${target} PROPERTIES CXX_CLANG_TIDY "clang-tidy;--quiet")
    endif()
  endforeach()
  get_property(below DIRECTORY "${folder}" PROPERTY SUBDIRECTORIES)
  foreach(one IN LISTS below)
    vela_lint_folder("${one}")
  endforeach()
endfunction()

# Each header by itself, to see that it includes what it needs. CMake's own check (VERIFY_INTERFACE_HEADER_SETS) wants
# every header listed in a file set of a library.
function(vela_lint_headers)
  file(GLOB_RECURSE headers RELATIVE "${CMAKE_SOURCE_DIR}" CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/*.h")
  list(FILTER headers EXCLUDE REGEX "^(build|tests/fuzz)|^scripts/cppcheck")
  foreach(header IN LISTS headers)
    file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/headers/${header}.cpp" CONTENT "#include \"@header@\"\n" @ONLY)
    list(APPEND sources "${CMAKE_BINARY_DIR}/headers/${header}.cpp")
  endforeach()
  add_library(headers OBJECT ${sources})
  target_link_libraries(headers PRIVATE test_main test_support boost_headers vela_options)
  target_include_directories(headers PRIVATE "${CMAKE_SOURCE_DIR}")
  target_compile_options(headers PRIVATE -Wno-unused-template -Wno-unused-member-function -Wno-unused-function)
endfunction()

cmake_language(DEFER CALL vela_lint_headers)
cmake_language(DEFER CALL vela_lint_folder "${CMAKE_SOURCE_DIR}")
