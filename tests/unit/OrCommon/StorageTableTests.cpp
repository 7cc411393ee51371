// The virtual table: programs that were built with it find an operation by its index.
#include <doctest/doctest.h>

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <numeric>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_Registry.h"
#include "Common/OrCommon/OrComn_String.h"
#include "tests/support/CallFailures.h"
#include "tests/support/HeapWatch.h"
#include "tests/unit/OrCommon/ScratchKey.h"

using namespace OrCommon::Storage;
using namespace OrCommonTests;

namespace {

#ifndef _MSC_VER
// The index of a virtual operation; the destructor has index 1. In this compiler's ABI, a pointer to a virtual member
// contains 1 plus the offset of its entry in the table. A destructor takes the first two entries. So the operation with
// index n has entry n.
template <class Member>
std::size_t PlaceOf(Member member) {
  std::ptrdiff_t words[2] = {};
  static_assert(sizeof words == sizeof member);
  std::memcpy(words, &member, sizeof words);
  REQUIRE((words[0] & 1) == 1);  // virtual at all
  REQUIRE(words[1] == 0);        // in the first table
  return static_cast<std::size_t>(words[0] - 1) / sizeof(void*);
}

template <class... Members>
std::vector<std::size_t> PlacesOf(Members... members) {
  return {PlaceOf(members)...};
}

template <class C>
void CheckPlaces() {
  std::vector<std::size_t> wanted(23);
  std::iota(wanted.begin(), wanted.end(), 2);
  CHECK(PlacesOf(&C::OpenForReading, &C::Create, &C::OpenForWriting, &C::OpenForEnumerating, &C::Close, &C::Flush,
                 &C::TryQueryBinary, &C::QueryBinary, &C::TryQueryString, &C::QueryString, &C::TryQueryNumber64,
                 &C::QueryNumber64, &C::TryQueryNumber32, &C::QueryNumber32, &C::SetBinary, &C::SetString,
                 &C::SetNumber64, &C::SetNumber32, &C::DeleteKey, &C::HasKey, &C::DeleteValue, &C::EnumerateSubkey,
                 &C::EnumerateValue) == wanted);
}

// One operation more than Class has: it comes after the last one.
template <class Class>
struct OneMore : Class {
  virtual void Next();
};

TEST_CASE("the virtual tables: of storage places 24 operations in order, of keys and exceptions the destructor only") {
  CheckPlaces<Base>();
  CheckPlaces<Registry>();
  CHECK(PlaceOf(&OneMore<Base>::Next) == 25);
  CHECK(PlaceOf(&OneMore<Registry>::Next) == 25);
  CHECK(PlacesOf(&OneMore<Key>::Next, &OneMore<OrCommon::Exception::Base>::Next, &OneMore<Exception>::Next,
                 &OneMore<RegException>::Next,
                 &OneMore<OrCommon::String::Exception>::Next) == std::vector<std::size_t>(5, 2));
}

TEST_CASE("the first entry of the table destroys the object, the second also frees its memory") {
  const ScratchKey scratch(L"VelaStorageTableTests");
  using Destructor = void (*)(Base*);
  const auto entryOf = [](Base* place, std::size_t entry) {
    Destructor* table = nullptr;
    std::memcpy(&table, static_cast<void*>(place), sizeof table);
    return table[entry];
  };
  const TestSupport::CountCalls closes{"RegCloseKey"};
  alignas(Registry) unsigned char memory[sizeof(Registry)];
  auto* const here = new (memory) Registry(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
  here->Create();
  entryOf(here, 0)(here);
  CHECK(closes.Calls() == 1);
  const long long before = TestSupport::LiveBlocks();
  auto* const place = new Registry(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
  place->Create();
  entryOf(place, 1)(place);
  const long long after = TestSupport::LiveBlocks();
  CHECK(after == before);
  CHECK(closes.Calls() == 2);
}
#endif

// Answers the throwing queries itself. Registry's other queries find these through the table.
class Answering : public Registry {
 public:
  Answering() : Registry(nullptr, L"nowhere", View::kProcessDefault) {}

  std::vector<BYTE> QueryBinary(const std::wstring& name) override { return Answer(name, std::vector<BYTE>{1, 2}); }
  std::wstring QueryString(const std::wstring& name) override { return Answer(name, std::wstring(L"text")); }
  std::uint64_t QueryNumber64(const std::wstring& name) override { return Answer(name, std::uint64_t{64}); }
  DWORD QueryNumber32(const std::wstring& name) override { return Answer(name, DWORD{32}); }

 private:
  template <class Data>
  static Data Answer(const std::wstring& name, const Data& data) {
    if (name == L"fine") {
      return data;
    }
    if (name == L"registry") {
      throw new RegException(ERROR_ACCESS_DENIED, 1);
    }
    throw new Exception(ERROR_INVALID_DATA, 1);
  }
};

// The results of a query that does not throw, through its throwing counterpart.
template <class Data>
void CheckQuietQuery(bool (Base::*query)(const std::wstring&, Data&, DWORD&), const Data& answer, const Data& before) {
  Answering answering;
  Base& place = answering;
  Data data = before;
  DWORD error = 4711;
  CHECK_FALSE((place.*query)(L"registry", data, error));
  CHECK(error == ERROR_ACCESS_DENIED);
  CHECK_FALSE((place.*query)(L"storage", data, error));
  CHECK(error == ERROR_INVALID_DATA);
  CHECK(data == before);
  CHECK((place.*query)(L"fine", data, error));
  CHECK(data == answer);
  CHECK(error == ERROR_SUCCESS);
}

TEST_CASE("queries that do not throw call their throwing counterparts through the virtual table") {
  CheckQuietQuery<std::vector<BYTE>>(&Base::TryQueryBinary, {1, 2}, {9});
  CheckQuietQuery<std::wstring>(&Base::TryQueryString, L"text", L"before");
  CheckQuietQuery<std::uint64_t>(&Base::TryQueryNumber64, 64, 9);
  CheckQuietQuery<DWORD>(&Base::TryQueryNumber32, 32, 9);
}

TEST_CASE("a subkey exists if it can be opened for reading in the same view; the open key stays open") {
  const ScratchKey scratch(L"VelaStorageTableTests");
  REQUIRE(Store(scratch.Path() + L"\\In 64", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  REQUIRE(Store(scratch.Path32() + L"\\In 32", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  REQUIRE(Store(scratch.Path(), L"Four", REG_DWORD, {4, 0, 0, 0}) == ERROR_SUCCESS);
  Registry in64(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
  Registry in32(HKEY_LOCAL_MACHINE, scratch.Path() + L"\\", View::k32Bit);
  Registry nowhere(nullptr, L"x", View::k64Bit);
  in64.OpenForReading();
  const TestSupport::CountCalls opens{"RegOpenKeyExW"};
  const TestSupport::CountCalls closes{"RegCloseKey"};
  CHECK(in64.HasKey(L"In 64"));
  CHECK_FALSE(in64.HasKey(L"In 32"));
  CHECK_FALSE(in64.HasKey(L"Four"));  // a value
  CHECK_FALSE(in32.HasKey(L"In 64"));
  CHECK(in32.HasKey(L"In 32"));
  CHECK_FALSE(nowhere.HasKey(L"x"));
  CHECK(opens.Calls() == 5);
  CHECK(closes.Calls() == 2);
  CHECK(in64.QueryNumber32(L"Four") == 4);
  const TestSupport::FailCall denied{"RegOpenKeyExW", 1, ERROR_ACCESS_DENIED};
  CHECK_FALSE(in64.HasKey(L"In 64"));
}

}  // namespace
