// Values and subkeys: what is stored, and how values of other programs are read.
#include <doctest/doctest.h>

#include <windows.h>

#include <cstdint>
#include <cwchar>
#include <functional>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_Registry.h"
#include "tests/support/CallWatch.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/ScratchKey.h"
#include "tests/unit/OrCommon/ThrownFailure.h"

using namespace OrCommon::Storage;
using namespace OrCommonTests;
using namespace TestSupport;
using namespace std::string_literals;

namespace {

using Bytes = std::vector<BYTE>;

// A key with values of other programs, opened as the test needs it.
struct Fixture {
  ScratchKey scratch{L"VelaRegistryValueTests"};
  std::wstring path = scratch.Path();
  Registry registry{HKEY_LOCAL_MACHINE, path, View::kProcessDefault};
  Base& place = registry;

  Fixture() { place.Create(); }

  void Plant(const std::wstring& name, DWORD type, const Bytes& data) const {
    REQUIRE(Store(path, name, type, data) == ERROR_SUCCESS);
  }
  void CheckStored(const std::wstring& name, DWORD type, const Bytes& data) const {
    const StoredValue value = ReadStored(path, name);
    CHECK(value.status == ERROR_SUCCESS);
    CHECK(value.type == type);
    CHECK(value.data == data);
  }
  Bytes QueryData(const std::wstring& name, DWORD& type) const {
    Key key;
    key.OpenForReading(HKEY_LOCAL_MACHINE, path, View::kProcessDefault);
    return key.QueryData(name, type);
  }
  // The result of a text query for these bytes.
  std::wstring TextOf(DWORD type, const Bytes& data) const {
    Plant(L"Text", type, data);
    return place.QueryString(L"Text");
  }
};

TEST_CASE_FIXTURE(Fixture, "numbers are stored lowest byte first, texts with their terminator, bytes as they are") {
  place.SetNumber32({L"Four", 0x80300FDU});
  place.SetNumber64({L"Eight", 0x1122334455667788ULL});
  CheckStored(L"Four", REG_DWORD, {0xFD, 0x00, 0x03, 0x08});
  CheckStored(L"Eight", REG_QWORD, {0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11});
  CHECK(place.QueryNumber32(L"Four") == 0x80300FDU);
  CHECK(place.QueryNumber64(L"Eight") == 0x1122334455667788ULL);
  place.SetNumber32({L"Four", 0xFFFFFFFFU});
  CHECK(place.QueryNumber32(L"Four") == 0xFFFFFFFFU);
  place.SetString({L"Plain", L"ab"}, StringKind::kPlain);
  place.SetString({L"Expandable", L"%a%"}, StringKind::kExpandable);
  place.SetString({L"Empty", L""}, StringKind::kPlain);
  place.SetString({L"", L"x"}, StringKind::kPlain);  // the default value
  CheckStored(L"Plain", REG_SZ, {'a', 0, 'b', 0, 0, 0});
  CheckStored(L"Expandable", REG_EXPAND_SZ, {'%', 0, 'a', 0, '%', 0, 0, 0});
  CheckStored(L"Empty", REG_SZ, {0, 0});
  CheckStored(L"", REG_SZ, {'x', 0, 0, 0});
  for (const Bytes& bytes : {Bytes{1, 0, 255, 0}, Bytes{}}) {
    place.SetBinary({L"Bytes", bytes});
    CheckStored(L"Bytes", REG_BINARY, bytes);
  }
}

// The result of each query for a value: 'v' its data, 't' invalid data (another type, or too few bytes), 'm' too many.
struct Stored {
  DWORD type;
  Bytes data;
  const char* queries;  // as 32-bit number, 64-bit number, text, bytes
};

TEST_CASE_FIXTURE(Fixture, "a value of another type, or too short, is invalid data; one too long is more data") {
  const Bytes one = {1, 0, 0, 0};
  const Bytes longOne = {1, 0, 0, 0, 0, 0, 0, 0};
  for (const Stored& stored :
       {Stored{REG_NONE, {}, "tttt"}, Stored{REG_NONE, one, "tttt"}, Stored{REG_SZ, {'a', 0, 0, 0}, "ttvt"},
        Stored{REG_SZ, {'a', 0, 'b', 0, 'c', 0, 0, 0}, "ttvt"}, Stored{REG_SZ, Bytes(202, 0), "ttvt"},
        Stored{REG_DWORD_BIG_ENDIAN, {0, 0, 0, 1}, "tttt"}, Stored{REG_BINARY, one, "tttv"},
        Stored{REG_BINARY, longOne, "tttv"}, Stored{REG_DWORD, one, "vttt"}, Stored{REG_QWORD, longOne, "tvtt"},
        Stored{REG_DWORD, {1, 0}, "tttt"}, Stored{REG_DWORD, {}, "tttt"}, Stored{REG_QWORD, one, "tttt"},
        Stored{REG_DWORD, {1, 0, 0, 0, 0}, "mttt"}, Stored{REG_QWORD, Bytes(9, 1), "tmtt"}}) {
    CAPTURE(stored.type);
    CAPTURE(stored.data.size());
    Plant(L"Value", stored.type, stored.data);
    DWORD number32 = 1;
    std::uint64_t number64 = 1;
    Bytes bytes = stored.data;
    const std::function<void()> queries[] = {
        [&] { number32 = place.QueryNumber32(L"Value"); }, [&] { number64 = place.QueryNumber64(L"Value"); },
        [&] { place.QueryString(L"Value"); }, [&] { bytes = place.QueryBinary(L"Value"); }};
    std::string outcome;
    for (const auto& query : queries) {
      const std::string what = FailureOf(query).what;
      outcome += what == "nothing" ? 'v' : what == "registry 234" ? 'm' : what == "storage 13" ? 't' : '?';
    }
    CHECK(outcome == stored.queries);
    CHECK(number32 == 1);
    CHECK(number64 == 1);
    CHECK(bytes == stored.data);
  }
}

TEST_CASE_FIXTURE(Fixture, "a text ends at its terminator or data; a list loses only the terminators at its end") {
  const auto check = [&](DWORD type, const std::wstring& stored, const std::wstring& wanted) {
    CAPTURE(ToUtf8(stored));
    CHECK(TextOf(type, BytesOf(stored)) == wanted);
  };
  check(REG_SZ, L"abc", L"abc");
  check(REG_SZ, L"abc\0\0\0"s, L"abc");
  check(REG_SZ, L"abc\0def\0"s, L"abc");
  check(REG_SZ, L"\0abc"s, L"");
  check(REG_SZ, L"", L"");
  check(REG_SZ, std::wstring(20000, L'\u65E5') + L'\0', std::wstring(20000, L'\u65E5'));
  check(REG_EXPAND_SZ, L"%windir%\0"s, L"%windir%");
  check(REG_EXPAND_SZ, L"%windir%", L"%windir%");
  for (const std::size_t length : {7U, 8U, 9U}) {
    check(REG_MULTI_SZ, std::wstring(L"one\0two\0\0", length), L"one\0two"s);
  }
  for (const std::size_t length : {0U, 1U, 2U}) {
    check(REG_MULTI_SZ, std::wstring(L"\0\0", length), L"");
  }
  CHECK(TextOf(REG_SZ, {L'a'}).empty());                     // half a character
  CHECK(TextOf(REG_SZ, {L'a', 0, L'b', 0, L'c'}) == L"ab");  // two and a half
}

TEST_CASE_FIXTURE(Fixture, "data of any type and size are returned unchanged") {
  for (const auto& [type, data] : std::vector<std::pair<DWORD, Bytes>>{
           {REG_NONE, {}}, {REG_SZ, {1, 2, 3}}, {REG_BINARY, Bytes(60000, 0xA5)}, {REG_DWORD, {1, 2}}, {4711, {9}}}) {
    Plant(L"Any", type, data);
    DWORD storedType = 4711;
    CHECK(QueryData(L"Any", storedType) == data);
    CHECK(storedType == type);
  }
}

TEST_CASE_FIXTURE(Fixture, "the size of a text is queried first, that of a number is not; all buffers fit exactly") {
  Plant(L"Text", REG_SZ, BytesOf(L"abc\0"s));
  Plant(L"Four", REG_DWORD, {1, 0, 0, 0});
  Plant(L"Eight", REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0});
  std::vector<int> rooms;  // at each call, -1 without a buffer
  const OnCall query{"RegQueryValueExW", &::RegQueryValueExW,
                     [&](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE data, LPDWORD size) {
                       rooms.push_back(data != nullptr ? static_cast<int>(*size) : -1);
                     }};
  CHECK(place.QueryString(L"Text") == L"abc");
  CHECK(place.QueryNumber32(L"Four") == 1);
  CHECK(place.QueryNumber64(L"Eight") == 1);
  CHECK(rooms == std::vector<int>{-1, 8, 4, 8});
}

