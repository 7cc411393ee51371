#include "Common/FrwkCommon/Frwk_CoreAgentRegistry.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <cstddef>
#include <cstring>
#include <cwchar>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/unit/OrCommon/HeapWatch.h"
#include "tests/unit/OrCommon/ScratchKey.h"

using Frwk::Storage::CoreAgentRegistry;
using OrCommonTests::KeyExists;
using OrCommonTests::LiveBlocks;
using OrCommonTests::ReadStored;
using OrCommonTests::ScratchKey;
using OrCommonTests::Store;
using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::ImportRedirection;

namespace {

constexpr wchar_t kEntry[] = L"Software\\OrvaneLabs\\CoreAgent\\VELA";
constexpr wchar_t kEntry32[] = L"Software\\Wow6432Node\\OrvaneLabs\\CoreAgent\\VELA";

// The settings area, empty, with the program's entry made by somebody else.
struct Fixture {
  ScratchKey area{L"OrvaneLabs"};
  CoreAgentRegistry registry{1700};

  void MakeEntry() const { REQUIRE(Store(kEntry, L"Made", REG_SZ, {}) == ERROR_SUCCESS); }
  void Plant(const std::wstring& name, DWORD type, const std::vector<BYTE>& data) const {
    REQUIRE(Store(kEntry, name, type, data) == ERROR_SUCCESS);
  }
};

struct Opening {
  HKEY root;
  std::wstring path;
  REGSAM access;
};

class Openings {
 public:
  std::vector<Opening> all;

 private:
  ImportRedirection open_{"RegOpenKeyExW",
                          [this](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY result) -> LSTATUS {
                            all.push_back({root, path, access});
                            return open_.Original<decltype(&::RegOpenKeyExW)>()(root, path, options, access, result);
                          }};
};

TEST_CASE_FIXTURE(Fixture, "the entry of a product is opened by its path, in the 64-bit view, for one purpose") {
  MakeEntry();
  const CountCalls creations{"RegCreateKeyExW"};
  const Openings openings;
  CHECK(registry.OpenForReading(L"VELA"));
  CHECK(registry.OpenForWriting(L"VELA"));
  REQUIRE(openings.all.size() == 2);
  for (const Opening& opening : openings.all) {
    CHECK(opening.root == HKEY_LOCAL_MACHINE);
    CHECK(opening.path == kEntry);
  }
  CHECK(openings.all[0].access == 0x101);
  CHECK(openings.all[1].access == 0x10102);
  CHECK(creations.Calls() == 0);
}

TEST_CASE_FIXTURE(Fixture, "what is stored lies in the 64-bit view as a number and is read back") {
  MakeEntry();
  REQUIRE(registry.OpenForWriting(L"VELA"));
  CHECK(registry.StoreNumber(L"OE_DELAY_INST", 0x01020304));
  registry.Close();
  CHECK(ReadStored(kEntry, L"OE_DELAY_INST").type == REG_DWORD);
  CHECK(ReadStored(kEntry, L"OE_DELAY_INST").data == std::vector<BYTE>{4, 3, 2, 1});
  CHECK_FALSE(KeyExists(kEntry32));
  REQUIRE(registry.OpenForReading(L"VELA"));
  CHECK(registry.ReadNumber(L"OE_DELAY_INST", 9) == 0x01020304);
}

TEST_CASE_FIXTURE(Fixture, "an entry in the 32-bit view is none") {
  REQUIRE(Store(kEntry32, L"OE_DELAY_INST", REG_DWORD, {1, 0, 0, 0}) == ERROR_SUCCESS);
  CHECK_FALSE(registry.OpenForReading(L"VELA"));
  CHECK_FALSE(registry.OpenForWriting(L"VELA"));
  CHECK(registry.ReadNumber(L"OE_DELAY_INST", 0) == 0);
}

TEST_CASE_FIXTURE(Fixture, "an entry that is not there is not made") {
  CHECK_FALSE(registry.OpenForReading(L"VELA"));
  CHECK_FALSE(registry.OpenForWriting(L"VELA"));
  CHECK_FALSE(registry.StoreNumber(L"OL_DELAY_INST", 1));
  CHECK_FALSE(KeyExists(L"Software\\OrvaneLabs"));
  CHECK_FALSE(KeyExists(L"Software\\Wow6432Node\\OrvaneLabs"));
}

TEST_CASE_FIXTURE(Fixture, "products have entries of their own") {
  MakeEntry();
  REQUIRE(Store(L"Software\\OrvaneLabs\\CoreAgent\\Other", L"Number", REG_DWORD, {7, 0, 0, 0}) == ERROR_SUCCESS);
  REQUIRE(registry.OpenForReading(L"Other"));
  CHECK(registry.ReadNumber(L"Number", 0) == 7);
  REQUIRE(registry.OpenForReading(L"VELA"));
  CHECK(registry.ReadNumber(L"Number", 0) == 0);
}

TEST_CASE_FIXTURE(Fixture, "a number that is missing, or is none, reads as the fallback") {
  Plant(L"Number", REG_DWORD, {0, 0, 0, 0});
  Plant(L"Text", REG_SZ, {'1', 0, 0, 0});
  Plant(L"Long", REG_SZ, std::vector<BYTE>(100, 1));
  Plant(L"Bytes", REG_BINARY, {1, 0, 0, 0});
  Plant(L"Eight", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0});
  Plant(L"Short", REG_DWORD, {1, 0});
  Plant(L"Broad", REG_DWORD, {1, 0, 0, 0, 0});
  REQUIRE(registry.OpenForReading(L"VELA"));
  CHECK(registry.ReadNumber(L"Number", 5) == 0);
  for (const wchar_t* const name : {L"Missing", L"Text", L"Long", L"Bytes", L"Eight", L"Short", L"Broad"}) {
    CAPTURE(std::string(name, name + std::wcslen(name)));
    CHECK(registry.ReadNumber(name, 5) == 5);
    CHECK(registry.ReadNumber(name, 0) == 0);
  }
}

