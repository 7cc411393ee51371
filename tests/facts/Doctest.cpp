// The questions use the test support library, which refers to doctest. No test case is registered or run here.
#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>