TEST_CASE_FIXTURE(Fixture, "a value that changes between two queries gives the new data or an error, never zeros") {
  DWORD newType = REG_SZ;
  Bytes newData;
  unsigned asked = 0;
  const AfterCall query{"RegQueryValueExW", &::RegQueryValueExW, [&] {
                          if (++asked == 1) {
                            Store(path, L"Text", newType, newData);
                          }
                        }};
  const auto change = [&](DWORD type, const Bytes& data) {
    Plant(L"Text", REG_SZ, BytesOf(L"abc\0"s));
    newType = type;
    newData = data;
    asked = 0;
  };
  change(REG_SZ, Bytes(14, 'x'));  // longer: what the call returned
  CHECK_FAILS(place.QueryString(L"Text"), "registry 234");
  change(REG_SZ, {'a', 0, 0, 0});  // shorter: the new text
  CHECK(place.QueryString(L"Text") == L"a");
  change(REG_BINARY, {1, 2});  // of another type: invalid data
  CHECK_FAILS(place.QueryString(L"Text"), "storage 13");
  change(REG_BINARY, {1, 2, 3});
  Plant(L"Text", REG_BINARY, {});  // from nothing to something: the result never consists of zeros
  DWORD type = REG_NONE;
  Bytes data;
  const auto failure = FailureOf([&] { data = QueryData(L"Text", type); });
  CHECK((failure.what == "registry 234" || data == Bytes{1, 2, 3}));
}