TEST_CASE_FIXTURE(Fixture, "an entry open for one purpose serves no other") {
  Plant(L"Number", REG_DWORD, {3, 0, 0, 0});
  REQUIRE(registry.OpenForReading(L"VELA"));
  CHECK_FALSE(registry.StoreNumber(L"Number", 4));
  REQUIRE(registry.OpenForWriting(L"VELA"));
  CHECK(registry.ReadNumber(L"Number", 9) == 9);
  registry.Close();
  CHECK(ReadStored(kEntry, L"Number").data == std::vector<BYTE>{3, 0, 0, 0});
}

TEST_CASE_FIXTURE(Fixture, "without an open entry nothing is read, stored or closed") {
  const CountCalls queries{"RegQueryValueExW"};
  const CountCalls sets{"RegSetValueExW"};
  const CountCalls closes{"RegCloseKey"};
  CHECK(registry.ReadNumber(L"Number", 9) == 9);
  CHECK_FALSE(registry.StoreNumber(L"Number", 1));
  registry.Close();
  CHECK(queries.Calls() == 0);
  CHECK(sets.Calls() == 0);
  CHECK(closes.Calls() == 0);
}

TEST_CASE_FIXTURE(Fixture, "failing calls of Windows are false, or the fallback") {
  Plant(L"Number", REG_DWORD, {3, 0, 0, 0});
  {
    const FailCall open{"RegOpenKeyExW", TestSupport::Calls::From(1), ERROR_ACCESS_DENIED};
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

TEST_CASE_FIXTURE(Fixture, "each key that is opened is closed once") {
  MakeEntry();
  const CountCalls opens{"RegOpenKeyExW"};
  const CountCalls closes{"RegCloseKey"};
  {
    CoreAgentRegistry other(1700);
    CHECK(other.OpenForReading(L"VELA"));
    CHECK(other.OpenForWriting(L"VELA"));
    CHECK(closes.Calls() == 1);
    other.Close();
    CHECK(closes.Calls() == 2);
    other.Close();
    CHECK(closes.Calls() == 2);
    CHECK(other.OpenForReading(L"VELA"));
  }
  CHECK(opens.Calls() == 3);
  CHECK(closes.Calls() == 3);
}

TEST_CASE_FIXTURE(Fixture, "a close that fails stays here") {
  MakeEntry();
  REQUIRE(registry.OpenForReading(L"VELA"));
  HKEY left = nullptr;
  {
    const ImportRedirection close{"RegCloseKey", [&](HKEY key) -> LSTATUS {
                                    left = key;
                                    return ERROR_BUSY;
                                  }};
    CHECK_NOTHROW(registry.Close());
  }
  CHECK(::RegCloseKey(left) == ERROR_SUCCESS);
}

TEST_CASE_FIXTURE(Fixture, "what is thrown beneath is given back to the heap") {
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

#ifndef _MSC_VER
struct OneMore : CoreAgentRegistry {
  using CoreAgentRegistry::CoreAgentRegistry;
  virtual void Next();
};
#endif

TEST_CASE("the class: not to be copied, destroyed through its root, with its number") {
  CHECK(std::is_base_of_v<boost::noncopyable, CoreAgentRegistry>);
  CHECK_FALSE(std::is_copy_constructible_v<CoreAgentRegistry>);
  CHECK_FALSE(std::is_copy_assignable_v<CoreAgentRegistry>);
  CHECK(std::has_virtual_destructor_v<CoreAgentRegistry>);
  CHECK(CoreAgentRegistry(1700).Number() == 1700);
#ifndef _MSC_VER
  // A pointer to a virtual member holds 1 and the offset of its entry; the destructor takes the first two.
  std::ptrdiff_t words[2] = {};
  const auto next = &OneMore::Next;
  static_assert(sizeof words == sizeof next);
  std::memcpy(words, &next, sizeof words);
  CHECK(words[0] == 1 + 2 * static_cast<std::ptrdiff_t>(sizeof(void*)));
#endif
}

}  // namespace
