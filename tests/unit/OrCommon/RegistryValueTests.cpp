// Values and subkeys: what is stored, and what is made of what others stored.
#include <doctest/doctest.h>

#include <windows.h>

#include <cstdint>
#include <cwchar>
#include <functional>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_Registry.h"
#include "tests/support/ImportRedirection.h"
#include "tests/unit/OrCommon/ScratchKey.h"
#include "tests/unit/OrCommon/ThrownFailure.h"

using OrCommon::Storage::Key;
using OrCommon::Storage::Registry;
using OrCommon::Storage::StringKind;
using OrCommon::Storage::View;
using OrCommonTests::BytesOf;
using OrCommonTests::KeyExists;
using OrCommonTests::ReadStored;
using OrCommonTests::ScratchKey;
using OrCommonTests::Store;
using OrCommonTests::StoredValue;
using TestSupport::ImportRedirection;

namespace {

using Bytes = std::vector<BYTE>;

// A key with values of other programs' making, open in the way a test wants it.
struct Fixture {
  ScratchKey scratch{L"VelaRegistryValueTests"};
  std::wstring path = scratch.Path();
  Key key;
  Registry place{HKEY_LOCAL_MACHINE, path, View::kProcessDefault};

  Fixture() { key.Create(HKEY_LOCAL_MACHINE, path, View::kProcessDefault); }

  void Plant(const std::wstring& name, DWORD type, const Bytes& data) const {
    REQUIRE(Store(path, name, type, data) == ERROR_SUCCESS);
  }
  void CheckStored(const std::wstring& name, DWORD type, const Bytes& data) const {
    const StoredValue value = ReadStored(path, name);
    CHECK(value.status == ERROR_SUCCESS);
    CHECK(value.type == type);
    CHECK(value.data == data);
  }
  // What a query of a text gives for these bytes.
  std::wstring TextOf(DWORD type, const Bytes& data) const {
    Plant(L"Text", type, data);
    return key.QueryString(L"Text");
  }
};

std::wstring Wide(const wchar_t* text, std::size_t length) {
  return {text, length};
}

TEST_CASE_FIXTURE(Fixture, "numbers are stored in 4 and 8 bytes, lowest first") {
  key.SetNumber32({L"Four", 0x80300FDU});
  key.SetNumber64({L"Eight", 0x1122334455667788ULL});
  CheckStored(L"Four", REG_DWORD, {0xFD, 0x00, 0x03, 0x08});
  CheckStored(L"Eight", REG_QWORD, {0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11});
  CHECK(key.QueryNumber32(L"Four") == 0x80300FDU);
  CHECK(key.QueryNumber64(L"Eight") == 0x1122334455667788ULL);
  key.SetNumber32({L"Four", 0xFFFFFFFFU});
  CHECK(key.QueryNumber32(L"Four") == 0xFFFFFFFFU);
}

TEST_CASE_FIXTURE(Fixture, "texts are stored with their terminator, plain or expandable") {
  key.SetString({L"Plain", L"WLMAilApiCppDllClient"}, StringKind::kPlain);
  key.SetString({L"Expandable", L"%windir%\\x"}, StringKind::kExpandable);
  key.SetString({L"Empty", L""}, StringKind::kPlain);
  CheckStored(L"Plain", REG_SZ, BytesOf(Wide(L"WLMAilApiCppDllClient\0", 22)));
  CheckStored(L"Expandable", REG_EXPAND_SZ, BytesOf(Wide(L"%windir%\\x\0", 11)));
  CheckStored(L"Empty", REG_SZ, {0, 0});
  CHECK(key.QueryString(L"Expandable") == L"%windir%\\x");
  CHECK(key.QueryString(L"Empty").empty());
}

TEST_CASE_FIXTURE(Fixture, "bytes are stored as they are, none of them too") {
  key.SetBinary({L"Bytes", {1, 0, 255, 0}});
  key.SetBinary({L"None", {}});
  CheckStored(L"Bytes", REG_BINARY, {1, 0, 255, 0});
  CheckStored(L"None", REG_BINARY, {});
}

TEST_CASE_FIXTURE(Fixture, "values of another type than asked for are invalid data") {
  Plant(L"None", REG_NONE, {});
  Plant(L"NoneOfFour", REG_NONE, {1, 0, 0, 0});
  Plant(L"Text", REG_SZ, BytesOf(Wide(L"a\0", 2)));                     // as long as a 32-bit number
  Plant(L"Longer", REG_SZ, BytesOf(Wide(L"abc\0", 4)));                 // as long as a 64-bit one
  Plant(L"Longest", REG_SZ, BytesOf(std::wstring(100, L'x') + L'\0'));  // longer than any number
  Plant(L"BigEndian", REG_DWORD_BIG_ENDIAN, {0, 0, 0, 1});
  Plant(L"Bytes", REG_BINARY, {1, 0, 0, 0});
  Plant(L"EightBytes", REG_BINARY, {1, 0, 0, 0, 0, 0, 0, 0});
  Plant(L"Four", REG_DWORD, {1, 0, 0, 0});
  Plant(L"Eight", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0});
  for (const wchar_t* const name :
       {L"None", L"NoneOfFour", L"Text", L"Longer", L"Longest", L"BigEndian", L"Bytes", L"EightBytes", L"Eight"}) {
    CAPTURE(std::string(name, name + std::wcslen(name)));
    CHECK_FAILS(key.QueryNumber32(name), kStorage, ERROR_INVALID_DATA);
  }
  for (const wchar_t* const name :
       {L"None", L"NoneOfFour", L"Text", L"Longer", L"Longest", L"BigEndian", L"Bytes", L"EightBytes", L"Four"}) {
    CAPTURE(std::string(name, name + std::wcslen(name)));
    CHECK_FAILS(key.QueryNumber64(name), kStorage, ERROR_INVALID_DATA);
  }
  for (const wchar_t* const name : {L"None", L"NoneOfFour", L"BigEndian", L"Bytes", L"EightBytes", L"Four", L"Eight"}) {
    CAPTURE(std::string(name, name + std::wcslen(name)));
    CHECK_FAILS(key.QueryString(name), kStorage, ERROR_INVALID_DATA);
  }
  place.OpenForReading();
  for (const wchar_t* const name : {L"None", L"NoneOfFour", L"Text", L"Longest", L"BigEndian", L"Four", L"Eight"}) {
    CAPTURE(std::string(name, name + std::wcslen(name)));
    CHECK_FAILS(place.QueryBinary(name), kStorage, ERROR_INVALID_DATA);
  }
  CHECK(place.QueryBinary(L"Bytes") == Bytes{1, 0, 0, 0});
  CHECK(place.QueryString(L"Text") == L"a");
  CHECK(place.QueryNumber32(L"Four") == 1);
  CHECK(place.QueryNumber64(L"Eight") == 1);
}

