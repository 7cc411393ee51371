// The table of virtual operations: programs that were built against it find an operation by its place.
#include <doctest/doctest.h>

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "Common/OrCommon/OrComn_Registry.h"
#include "Common/OrCommon/OrComn_String.h"
#include "tests/support/CallFailures.h"
#include "tests/unit/OrCommon/HeapWatch.h"
#include "tests/unit/OrCommon/ScratchKey.h"
#include "tests/unit/OrCommon/ThrownFailure.h"

using OrCommon::Storage::Base;
using OrCommon::Storage::Exception;
using OrCommon::Storage::Key;
using OrCommon::Storage::RegException;
using OrCommon::Storage::Registry;
using OrCommon::Storage::View;
using OrCommonTests::KeyExists;
using OrCommonTests::LiveBlocks;
using OrCommonTests::ScratchKey;
using OrCommonTests::Store;

namespace {

#ifndef _MSC_VER
// The place of a virtual operation, the destructor being place 1. In this compiler's ABI a pointer to a virtual member
// holds 1 and the offset of its entry in the table. A destructor takes the first two entries, so that the operation of
// place n has entry n.
template <class Member>
std::size_t PlaceOf(Member member) {
  std::ptrdiff_t words[2] = {};
  static_assert(sizeof words == sizeof member);
  std::memcpy(words, &member, sizeof words);
  REQUIRE((words[0] & 1) == 1);  // virtual at all
  REQUIRE(words[1] == 0);        // in the first table
  return static_cast<std::size_t>(words[0] - 1) / sizeof(void*);
}

template <class Class>
void CheckPlaces() {
  CHECK(PlaceOf(&Class::OpenForReading) == 2);
  CHECK(PlaceOf(&Class::Create) == 3);
  CHECK(PlaceOf(&Class::OpenForWriting) == 4);
  CHECK(PlaceOf(&Class::OpenForEnumerating) == 5);
  CHECK(PlaceOf(&Class::Close) == 6);
  CHECK(PlaceOf(&Class::Flush) == 7);
  CHECK(PlaceOf(&Class::TryQueryBinary) == 8);
  CHECK(PlaceOf(&Class::QueryBinary) == 9);
  CHECK(PlaceOf(&Class::TryQueryString) == 10);
  CHECK(PlaceOf(&Class::QueryString) == 11);
  CHECK(PlaceOf(&Class::TryQueryNumber64) == 12);
  CHECK(PlaceOf(&Class::QueryNumber64) == 13);
  CHECK(PlaceOf(&Class::TryQueryNumber32) == 14);
  CHECK(PlaceOf(&Class::QueryNumber32) == 15);
  CHECK(PlaceOf(&Class::SetBinary) == 16);
  CHECK(PlaceOf(&Class::SetString) == 17);
  CHECK(PlaceOf(&Class::SetNumber64) == 18);
  CHECK(PlaceOf(&Class::SetNumber32) == 19);
  CHECK(PlaceOf(&Class::DeleteKey) == 20);
  CHECK(PlaceOf(&Class::HasKey) == 21);
  CHECK(PlaceOf(&Class::DeleteValue) == 22);
  CHECK(PlaceOf(&Class::EnumerateSubkey) == 23);
  CHECK(PlaceOf(&Class::EnumerateValue) == 24);
}

// One operation more than Class has: it follows the last one.
template <class Class>
struct OneMore : Class {
  virtual void Next();
};

TEST_CASE("the 24 operations of a storage place stand in their order, and there are no others") {
  CheckPlaces<Base>();
  CheckPlaces<Registry>();
  CHECK(PlaceOf(&OneMore<Base>::Next) == 25);
  CHECK(PlaceOf(&OneMore<Registry>::Next) == 25);
}

TEST_CASE("keys and exceptions have their destructor and no other virtual operation") {
  CHECK(PlaceOf(&OneMore<Key>::Next) == 2);
  CHECK(PlaceOf(&OneMore<OrCommon::Exception::Base>::Next) == 2);
  CHECK(PlaceOf(&OneMore<Exception>::Next) == 2);
  CHECK(PlaceOf(&OneMore<RegException>::Next) == 2);
  CHECK(PlaceOf(&OneMore<OrCommon::String::Exception>::Next) == 2);
}

TEST_CASE("the first place is the destructor, which closes what is open") {
  const ScratchKey scratch(L"VelaStorageTableTests");
  using Destructor = void (*)(Base*);
  const auto entryOf = [](Base* place, std::size_t entry) {
    Destructor* table = nullptr;
    std::memcpy(&table, static_cast<void*>(place), sizeof table);
    return table[entry];
  };
  const TestSupport::CountCalls closes{"RegCloseKey"};
  SUBCASE("and leaves the memory") {
    alignas(Registry) unsigned char memory[sizeof(Registry)];
    auto* const place = new (memory) Registry(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
    place->Create();
    entryOf(place, 0)(place);
    CHECK(closes.Calls() == 1);
  }
  SUBCASE("and gives the memory back") {
    const long long before = LiveBlocks();
    auto* const place = new Registry(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
    place->Create();
    entryOf(place, 1)(place);
    const long long after = LiveBlocks();
    CHECK(after == before);
    CHECK(closes.Calls() == 1);
  }
}
#endif

TEST_CASE("a place is destroyed through its root") {
  CHECK(std::has_virtual_destructor_v<Base>);
  const ScratchKey scratch(L"VelaStorageTableTests");
  const TestSupport::CountCalls closes{"RegCloseKey"};
  std::unique_ptr<Base> place = std::make_unique<Registry>(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
  place->Create();
  place.reset();
  CHECK(closes.Calls() == 1);
}

int g_destroyed = 0;

// An exception that tells when it is destroyed.
class WatchedException : public RegException {
 public:
  explicit WatchedException(DWORD code) : RegException(code, 1) {}
  ~WatchedException() override { ++g_destroyed; }
};

// Answers the throwing queries itself. The others of Registry find these through the table.
class Answering : public Registry {
 public:
  Answering() : Registry(nullptr, L"nowhere", View::kProcessDefault) {}

  std::vector<BYTE> QueryBinary(const std::wstring& name) override { return Answer(name, std::vector<BYTE>{1, 2}); }
  std::wstring QueryString(const std::wstring& name) override { return Answer(name, std::wstring(L"text")); }
  std::uint64_t QueryNumber64(const std::wstring& name) override { return Answer(name, std::uint64_t{64}); }
  DWORD QueryNumber32(const std::wstring& name) override { return Answer(name, DWORD{32}); }

  std::vector<std::wstring> asked;

 private:
  template <class Data>
  Data Answer(const std::wstring& name, const Data& data) {
    asked.push_back(name);
    if (name == L"registry") {
      throw new WatchedException(ERROR_ACCESS_DENIED);
    }
    if (name == L"storage") {
      throw new Exception(ERROR_INVALID_DATA, 1);
    }
    if (name == L"other") {
      throw new OrCommon::String::Exception(55);
    }
    return data;
  }
};

// The three outcomes of a query that does not throw, by way of its throwing partner.
template <class Data>
void CheckQuietQuery(bool (Base::*query)(const std::wstring&, Data&, DWORD&), const Data& answer, const Data& before) {
  Answering answering;
  Base& place = answering;
  Data data = before;
  DWORD error = 4711;
  CHECK((place.*query)(L"fine", data, error));
  CHECK(data == answer);
  CHECK(error == ERROR_SUCCESS);

  g_destroyed = 0;
  data = before;
  CHECK_FALSE((place.*query)(L"registry", data, error));
  CHECK(error == ERROR_ACCESS_DENIED);
  CHECK(data == before);
  CHECK(g_destroyed == 1);

  CHECK_FALSE((place.*query)(L"storage", data, error));
  CHECK(error == ERROR_INVALID_DATA);

  bool passed = false;
  try {
    (place.*query)(L"other", data, error);
  } catch (OrCommon::String::Exception* failure) {
    passed = true;
    delete failure;
  }
  CHECK(passed);  // no failure of a storage: not theirs to catch
  CHECK(answering.asked == std::vector<std::wstring>{L"fine", L"registry", L"storage", L"other"});
}

TEST_CASE("queries that do not throw call their throwing partners through the table") {
  CheckQuietQuery<std::vector<BYTE>>(&Base::TryQueryBinary, {1, 2}, {9});
  CheckQuietQuery<std::wstring>(&Base::TryQueryString, L"text", L"before");
  CheckQuietQuery<std::uint64_t>(&Base::TryQueryNumber64, 64, 9);
  CheckQuietQuery<DWORD>(&Base::TryQueryNumber32, 32, 9);
}

TEST_CASE("queries that do not throw, of real values") {
  const ScratchKey scratch(L"VelaStorageTableTests");
  REQUIRE(Store(scratch.Path(), L"Four", REG_DWORD, {4, 0, 0, 0}) == ERROR_SUCCESS);
  REQUIRE(Store(scratch.Path(), L"Eight", REG_QWORD, {8, 0, 0, 0, 0, 0, 0, 0}) == ERROR_SUCCESS);
  REQUIRE(Store(scratch.Path(), L"Text", REG_SZ, {'t', 0, 0, 0}) == ERROR_SUCCESS);
  REQUIRE(Store(scratch.Path(), L"Bytes", REG_BINARY, {1}) == ERROR_SUCCESS);
  Registry registry(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
  Base& place = registry;
  DWORD number32 = 0;
  std::uint64_t number64 = 0;
  std::wstring text;
  std::vector<BYTE> bytes;
  DWORD error = 4711;

  CHECK_FALSE(place.TryQueryNumber32(L"Four", number32, error));  // not open yet
  CHECK(error == ERROR_INVALID_HANDLE);
  place.OpenForReading();
  CHECK(place.TryQueryNumber32(L"Four", number32, error));
  CHECK(error == ERROR_SUCCESS);
  CHECK(place.TryQueryNumber64(L"Eight", number64, error));
  CHECK(place.TryQueryString(L"Text", text, error));
  CHECK(place.TryQueryBinary(L"Bytes", bytes, error));
  CHECK(number32 == 4);
  CHECK(number64 == 8);
  CHECK(text == L"t");
  CHECK(bytes == std::vector<BYTE>{1});

  CHECK_FALSE(place.TryQueryNumber32(L"Text", number32, error));
  CHECK(error == ERROR_INVALID_DATA);
  CHECK_FALSE(place.TryQueryString(L"Four", text, error));
  CHECK(error == ERROR_INVALID_DATA);
  CHECK_FALSE(place.TryQueryBinary(L"Not there", bytes, error));
  CHECK(error == ERROR_FILE_NOT_FOUND);
  CHECK(number32 == 4);
  CHECK(text == L"t");
}

TEST_CASE("a place has a subkey when it can be opened for reading in the same view") {
  const ScratchKey scratch(L"VelaStorageTableTests");
  REQUIRE(Store(scratch.Path() + L"\\In 64", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  REQUIRE(Store(scratch.Path32() + L"\\In 32", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  Registry in64(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
  Registry in32(HKEY_LOCAL_MACHINE, scratch.Path(), View::k32Bit);
  const TestSupport::CountCalls opens{"RegOpenKeyExW"};
  const TestSupport::CountCalls closes{"RegCloseKey"};
  CHECK(in64.HasKey(L"In 64"));
  CHECK_FALSE(in64.HasKey(L"In 32"));
  CHECK_FALSE(in32.HasKey(L"In 64"));
  CHECK(in32.HasKey(L"In 32"));
  CHECK(opens.Calls() == 4);
  CHECK(closes.Calls() == 2);
}

TEST_CASE("asking for a subkey leaves what is open as it is") {
  const ScratchKey scratch(L"VelaStorageTableTests");
  REQUIRE(Store(scratch.Path(), L"Four", REG_DWORD, {4, 0, 0, 0}) == ERROR_SUCCESS);
  REQUIRE(Store(scratch.Path() + L"\\Sub", L"Four", REG_DWORD, {5, 0, 0, 0}) == ERROR_SUCCESS);
  Registry place(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
  place.OpenForReading();
  CHECK(place.HasKey(L"Sub"));
  CHECK_FALSE(place.HasKey(L"Four"));  // a value is no subkey
  CHECK(place.QueryNumber32(L"Four") == 4);
}

TEST_CASE("a subkey that may not be opened is not there") {
  const ScratchKey scratch(L"VelaStorageTableTests");
  REQUIRE(Store(scratch.Path() + L"\\Sub", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  Registry place(HKEY_LOCAL_MACHINE, scratch.Path() + L"\\", View::k64Bit);
  CHECK(place.HasKey(L"Sub"));
  const TestSupport::FailCall denied{"RegOpenKeyExW", 1, ERROR_ACCESS_DENIED};
  CHECK_FALSE(place.HasKey(L"Sub"));
  Registry nowhere(nullptr, L"x", View::k64Bit);
  CHECK_FALSE(nowhere.HasKey(L"Sub"));
}

TEST_CASE("every operation of a place reaches its key") {
  const ScratchKey scratch(L"VelaStorageTableTests");
  Registry registry(HKEY_LOCAL_MACHINE, scratch.Path(), View::k64Bit);
  Base& place = registry;
  CHECK(place.Create());
  place.SetNumber32({L"Four", 4});
  place.SetNumber64({L"Eight", 8});
  place.SetString({L"Text", L"t"}, OrCommon::Storage::StringKind::kExpandable);
  place.SetBinary({L"Bytes", {1}});
  const TestSupport::CountCalls flushes{"RegFlushKey"};
  place.Flush();
  CHECK(flushes.Calls() == 1);
  CHECK(place.QueryNumber32(L"Four") == 4);
  CHECK(place.QueryNumber64(L"Eight") == 8);
  CHECK(place.QueryString(L"Text") == L"t");
  CHECK(place.QueryBinary(L"Bytes") == std::vector<BYTE>{1});
  CHECK(OrCommonTests::ReadStored(scratch.Path(), L"Text").type == REG_EXPAND_SZ);
  place.Close();

  REQUIRE(Store(scratch.Path() + L"\\Sub", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  place.OpenForEnumerating();
  std::wstring name;
  CHECK(place.EnumerateSubkey(0, name));
  CHECK(name == L"Sub");
  CHECK_FALSE(place.EnumerateSubkey(1, name));
  CHECK(place.EnumerateValue(3, name));
  CHECK_FALSE(place.EnumerateValue(4, name));

  place.OpenForWriting();
  place.DeleteKey(L"Sub");
  CHECK_FALSE(KeyExists(scratch.Path() + L"\\Sub"));
  place.DeleteValue(L"Four");
  CHECK(OrCommonTests::ReadStored(scratch.Path(), L"Four").status == ERROR_FILE_NOT_FOUND);
}

}  // namespace
