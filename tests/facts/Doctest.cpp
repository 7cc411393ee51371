// The test bed's library, which the questions use, refers to doctest. No test case is registered or run here.
#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>
