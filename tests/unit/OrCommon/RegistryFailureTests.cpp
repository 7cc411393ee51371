// What the registry classes throw, and that a throw leaves nothing on the heap.
#include <doctest/doctest.h>

#include <windows.h>

#include <cstring>
#include <set>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "Common/OrCommon/OrComn_Registry.h"
#include "tests/support/CallFailures.h"
#include "tests/support/HeapWatch.h"
#include "tests/unit/OrCommon/ScratchKey.h"
#include "tests/unit/OrCommon/ThrownFailure.h"

using namespace OrCommon::Storage;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

std::wstring g_name;

// An operation on a key and on a place that holds a key, and the call of Windows that fails in it.
struct Operation {
  const char* function;
  unsigned failingCall;
  const char* text;
  void (*onKey)(Key&);
  void (*onPlace)(Base&);
};

#define OPERATION(function, call, ...)                                                              \
  {                                                                                                 \
    function, call, #__VA_ARGS__, [](Key& it) { it.__VA_ARGS__; }, [](Base& it) { it.__VA_ARGS__; } \
  }
const Operation kOperations[] = {
    OPERATION("RegCloseKey", 1, Close()),
    OPERATION("RegFlushKey", 1, Flush()),
    OPERATION("RegQueryValueExW", 1, QueryNumber32(L"Number")),
    OPERATION("RegQueryValueExW", 1, QueryNumber64(L"Number")),
    OPERATION("RegQueryValueExW", 1, QueryString(L"Text")),
    OPERATION("RegQueryValueExW", 2, QueryString(L"Text")),
    {"RegQueryValueExW", 1, "QueryBinary",
     [](Key& it) {
       DWORD type = 0;
       it.QueryData(L"Bytes", type);
     },
     [](Base& it) { it.QueryBinary(L"Bytes"); }},
    OPERATION("RegSetValueExW", 1, SetNumber32({L"New", 1})),
    OPERATION("RegSetValueExW", 1, SetNumber64({L"New", 1})),
    OPERATION("RegSetValueExW", 1, SetString({L"New", L"text"}, StringKind::kPlain)),
    OPERATION("RegSetValueExW", 1, SetBinary({L"New", {1}})),
    OPERATION("RegDeleteKeyW", 1, DeleteKey(L"Sub")),
    OPERATION("RegDeleteValueW", 1, DeleteValue(L"Text")),
    OPERATION("RegEnumKeyExW", 1, EnumerateSubkey(0, g_name)),
    OPERATION("RegEnumValueW", 1, EnumerateValue(0, g_name)),
};

// A key with data for every operation.
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

TEST_CASE_FIXTURE(Fixture, "an operation on a key that is not open throws without calling Windows") {
  Key closed;
  closed.OpenForReading(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
  closed.Close();
  Key never;
  Registry place(HKEY_LOCAL_MACHINE, L"Software", View::k64Bit);
  for (const Operation& operation : kOperations) {
    CAPTURE(std::string(operation.text));
    const CountCalls calls{operation.function};
    for (const ThrownFailure& failure :
         {FailureOf([&] { operation.onKey(never); }), FailureOf([&] { operation.onKey(closed); }),
          FailureOf([&] { operation.onPlace(place); })}) {
      CHECK(failure.what == "storage 6");
      CHECK(failure.line == 874);
    }
    CHECK(calls.Calls() == 0);
  }
}

TEST_CASE_FIXTURE(Fixture, "a failing Windows call throws the returned code, each from its own source line") {
  std::set<DWORD> lines;
  const auto check = [&](const char* function, unsigned call, const auto& operation) {
    const FailCall fails{function, call, ERROR_NOT_ENOUGH_QUOTA};
    const ThrownFailure failure = FailureOf(operation);
    CHECK(fails.Failed() == 1);
    CHECK(failure.what == "registry 1816");
    lines.insert(failure.line);
  };
  for (const Operation& operation : kOperations) {
    CAPTURE(std::string(operation.text));
    Key key;
    key.OpenForEnumerating(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
    check(operation.function, operation.failingCall, [&] { operation.onKey(key); });
    Registry place(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
    place.OpenForEnumerating();
    check(operation.function, operation.failingCall, [&] { operation.onPlace(place); });
  }
  // One function reads both kinds of numbers, and one reads texts and data.
  CHECK(lines.size() == std::size(kOperations) - 2);
  Key key;
  check("RegOpenKeyExW", 1, [&] { key.OpenForReading(HKEY_LOCAL_MACHINE, path, View::k64Bit); });
  check("RegOpenKeyExW", 1, [&] { key.OpenForWriting(HKEY_LOCAL_MACHINE, path, View::k64Bit); });
  check("RegOpenKeyExW", 1, [&] { key.OpenForEnumerating(HKEY_LOCAL_MACHINE, path, View::k64Bit); });
  check("RegCreateKeyExW", 1, [&] { key.Create(HKEY_LOCAL_MACHINE, path, View::k64Bit); });
  CHECK(lines.size() == std::size(kOperations) + 2);
  for (const DWORD taken : {0UL, 874UL, 885UL}) {
    CHECK(lines.count(taken) == 0);
  }
}

TEST_CASE_FIXTURE(Fixture, "every exception is freed by the code that catches it") {
  Registry place(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
  place.OpenForReading();
  std::wstring text;
  std::vector<BYTE> bytes;
  std::uint64_t number64 = 0;
  DWORD number32 = 0;
  DWORD error = 0;
  long long before = 0;
  for (int round = 0; round < 2; ++round) {  // the first throw may allocate something that is kept
    before = LiveBlocks();
    FailureOf([&] { place.QueryString(L"Number"); });
    FailureOf([&] { place.QueryNumber32(L"No such value"); });
    place.TryQueryString(L"Number", text, error);
    place.TryQueryBinary(L"Text", bytes, error);
    place.TryQueryNumber64(L"Text", number64, error);
    place.TryQueryNumber32(L"No such value", number32, error);
    place.HasKey(L"No such key");
  }
  const long long after = LiveBlocks();
  CHECK(after == before);
  CHECK(error == ERROR_FILE_NOT_FOUND);
}

TEST_CASE("the exceptions share a base class and have their fields in order; the classes keep their type names") {
  CHECK(std::is_convertible_v<Exception*, OrCommon::Exception::Base*>);  // so it is caught as this type
  CHECK(std::is_convertible_v<RegException*, Exception*>);
  CHECK_FALSE(std::is_copy_constructible_v<OrCommon::Exception::Base>);
#ifndef _MSC_VER
  CHECK(std::string(typeid(OrCommon::Exception::Base).name()) == "N8OrCommon9Exception4BaseE");
  CHECK(std::string(typeid(Exception).name()) == "N8OrCommon7Storage9ExceptionE");
  CHECK(std::string(typeid(RegException).name()) == "N8OrCommon7Storage12RegExceptionE");
  CHECK(std::string(typeid(Base).name()) == "N8OrCommon7Storage4BaseE");
  CHECK(std::string(typeid(Registry).name()) == "N8OrCommon7Storage8RegistryE");
  CHECK(std::string(typeid(Key).name()) == "N8OrCommon7Storage3KeyE");
#endif
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
  CHECK(std::string(fields.file) == kRegistrySource);
}

}  // namespace