TEST_CASE_FIXTURE(Fixture, "a number that was stored with too few bytes is invalid data") {
  Plant(L"Four", REG_DWORD, {1, 0});
  Plant(L"Eight", REG_QWORD, {1, 0, 0, 0});
  Plant(L"Nothing", REG_DWORD, {});
  CHECK_FAILS(key.QueryNumber32(L"Four"), kStorage, ERROR_INVALID_DATA);
  CHECK_FAILS(key.QueryNumber64(L"Eight"), kStorage, ERROR_INVALID_DATA);
  CHECK_FAILS(key.QueryNumber32(L"Nothing"), kStorage, ERROR_INVALID_DATA);
}

TEST_CASE_FIXTURE(Fixture, "a number that was stored with too many bytes throws what the call returned") {
  Plant(L"Four", REG_DWORD, {1, 0, 0, 0, 0});
  Plant(L"Eight", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0, 0});
  CHECK_FAILS(key.QueryNumber32(L"Four"), kRegistry, ERROR_MORE_DATA);
  CHECK_FAILS(key.QueryNumber64(L"Eight"), kRegistry, ERROR_MORE_DATA);
}

TEST_CASE_FIXTURE(Fixture, "a text ends at its terminator, or with its data where it has none") {
  CHECK(TextOf(REG_SZ, BytesOf(Wide(L"abc\0", 4))) == L"abc");
  CHECK(TextOf(REG_SZ, BytesOf(L"abc")) == L"abc");
  CHECK(TextOf(REG_SZ, BytesOf(Wide(L"abc\0\0\0", 6))) == L"abc");
  CHECK(TextOf(REG_SZ, BytesOf(Wide(L"abc\0def\0", 8))) == L"abc");
  CHECK(TextOf(REG_SZ, BytesOf(Wide(L"\0abc", 4))).empty());
  CHECK(TextOf(REG_SZ, {}).empty());
  CHECK(TextOf(REG_SZ, {L'a'}).empty());                     // half a character
  CHECK(TextOf(REG_SZ, {L'a', 0, L'b', 0, L'c'}) == L"ab");  // two and a half
  CHECK(TextOf(REG_EXPAND_SZ, BytesOf(Wide(L"%windir%\0", 9))) == L"%windir%");
  CHECK(TextOf(REG_EXPAND_SZ, BytesOf(L"%windir%")) == L"%windir%");
  const std::wstring longText(20000, L'\u65E5');
  CHECK(TextOf(REG_SZ, BytesOf(longText + L'\0')) == longText);
}

