# vela_test(<name> SOURCES <file>... [LIBRARIES <target>...] [LABELS <label>...] [CODEPAGE <1252|932>...]
#           [SECONDS <limit>] [PROCESSORS <number>] [ENVIRONMENT <variable=value>...] [ARGUMENTS <argument>...])
#
# One doctest program, <build>/tests/<name>.exe, and one CTest test for each code page (default: 1252; the test of
# another code page is called <name>.cp<number>). The names show where the sources are: unit.OrCommon,
# scenarios.install. The first part of the name is always a label of the test.
#
# A program has one processor (run_in_prefix.sh has the reason). PROCESSORS is for errors that occur only if two
# programs really run at the same time.
#
# Cross builds run each program under Wine in a separate prefix. It is a copy of the template that the CTest fixture
# `wine_prefix` makes. In a native build, the program itself refuses to run tests (tests/support/TestMain.cpp).
set(VELA_TEST_DIR "${CMAKE_BINARY_DIR}/tests")
set(VELA_TEST_PREFIX "${VELA_TEST_DIR}/prefix")
set(VELA_TEST_LOCALES "${VELA_TEST_DIR}/locales")
set(VELA_TEST_SUPPORT_DIR "${CMAKE_CURRENT_LIST_DIR}/support")

if(CMAKE_CROSSCOMPILING)
  find_program(VELA_BASH bash REQUIRED)
  add_test(NAME prefix.template
    COMMAND "${VELA_BASH}" "${VELA_TEST_SUPPORT_DIR}/make_prefix.sh" "${VELA_TEST_PREFIX}")
  set_tests_properties(prefix.template PROPERTIES FIXTURES_SETUP wine_prefix LABELS prefix TIMEOUT 300)
  add_test(NAME prefix.locale_932
    COMMAND "${VELA_BASH}" "${VELA_TEST_SUPPORT_DIR}/make_locale.sh" "${VELA_TEST_LOCALES}" ja_JP UTF-8)
  set_tests_properties(prefix.locale_932 PROPERTIES FIXTURES_SETUP locale_932 LABELS prefix TIMEOUT 60)
endif()

# vela_prefix_test(<name> <limit in seconds> <code page> <label;...> <variable=value;...> <program> [<argument>...])
# registers an existing program as a test. vela_test uses it, and so do tests of programs without doctest.
function(vela_prefix_test name seconds codepage labels environment)
  set(_command ${ARGN})
  set(_fixtures "")
  if(CMAKE_CROSSCOMPILING)
    list(PREPEND _command "${VELA_BASH}" "${VELA_TEST_SUPPORT_DIR}/run_in_prefix.sh" "${VELA_TEST_PREFIX}")
    list(APPEND environment "VELA_TEST_SECONDS=${seconds}")
    list(APPEND _fixtures wine_prefix)
    if(codepage EQUAL 932)
      list(APPEND environment "VELA_TEST_LOCALE=ja_JP.UTF-8" "LOCPATH=${VELA_TEST_LOCALES}")
      list(APPEND _fixtures locale_932)
    elseif(NOT codepage EQUAL 1252)
      message(FATAL_ERROR "${name}: no locale is known for code page ${codepage}")
    endif()
  endif()
  add_test(NAME ${name} COMMAND ${_command})
  # The runner's own limit is shorter: the runner can still clean up then, but not if it is killed.
  math(EXPR _timeout "${seconds} + 30")
  set_tests_properties(${name} PROPERTIES
    TIMEOUT ${_timeout} LABELS "${labels}" ENVIRONMENT "${environment}" FIXTURES_REQUIRED "${_fixtures}")
endfunction()

# The tests' own sources take most of the build time. So they are not optimised, and they share one compiled header.
function(vela_compile_quickly name)
  if(NOT MSVC)
    target_compile_options(${name} PRIVATE -O0 $<$<CONFIG:Release>:-U_FORTIFY_SOURCE>)
  endif()
  if(NOT name STREQUAL test_header)
    target_precompile_headers(${name} REUSE_FROM test_header)
  endif()
endfunction()

function(vela_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SECONDS;PROCESSORS" "SOURCES;LIBRARIES;LABELS;CODEPAGE;ENVIRONMENT;ARGUMENTS")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES)
    message(FATAL_ERROR "vela_test(${name}): no SOURCES, or unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT arg_SECONDS)
    set(arg_SECONDS 300)
  endif()
  if(arg_PROCESSORS)
    list(APPEND arg_ENVIRONMENT "VELA_TEST_PROCESSORS=${arg_PROCESSORS}")
  endif()
  if(NOT arg_CODEPAGE)
    set(arg_CODEPAGE 1252)
  endif()
  string(REGEX REPLACE "[.].*" "" _area "${name}")

  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE test_main ${arg_LIBRARIES} test_support vela_options)
  vela_compile_quickly(${name})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${VELA_TEST_DIR}")

  foreach(_codepage IN LISTS arg_CODEPAGE)
    set(_test ${name})
    if(NOT _codepage EQUAL 1252)
      set(_test ${name}.cp${_codepage})
    endif()
    vela_prefix_test(${_test} ${arg_SECONDS} ${_codepage} "${_area};${arg_LABELS}" "${arg_ENVIRONMENT}"
      "$<TARGET_FILE:${name}>" ${arg_ARGUMENTS})
    set_tests_properties(${_test} PROPERTIES RESOURCE_LOCK ${name})  # its approved text has one writer at a time
    if(arg_PROCESSORS)
      set_tests_properties(${_test} PROPERTIES PROCESSORS ${arg_PROCESSORS})
    endif()
  endforeach()
endfunction()
