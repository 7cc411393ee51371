// What an operation of the common library threw.
#pragma once

#include <windows.h>

#include <cstring>
#include <memory>
#include <string>
#include <typeinfo>

#include "Common/OrCommon/OrComn_Registry.h"

namespace OrCommonTests {

inline constexpr char kRegistrySource[] = "..\\..\\Common\\OrCommon\\OrComn_Registry.cpp";

struct ThrownFailure {
  std::string what = "nothing";  // "registry <code>" or "storage <code>", "elsewhere ..." from another source file
  DWORD line = 0;
};

// Runs `operation` and returns what it threw. Like a caller, it catches a pointer to the exceptions' base class, reads
// it and deletes the exception through it.
template <class Operation>
ThrownFailure FailureOf(const Operation& operation) {
  try {
    operation();
  } catch (OrCommon::Exception::Base* failure) {
    const std::unique_ptr<OrCommon::Exception::Base> owner(failure);
    const std::type_info& type = typeid(*failure);
    const std::string kind = type == typeid(OrCommon::Storage::RegException) ? "registry "
                             : type == typeid(OrCommon::Storage::Exception)  ? "storage "
                                                                             : "other ";
    const bool isKnown = std::strcmp(failure->File(), kRegistrySource) == 0;
    return {(isKnown ? "" : "elsewhere ") + kind + std::to_string(failure->Code()), failure->Line()};
  }
  return {};
}

}  // namespace OrCommonTests

// CHECK_FAILS(key.Flush(), "registry 5")
#define CHECK_FAILS(expression, wanted) \
  CHECK_MESSAGE(::OrCommonTests::FailureOf([&] { static_cast<void>(expression); }).what == (wanted), #expression)