TEST_CASE_FIXTURE(Fixture, "values and subkeys are deleted") {
  Plant(L"Value", REG_SZ, {});
  Store(path + L"\\Sub", L"x", REG_SZ, {});
  Store(path + L"\\Full\\Inner", L"x", REG_SZ, {});
  place.OpenForWriting();
  place.DeleteValue(L"Value");
  CHECK(ReadStored(path, L"Value").status == ERROR_FILE_NOT_FOUND);
  place.DeleteKey(L"Sub");
  CHECK_FALSE(KeyExists(path + L"\\Sub"));
  CHECK_FAILS(place.DeleteValue(L"Value"), "registry 2");
  CHECK_FAILS(place.DeleteKey(L"Sub"), "registry 2");
  CHECK_FAILS(place.DeleteKey(L"Full"), "registry 5");
  CHECK(KeyExists(path + L"\\Full\\Inner"));
}

TEST_CASE_FIXTURE(Fixture, "subkeys and values are enumerated by index, to the last one") {
  using Names = std::vector<std::wstring>;
  const Names wantedKeys = {L"A", L"B c", std::wstring(255, L'k')};
  const Names wantedValues = {L"", L"Second", std::wstring(16383, L'v')};
  for (const std::wstring& key : wantedKeys) {
    REQUIRE(Store(path + L"\\" + key, L"x", REG_SZ, {}) == ERROR_SUCCESS);
  }
  for (const std::wstring& value : wantedValues) {
    Plant(value, REG_SZ, Bytes(50000, 1));
  }
  place.OpenForEnumerating();
  Names subkeys;
  Names values;
  std::wstring name;
  for (DWORD index = 0; place.EnumerateSubkey(index, name); ++index) {
    subkeys.push_back(name);
  }
  CHECK(name == wantedKeys.back());  // the end of the list does not change it
  for (DWORD index = 0; place.EnumerateValue(index, name); ++index) {
    values.push_back(name);
  }
  CHECK(subkeys == wantedKeys);
  CHECK(values == wantedValues);
}

}  // namespace