TEST_CASE_FIXTURE(Fixture, "several texts keep their inner terminators and lose the final ones") {
  CHECK(TextOf(REG_MULTI_SZ, BytesOf(Wide(L"one\0two\0\0", 9))) == Wide(L"one\0two", 7));
  CHECK(TextOf(REG_MULTI_SZ, BytesOf(Wide(L"one\0two\0", 8))) == Wide(L"one\0two", 7));
  CHECK(TextOf(REG_MULTI_SZ, BytesOf(Wide(L"one\0two", 7))) == Wide(L"one\0two", 7));
  CHECK(TextOf(REG_MULTI_SZ, BytesOf(Wide(L"one\0\0", 5))) == L"one");
  CHECK(TextOf(REG_MULTI_SZ, BytesOf(Wide(L"\0", 1))).empty());
  CHECK(TextOf(REG_MULTI_SZ, BytesOf(Wide(L"\0\0", 2))).empty());
  CHECK(TextOf(REG_MULTI_SZ, {}).empty());
}

TEST_CASE_FIXTURE(Fixture, "data of any type and size come as they are") {
  const auto check = [&](DWORD type, const Bytes& data) {
    Plant(L"Any", type, data);
    DWORD storedType = 4711;
    CHECK(key.QueryData(L"Any", storedType) == data);
    CHECK(storedType == type);
  };
  check(REG_NONE, {});
  check(REG_NONE, {1});
  check(REG_SZ, {1, 2, 3});
  check(REG_BINARY, Bytes(60000, 0xA5));
  check(REG_DWORD, {1, 2});
  check(REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8});
  check(4711, {9});
}

// What RegQueryValueExW was told, and what somebody else does to the value between the two calls for it.
class Queries {
 public:
  struct Call {
    bool wantsData;
    DWORD size;
  };
  explicit Queries(std::function<void()> between = [] {}) : between_(std::move(between)) {}
  std::vector<Call> calls;

 private:
  std::function<void()> between_;
  ImportRedirection query_{
      "RegQueryValueExW",
      [this](HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) -> LSTATUS {
        calls.push_back({data != nullptr, *size});
        const LSTATUS status = query_.Original<decltype(&::RegQueryValueExW)>()(key, name, reserved, type, data, size);
        if (calls.size() == 1) {
          between_();
        }
        return status;
      }};
};

TEST_CASE_FIXTURE(Fixture, "text and data are asked for their size first and then for exactly that") {
  Plant(L"Text", REG_SZ, BytesOf(Wide(L"abc\0", 4)));
  Queries queries;
  CHECK(key.QueryString(L"Text") == L"abc");
  REQUIRE(queries.calls.size() == 2);
  CHECK_FALSE(queries.calls[0].wantsData);
  CHECK(queries.calls[1].wantsData);
  CHECK(queries.calls[1].size == 8);
}

TEST_CASE_FIXTURE(Fixture, "numbers are asked for once, with room for exactly one") {
  Plant(L"Four", REG_DWORD, {1, 0, 0, 0});
  Plant(L"Eight", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0});
  Queries queries;
  CHECK(key.QueryNumber32(L"Four") == 1);
  CHECK(key.QueryNumber64(L"Eight") == 1);
  REQUIRE(queries.calls.size() == 2);
  CHECK(queries.calls[0].wantsData);
  CHECK(queries.calls[0].size == 4);
  CHECK(queries.calls[1].wantsData);
  CHECK(queries.calls[1].size == 8);
}

