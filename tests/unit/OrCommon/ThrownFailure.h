// What an operation of the common library threw.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <typeinfo>

#include "Common/OrCommon/OrComn_Registry.h"

namespace OrCommonTests {

struct ThrownFailure {
  enum class Kind { kNone, kStorage, kRegistry, kOther };

  Kind kind = Kind::kNone;
  DWORD code = 0;
  DWORD line = 0;
  std::string file = {};
};

// Runs `operation` and gives back what it threw, as callers do: caught as a pointer to the root of the exceptions,
// read, and deleted through it.
template <class Operation>
ThrownFailure FailureOf(const Operation& operation) {
  try {
    operation();
  } catch (OrCommon::Exception::Base* failure) {
    const std::unique_ptr<OrCommon::Exception::Base> owner(failure);
    const std::type_info& type = typeid(*failure);
    using Kind = ThrownFailure::Kind;
    const Kind kind = type == typeid(OrCommon::Storage::RegException) ? Kind::kRegistry
                      : type == typeid(OrCommon::Storage::Exception)  ? Kind::kStorage
                                                                      : Kind::kOther;
    return {kind, failure->Code(), failure->Line(), failure->File()};
  }
  return {};
}

}  // namespace OrCommonTests

// CHECK_FAILS(key.Flush(), kRegistry, ERROR_ACCESS_DENIED)
#define CHECK_FAILS(expression, expectedKind, expectedCode)                                                           \
  do {                                                                                                                \
    const ::OrCommonTests::ThrownFailure thrown = ::OrCommonTests::FailureOf([&] { static_cast<void>(expression); }); \
    CHECK_MESSAGE(thrown.kind == ::OrCommonTests::ThrownFailure::Kind::expectedKind, #expression);                    \
    CHECK_MESSAGE(thrown.code == static_cast<DWORD>(expectedCode), #expression);                                      \
    CHECK_MESSAGE(thrown.file == "..\\..\\Common\\OrCommon\\OrComn_Registry.cpp", #expression);                       \
  } while (false)
