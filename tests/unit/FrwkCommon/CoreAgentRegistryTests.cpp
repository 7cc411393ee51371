#include "Common/FrwkCommon/Frwk_CoreAgentRegistry.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/HeapWatch.h"
#include "tests/unit/OrCommon/ScratchKey.h"

using Frwk::Storage::CoreAgentRegistry;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

constexpr wchar_t kEntry[] = L"Software\\OrvaneLabs\\CoreAgent\\VELA";
constexpr wchar_t kEntry32[] = L"Software\\Wow6432Node\\OrvaneLabs\\CoreAgent\\VELA";

// The settings key, empty, and the program's entry, created by another program.
struct Fixture {
  ScratchKey area{L"OrvaneLabs"};
  CoreAgentRegistry registry{1700};

  void MakeEntry() const { REQUIRE(Store(kEntry, L"Made", REG_SZ, {}) == ERROR_SUCCESS); }
  void Plant(const std::wstring& name, DWORD type, const std::vector<BYTE>& data) const {
    REQUIRE(Store(kEntry, name, type, data) == ERROR_SUCCESS);
  }
};

TEST_CASE_FIXTURE(Fixture, "a key is opened for either reading or writing; numbers are in the 64-bit view") {
  MakeEntry();
  const CountCalls creations{"RegCreateKeyExW"};
  std::vector<REGSAM> accesses;
  {
    const OnCall open{"RegOpenKeyExW", &::RegOpenKeyExW, [&](HKEY root, LPCWSTR path, DWORD, REGSAM access, PHKEY) {
                        CHECK(root == HKEY_LOCAL_MACHINE);
                        CHECK(path == std::wstring(kEntry));
                        accesses.push_back(access);
                      }};
    CHECK(registry.OpenForWriting(L"VELA"));
    CHECK(registry.StoreNumber(L"OE_DELAY_INST", 0x01020304));
    CHECK(registry.OpenForReading(L"VELA"));
    CHECK(registry.ReadNumber(L"OE_DELAY_INST", 9) == 0x01020304);
  }
  CHECK(accesses == std::vector<REGSAM>{0x10102, 0x101});
  CHECK(creations.Calls() == 0);
  CHECK(ReadStored(kEntry, L"OE_DELAY_INST").type == REG_DWORD);
  CHECK(ReadStored(kEntry, L"OE_DELAY_INST").data == std::vector<BYTE>{4, 3, 2, 1});
  CHECK_FALSE(KeyExists(kEntry32));
}

TEST_CASE_FIXTURE(Fixture, "a key that is missing, or only in the 32-bit view, is not opened and not created") {
  REQUIRE(Store(kEntry32, L"OE_DELAY_INST", REG_DWORD, {1, 0, 0, 0}) == ERROR_SUCCESS);
  CHECK_FALSE(registry.OpenForReading(L"VELA"));
  CHECK_FALSE(registry.OpenForWriting(L"VELA"));
  CHECK(registry.ReadNumber(L"OE_DELAY_INST", 0) == 0);
  CHECK_FALSE(registry.StoreNumber(L"OL_DELAY_INST", 1));
  CHECK_FALSE(KeyExists(L"Software\\OrvaneLabs"));
}

TEST_CASE_FIXTURE(Fixture, "a value that is missing, or not a 32-bit number, reads as the fallback") {
  Plant(L"Number", REG_DWORD, {0, 0, 0, 0});
  Plant(L"Text", REG_SZ, {'1', 0, 0, 0});
  Plant(L"Broad", REG_DWORD, {1, 0, 0, 0, 0});
  REQUIRE(registry.OpenForReading(L"VELA"));
  CHECK(registry.ReadNumber(L"Number", 5) == 0);
  for (const wchar_t* const name : {L"Missing", L"Text", L"Broad"}) {
    CHECK(registry.ReadNumber(name, 5) == 5);
  }
}

TEST_CASE_FIXTURE(Fixture, "if a Windows call fails, the result is false or the fallback") {
  Plant(L"Number", REG_DWORD, {3, 0, 0, 0});
  {
    const FailCall open{"RegOpenKeyExW", Calls::From(1), ERROR_ACCESS_DENIED};
    CHECK_FALSE(registry.OpenForReading(L"VELA"));
    CHECK_FALSE(registry.OpenForWriting(L"VELA"));
    CHECK(open.Failed() == 2);
  }
  REQUIRE(registry.OpenForReading(L"VELA"));
  {
    const FailCall query{"RegQueryValueExW", 1, ERROR_ACCESS_DENIED};
    CHECK(registry.ReadNumber(L"Number", 9) == 9);
    CHECK(query.Failed() == 1);
  }
  CHECK(registry.ReadNumber(L"Number", 9) == 3);
  REQUIRE(registry.OpenForWriting(L"VELA"));
  const FailCall set{"RegSetValueExW", 1, ERROR_ACCESS_DENIED};
  CHECK_FALSE(registry.StoreNumber(L"Number", 4));
  CHECK(registry.StoreNumber(L"Number", 5));
}

TEST_CASE_FIXTURE(Fixture, "each opened key is closed once; a failed close does not throw") {
  MakeEntry();
  const CountCalls opens{"RegOpenKeyExW"};
  const CountCalls closes{"RegCloseKey"};
  {
    CoreAgentRegistry other(1700);
    other.Close();
    CHECK(closes.Calls() == 0);
    CHECK(other.OpenForReading(L"VELA"));
    CHECK(other.OpenForWriting(L"VELA"));
    CHECK(closes.Calls() == 1);
    other.Close();
    other.Close();
    CHECK(closes.Calls() == 2);
    CHECK(other.OpenForReading(L"VELA"));
  }
  CHECK(opens.Calls() == 3);
  CHECK(closes.Calls() == 3);
  REQUIRE(registry.OpenForReading(L"VELA"));
  const FailCall close{"RegCloseKey", 1, ERROR_BUSY};
  CHECK_NOTHROW(registry.Close());
}

TEST_CASE_FIXTURE(Fixture, "exceptions that the registry classes throw are freed") {
  MakeEntry();
  registry.OpenForReading(L"No such product");
  const long long before = LiveBlocks();
  for (int i = 0; i < 10; ++i) {
    registry.OpenForReading(L"No such product");
    registry.OpenForWriting(L"No such product");
    registry.StoreNumber(L"Number", 1);
    registry.ReadNumber(L"Number", 1);
    registry.Close();
  }
  const long long after = LiveBlocks();
  CHECK(after == before);
}

TEST_CASE("the class cannot be copied, has a virtual destructor, and returns its number") {
  CHECK(std::is_base_of_v<boost::noncopyable, CoreAgentRegistry>);
  CHECK(std::has_virtual_destructor_v<CoreAgentRegistry>);
  CHECK(CoreAgentRegistry(1700).Number() == 1700);
}

}  // namespace