TEST_CASE_FIXTURE(Fixture, "a value that changes between its size and its data") {
  const auto replaceBy = [this](DWORD type, const Bytes& data) { return [=] { Store(path, L"Text", type, data); }; };
  Plant(L"Text", REG_SZ, BytesOf(Wide(L"abc\0", 4)));
  SUBCASE("longer: what the call returned") {
    const Queries queries(replaceBy(REG_SZ, BytesOf(Wide(L"abcdef\0", 7))));
    CHECK_FAILS(key.QueryString(L"Text"), kRegistry, ERROR_MORE_DATA);
  }
  SUBCASE("shorter: the new text") {
    const Queries queries(replaceBy(REG_SZ, BytesOf(Wide(L"a\0", 2))));
    CHECK(key.QueryString(L"Text") == L"a");
  }
  SUBCASE("of another type: invalid data") {
    const Queries queries(replaceBy(REG_BINARY, {1, 2}));
    CHECK_FAILS(key.QueryString(L"Text"), kStorage, ERROR_INVALID_DATA);
  }
  SUBCASE("from nothing to something: never a text of zeros") {
    Plant(L"Text", REG_BINARY, {});
    DWORD type = REG_NONE;
    Bytes data;
    const Queries queries(replaceBy(REG_BINARY, {1, 2, 3}));
    const auto failure = OrCommonTests::FailureOf([&] { data = key.QueryData(L"Text", type); });
    CHECK((failure.code == ERROR_MORE_DATA || data == Bytes{1, 2, 3}));
  }
}

TEST_CASE_FIXTURE(Fixture, "the default value has the empty name") {
  key.SetString({L"", L"default"}, StringKind::kPlain);
  CHECK(key.QueryString(L"") == L"default");
  CheckStored(L"", REG_SZ, BytesOf(Wide(L"default\0", 8)));
}

TEST_CASE_FIXTURE(Fixture, "values and subkeys are deleted") {
  Plant(L"Value", REG_SZ, {});
  REQUIRE(Store(path + L"\\Sub", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  REQUIRE(Store(path + L"\\Full\\Inner", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  key.OpenForWriting(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
  key.DeleteValue(L"Value");
  CHECK(ReadStored(path, L"Value").status == ERROR_FILE_NOT_FOUND);
  key.DeleteKey(L"Sub");
  CHECK_FALSE(KeyExists(path + L"\\Sub"));

  CHECK_FAILS(key.DeleteValue(L"Value"), kRegistry, ERROR_FILE_NOT_FOUND);
  CHECK_FAILS(key.DeleteKey(L"Sub"), kRegistry, ERROR_FILE_NOT_FOUND);
  CHECK_FAILS(key.DeleteKey(L"Full"), kRegistry, ERROR_ACCESS_DENIED);
  CHECK(KeyExists(path + L"\\Full\\Inner"));
}

TEST_CASE_FIXTURE(Fixture, "subkeys and values are enumerated by index, to the last one") {
  const std::wstring longest(255, L'k');
  REQUIRE(Store(path + L"\\A", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  REQUIRE(Store(path + L"\\B c", L"x", REG_SZ, {}) == ERROR_SUCCESS);
  REQUIRE(Store(path + L"\\" + longest, L"x", REG_SZ, {}) == ERROR_SUCCESS);
  const std::wstring longestValue(16383, L'v');
  Plant(L"", REG_SZ, {});
  Plant(L"Second", REG_SZ, Bytes(50000, 1));
  Plant(longestValue, REG_DWORD, {1, 0, 0, 0});
  key.OpenForEnumerating(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);

  std::vector<std::wstring> subkeys;
  std::wstring name = L"before";
  for (DWORD index = 0; key.EnumerateSubkey(index, name); ++index) {
    subkeys.push_back(name);
  }
  CHECK(subkeys == std::vector<std::wstring>{L"A", L"B c", longest});
  CHECK(name == longest);  // the end leaves it

  std::vector<std::wstring> values;
  for (DWORD index = 0; key.EnumerateValue(index, name); ++index) {
    values.push_back(name);
  }
  CHECK(values == std::vector<std::wstring>{L"", L"Second", longestValue});
  CHECK_FALSE(key.EnumerateSubkey(1000, name));
  CHECK_FALSE(key.EnumerateValue(1000, name));
}

TEST_CASE_FIXTURE(Fixture, "an empty key has nothing to enumerate") {
  key.OpenForEnumerating(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
  std::wstring name;
  CHECK_FALSE(key.EnumerateSubkey(0, name));
  CHECK_FALSE(key.EnumerateValue(0, name));
}

}  // namespace
