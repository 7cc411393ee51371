// A small substitute for the doctest header, for cppcheck (scripts/lint.sh): with it, cppcheck reads a test case as a
// function and a check as a condition.
#pragma once

#define VELA_JOIN_NAMES(one, other) one##other
#define VELA_JOIN(one, other) VELA_JOIN_NAMES(one, other)
#define VELA_TEST_FUNCTION VELA_JOIN(TestCase, __LINE__)

#define TEST_CASE(name) static void VELA_TEST_FUNCTION()
#define TEST_CASE_TEMPLATE(name, type, ...) \
  template <typename type>                  \
  static void VELA_TEST_FUNCTION()
#define TEST_CASE_FIXTURE(fixture, name)        \
  struct VELA_TEST_FUNCTION : private fixture { \
    void Run();                                 \
  };                                            \
  void VELA_TEST_FUNCTION::Run()
#define SUBCASE(name) if (name[0] != 0)
