// What the registry classes throw, and that nothing of it stays on the heap.
#ifndef _MSC_VER
#include <cxxabi.h>
#endif
#include <doctest/doctest.h>

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "Common/OrCommon/OrComn_Registry.h"
#include "tests/support/CallFailures.h"
#include "tests/unit/OrCommon/HeapWatch.h"
#include "tests/unit/OrCommon/ScratchKey.h"
#include "tests/unit/OrCommon/ThrownFailure.h"

using OrCommon::Storage::Base;
using OrCommon::Storage::Exception;
using OrCommon::Storage::Key;
using OrCommon::Storage::RegException;
using OrCommon::Storage::Registry;
using OrCommon::Storage::StringKind;
using OrCommon::Storage::View;
using OrCommonTests::FailureOf;
using OrCommonTests::LiveBlocks;
using OrCommonTests::ScratchKey;
using OrCommonTests::Store;
using OrCommonTests::ThrownFailure;
using TestSupport::CountCalls;
using TestSupport::FailCall;

namespace {

using Kind = ThrownFailure::Kind;
constexpr char kFile[] = "..\\..\\Common\\OrCommon\\OrComn_Registry.cpp";

// An operation on a key and on a place that holds one, and the call of Windows behind it.
struct Operation {
  const char* name;
  const char* function;
  std::function<void(Key&)> onKey;
  std::function<void(Base&)> onPlace;
  unsigned failingCall = 1;
};

const std::vector<Operation>& Operations() {
  static std::wstring found;
  static DWORD type;
  static const std::vector<Operation> operations = {
      {"close", "RegCloseKey", [](Key& key) { key.Close(); }, [](Base& place) { place.Close(); }},
      {"flush", "RegFlushKey", [](Key& key) { key.Flush(); }, [](Base& place) { place.Flush(); }},
      {"query 32-bit number", "RegQueryValueExW", [](Key& key) { key.QueryNumber32(L"Number"); },
       [](Base& place) { place.QueryNumber32(L"Number"); }},
      {"query 64-bit number", "RegQueryValueExW", [](Key& key) { key.QueryNumber64(L"Number"); },
       [](Base& place) { place.QueryNumber64(L"Number"); }},
      {"query string, its size", "RegQueryValueExW", [](Key& key) { key.QueryString(L"Text"); },
       [](Base& place) { place.QueryString(L"Text"); }},
      {"query string, its data", "RegQueryValueExW", [](Key& key) { key.QueryString(L"Text"); },
       [](Base& place) { place.QueryString(L"Text"); }, 2},
      {"query data, their size", "RegQueryValueExW", [](Key& key) { key.QueryData(L"Bytes", type); },
       [](Base& place) { place.QueryBinary(L"Bytes"); }},
      {"query data, themselves", "RegQueryValueExW", [](Key& key) { key.QueryData(L"Bytes", type); },
       [](Base& place) { place.QueryBinary(L"Bytes"); }, 2},
      {"set 32-bit number", "RegSetValueExW",
       [](Key& key) {
         key.SetNumber32({L"New", 1});
       },
       [](Base& place) {
         place.SetNumber32({L"New", 1});
       }},
      {"set 64-bit number", "RegSetValueExW",
       [](Key& key) {
         key.SetNumber64({L"New", 1});
       },
       [](Base& place) {
         place.SetNumber64({L"New", 1});
       }},
      {"set string", "RegSetValueExW",
       [](Key& key) {
         key.SetString({L"New", L"text"}, StringKind::kPlain);
       },
       [](Base& place) {
         place.SetString({L"New", L"text"}, StringKind::kPlain);
       }},
      {"set binary", "RegSetValueExW",
       [](Key& key) {
         key.SetBinary({L"New", {1}});
       },
       [](Base& place) {
         place.SetBinary({L"New", {1}});
       }},
      {"delete key", "RegDeleteKeyW", [](Key& key) { key.DeleteKey(L"Sub"); },
       [](Base& place) { place.DeleteKey(L"Sub"); }},
      {"delete value", "RegDeleteValueW", [](Key& key) { key.DeleteValue(L"Text"); },
       [](Base& place) { place.DeleteValue(L"Text"); }},
      {"enumerate subkeys", "RegEnumKeyExW", [](Key& key) { key.EnumerateSubkey(0, found); },
       [](Base& place) { place.EnumerateSubkey(0, found); }},
      {"enumerate values", "RegEnumValueW", [](Key& key) { key.EnumerateValue(0, found); },
       [](Base& place) { place.EnumerateValue(0, found); }},
  };
  return operations;
}

const char* const kCalls[] = {"RegCloseKey",   "RegFlushKey",     "RegQueryValueExW", "RegSetValueExW",
                              "RegDeleteKeyW", "RegDeleteValueW", "RegEnumKeyExW",    "RegEnumValueW"};

// A key with something for every operation to work on.
struct Fixture {
  ScratchKey scratch{L"VelaRegistryFailureTests"};
  std::wstring path = scratch.Path();
  Fixture() {
    Store(path, L"Number", REG_DWORD, {1, 0, 0, 0});
    Store(path, L"Text", REG_SZ, {'a', 0, 0, 0});
    Store(path, L"Bytes", REG_BINARY, {1, 2, 3});
    Store(path + L"\\Sub", L"x", REG_SZ, {});
  }
};

TEST_CASE("an operation on a key that is not open asks nothing of Windows: code 6, line 874") {
  std::vector<std::unique_ptr<CountCalls>> counts;
  for (const char* const function : kCalls) {
    counts.push_back(std::make_unique<CountCalls>(function));
  }
  for (const Operation& operation : Operations()) {
    CAPTURE(operation.name);
    Key key;
    const ThrownFailure failure = FailureOf([&] { operation.onKey(key); });
    CHECK(failure.kind == Kind::kStorage);
    CHECK(failure.code == 6);
    CHECK(failure.line == 874);
    CHECK(failure.file == kFile);
    Registry place(HKEY_LOCAL_MACHINE, L"Software", View::k64Bit);
    const ThrownFailure placeFailure = FailureOf([&] { operation.onPlace(place); });
    CHECK(placeFailure.kind == Kind::kStorage);
    CHECK(placeFailure.code == 6);
    CHECK(placeFailure.line == 874);
  }
  for (const auto& count : counts) {
    CHECK(count->Calls() == 0);
  }
}

TEST_CASE_FIXTURE(Fixture, "an operation on a key that was closed is one on a key that is not open") {
  for (const Operation& operation : Operations()) {
    CAPTURE(operation.name);
    Key key;
    key.OpenForReading(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
    key.Close();
    const ThrownFailure failure = FailureOf([&] { operation.onKey(key); });
    CHECK(failure.code == 6);
    CHECK(failure.line == 874);
  }
}

TEST_CASE_FIXTURE(Fixture, "a failing call of Windows is thrown with what it returned, from its own line") {
  std::set<DWORD> lines;
  for (const Operation& operation : Operations()) {
    CAPTURE(operation.name);
    for (const bool onPlace : {false, true}) {
      Key key;
      key.OpenForEnumerating(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
      Registry place(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
      place.OpenForEnumerating();
      ThrownFailure failure;
      {
        const FailCall fails{operation.function, operation.failingCall, ERROR_NOT_ENOUGH_QUOTA};
        failure = FailureOf([&] { onPlace ? operation.onPlace(place) : operation.onKey(key); });
        CHECK(fails.Failed() == 1);
      }
      CHECK(failure.kind == Kind::kRegistry);
      CHECK(failure.code == ERROR_NOT_ENOUGH_QUOTA);
      CHECK(failure.file == kFile);
      lines.insert(failure.line);
    }
  }
  // Both kinds of numbers are read in one place, and so are texts and data.
  CHECK(lines.size() == Operations().size() - 3);
  CHECK(lines.count(0) == 0);
  CHECK(lines.count(874) == 0);
  CHECK(lines.count(885) == 0);
}

TEST_CASE_FIXTURE(Fixture, "a failing open or create is thrown with what it returned, from its own line") {
  std::set<DWORD> lines;
  const auto check = [&](const char* function, const std::function<void(Key&)>& open) {
    Key key;
    ThrownFailure failure;
    {
      const FailCall fails{function, 1, ERROR_ACCESS_DENIED};
      failure = FailureOf([&] { open(key); });
      CHECK(fails.Failed() == 1);
    }
    CHECK(failure.kind == Kind::kRegistry);
    CHECK(failure.code == ERROR_ACCESS_DENIED);
    CHECK(failure.file == kFile);
    CHECK_FALSE(key.IsOpen());
    lines.insert(failure.line);
  };
  check("RegOpenKeyExW", [&](Key& key) { key.OpenForReading(HKEY_LOCAL_MACHINE, path, View::k64Bit); });
  check("RegOpenKeyExW", [&](Key& key) { key.OpenForWriting(HKEY_LOCAL_MACHINE, path, View::k64Bit); });
  check("RegOpenKeyExW", [&](Key& key) { key.OpenForEnumerating(HKEY_LOCAL_MACHINE, path, View::k64Bit); });
  check("RegCreateKeyExW", [&](Key& key) { key.Create(HKEY_LOCAL_MACHINE, path, View::k64Bit); });
  CHECK(lines.size() == 4);
  CHECK(lines.count(874) == 0);
  CHECK(lines.count(885) == 0);
}

TEST_CASE_FIXTURE(Fixture, "a failing operation leaves the key open and its handle to be closed once") {
  const CountCalls closes{"RegCloseKey"};
  {
    Key key;
    key.OpenForReading(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
    const ThrownFailure failure = FailureOf([&] { key.QueryNumber32(L"No such value"); });
    CHECK(failure.kind == Kind::kRegistry);
    CHECK(failure.code == ERROR_FILE_NOT_FOUND);
    CHECK(key.IsOpen());
    CHECK(key.QueryNumber32(L"Number") == 1);
  }
  CHECK(closes.Calls() == 1);
}

TEST_CASE_FIXTURE(Fixture, "every exception is given back to the heap by who catches it") {
  Key closedKey;
  Registry place(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
  place.OpenForReading();
  std::wstring text;
  std::vector<BYTE> bytes;
  std::uint64_t number64 = 0;
  DWORD number32 = 0;
  DWORD error = 0;
  Operations();                           // made once and kept
  FailureOf([&] { closedKey.Flush(); });  // and so may be something at the first throw
  const long long before = LiveBlocks();
  FailureOf([&] { closedKey.OpenForReading(nullptr, L"x", View::k64Bit); });
  FailureOf([&] { closedKey.OpenForReading(HKEY_LOCAL_MACHINE, L"Software\\No such key", View::k64Bit); });
  for (const Operation& operation : Operations()) {
    FailureOf([&] { operation.onKey(closedKey); });
  }
  FailureOf([&] { place.QueryString(L"No such value"); });
  FailureOf([&] { place.QueryString(L"Number"); });
  FailureOf([&] { place.QueryBinary(L"Text"); });
  FailureOf([&] { place.QueryNumber32(L"Text"); });
  place.TryQueryString(L"Number", text, error);
  place.TryQueryBinary(L"Text", bytes, error);
  place.TryQueryNumber64(L"Text", number64, error);
  place.TryQueryNumber32(L"No such value", number32, error);
  place.HasKey(L"No such key");
  const long long after = LiveBlocks();
  CHECK(after == before);
  CHECK(error == ERROR_FILE_NOT_FOUND);
}

std::string NameOf(const std::type_info& type) {
#ifdef _MSC_VER
  return std::string(type.name()).substr(std::string("class ").size());
#else
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                         &std::free);
  return status == 0 ? name.get() : "";
#endif
}

TEST_CASE("the exceptions' family and their names at run time") {
  CHECK(std::is_base_of_v<OrCommon::Exception::Base, Exception>);
  CHECK(std::is_base_of_v<Exception, RegException>);
  CHECK(std::has_virtual_destructor_v<OrCommon::Exception::Base>);
  CHECK_FALSE(std::is_copy_constructible_v<OrCommon::Exception::Base>);
  CHECK_FALSE(std::is_copy_constructible_v<Exception>);
  CHECK_FALSE(std::is_copy_constructible_v<RegException>);
  CHECK(NameOf(typeid(OrCommon::Exception::Base)) == "OrCommon::Exception::Base");
  CHECK(NameOf(typeid(Exception)) == "OrCommon::Storage::Exception");
  CHECK(NameOf(typeid(RegException)) == "OrCommon::Storage::RegException");
  CHECK(NameOf(typeid(Base)) == "OrCommon::Storage::Base");
  CHECK(NameOf(typeid(Registry)) == "OrCommon::Storage::Registry");
  CHECK(NameOf(typeid(Key)) == "OrCommon::Storage::Key");
}

TEST_CASE("an exception's fields lie in their order: code, line, file") {
  const RegException exception(0x11223344, 0x55667788);
  struct {
    DWORD code;
    DWORD line;
    const char* file;
  } fields = {};
  static_assert(sizeof exception == sizeof(void*) + sizeof fields);
  std::memcpy(&fields, reinterpret_cast<const BYTE*>(&exception) + sizeof(void*), sizeof fields);
  CHECK(fields.code == 0x11223344);
  CHECK(fields.line == 0x55667788);
  CHECK(std::string(fields.file) == kFile);
  CHECK(exception.Code() == 0x11223344);
  CHECK(exception.Line() == 0x55667788);
  CHECK(std::string(exception.File()) == kFile);
}

TEST_CASE("a failure of the registry is caught as each of its kinds, and as a pointer only") {
  const auto fail = [] {
    Key key;
    key.OpenForReading(HKEY_LOCAL_MACHINE, L"Software\\No such key", View::k64Bit);
  };
  bool caught = false;
  try {
    fail();
  } catch (RegException* failure) {
    caught = true;
    delete failure;
  }
  CHECK(caught);
  caught = false;
  try {
    fail();
  } catch (Exception* failure) {
    caught = true;
    delete failure;
  }
  CHECK(caught);
  caught = false;
  try {
    fail();
  } catch (const OrCommon::Exception::Base&) {
    FAIL("thrown by value");
  } catch (OrCommon::Exception::Base* failure) {
    caught = true;
    delete failure;
  }
  CHECK(caught);
}

}  // namespace
