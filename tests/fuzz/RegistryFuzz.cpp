// Values of the registry (Common/OrCommon/OrComn_Registry.h, settings/ProductSettings.h). For any stored type and
// bytes, a query returns them as documented or fails with a code, and reads no byte beyond them.
#include <cstring>

#include "Common/OrCommon/OrComn_Registry.h"
#include "settings/ProductSettings.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/host/HostWindows.h"

using Fuzz::Require;
using HostWindows::machine;
using OrCommon::Storage::Registry;

namespace {

constexpr wchar_t kName[] = L"value";
constexpr std::size_t kLongestUserText = 2048;  // bytes

std::wstring Units(const std::vector<BYTE>& bytes) {
  std::wstring units;
  for (std::size_t index = 0; index + 1 < bytes.size(); index += 2) {
    units += static_cast<wchar_t>(bytes[index] | bytes[index + 1] << 8);
  }
  return units;
}

std::wstring UpToTerminator(const std::vector<BYTE>& bytes) {
  std::wstring text;
  for (const wchar_t unit : Units(bytes)) {
    if (unit == L'\0') {
      break;
    }
    text += unit;
  }
  return text;
}

std::wstring WithoutFinalTerminators(const std::vector<BYTE>& bytes) {
  std::wstring text = Units(bytes);
  while (!text.empty() && text.back() == L'\0') {
    text.pop_back();
  }
  return text;
}

template <class Number>
Number FromBytes(const std::vector<BYTE>& bytes) {
  Number number = 0;
  if (bytes.size() == sizeof number) {
    std::memcpy(&number, bytes.data(), sizeof number);
  }
  return number;
}

// The result of a query, for a comparison as a whole.
template <class Data>
struct Answer {
  bool succeeded;
  Data data;
  DWORD error;
  bool operator==(const Answer& other) const {
    return succeeded == other.succeeded && data == other.data && error == other.error;
  }
};

template <class Data, class Query>
Answer<Data> Ask(Registry& registry, const Query& query, const Data& before) {
  Answer<Data> answer = {false, before, 0};
  answer.succeeded = (registry.*query)(kName, answer.data, answer.error);
  return answer;
}

// `wanted`: the query returns this stored type. A value that grows in the meantime is reported as such.
template <class Data>
Answer<Data> Expected(bool wanted, const Data& data, const Data& before, bool grows) {
  if (grows) {
    return {false, before, ERROR_MORE_DATA};
  }
  return wanted ? Answer<Data>{true, data, 0} : Answer<Data>{false, before, ERROR_INVALID_DATA};
}

void CheckQueries(DWORD type, const std::vector<BYTE>& bytes, std::size_t growth) {
  Registry registry(HKEY_LOCAL_MACHINE, L"key", OrCommon::Storage::View::k64Bit);
  registry.OpenForReading();
  const auto store = [&](std::size_t grown) {
    machine.values = {{kName, type, bytes}};
    machine.growth = grown;
  };
  // At least one byte is always requested, so only a value that grows beyond it is too long.
  const bool grows = growth != 0 && bytes.size() + growth > 1;

  store(growth);
  const std::vector<BYTE> noBytes = {1, 2, 3};
  const auto binary = Ask(registry, &Registry::TryQueryBinary, noBytes);
  if (growth == 0 || grows) {
    Require(binary == Expected(type == REG_BINARY, bytes, noBytes, grows), "bytes are returned as stored");
  }

  store(growth);
  const std::wstring noText = L"before";
  const bool isText = type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
  const std::wstring text = type == REG_MULTI_SZ ? WithoutFinalTerminators(bytes) : UpToTerminator(bytes);
  const auto read = Ask(registry, &Registry::TryQueryString, noText);
  if (growth == 0 || grows) {
    Require(read == Expected(isText, text, noText, grows), "a text is returned up to its end");
  }

  store(0);
  const auto number32 = Ask<DWORD>(registry, &Registry::TryQueryNumber32, 7);
  Require(number32 == Expected<DWORD>(type == REG_DWORD && bytes.size() == 4, FromBytes<DWORD>(bytes), 7, false) ||
              (type == REG_DWORD && bytes.size() > 4 && number32.error == ERROR_MORE_DATA),
          "only a whole 32-bit number is returned");
  const auto number64 = Ask<std::uint64_t>(registry, &Registry::TryQueryNumber64, 7);
  Require(number64 == Expected<std::uint64_t>(type == REG_QWORD && bytes.size() == 8, FromBytes<std::uint64_t>(bytes),
                                              7, false) ||
              (type == REG_QWORD && bytes.size() > 8 && number64.error == ERROR_MORE_DATA),
          "only a whole 64-bit number is returned");
}

void CheckSettings(const std::vector<BYTE>& bytes) {
  machine.growth = 0;
  machine.values = {{kName, REG_SZ, bytes}, {VELAUtility::kEnableValue, REG_SZ, bytes}};
  std::wstring text = L"before";
  std::vector<BYTE> whole = bytes;  // half a character at the end is read as a whole one
  whole.resize(bytes.size() + bytes.size() % 2);
  const bool readable = bytes.size() <= kLongestUserText;
  Require(VELAUtility::ReadUserStringValue(L"hive", kName, text) == readable, "a text of up to 2,048 bytes is read");
  Require(text == (readable ? UpToTerminator(whole) : L""), "a user's text is returned up to its end, or empty");
  DWORD enabled = 2;
  Require(VELAUtility::GetVELAEnable(enabled) == (bytes.size() <= 4), "the switch can be read up to four bytes");
  Require(enabled <= 1, "the switch is on or off");
  if (bytes.size() == 4) {
    Require(enabled == (FromBytes<DWORD>(bytes) == 1 ? 1U : 0U), "only 1 means on");
  }
}

void CheckNames(const std::vector<std::wstring>& names) {
  Registry registry(HKEY_LOCAL_MACHINE, L"key", OrCommon::Storage::View::k64Bit);
  registry.OpenForEnumerating();
  machine.subkeys = names;
  std::wstring name;
  for (DWORD index = 0; index <= names.size(); ++index) {
    try {
      const bool more = registry.EnumerateSubkey(index, name);
      Require(more == (index < names.size()), "every subkey is listed, then the end");
      Require(!more || name == names[index], "a subkey's whole name is returned");
    } catch (OrCommon::Storage::Exception* failure) {
      Require(failure->Code() == ERROR_MORE_DATA && names[index].size() >= 256, "only a name beyond the limit fails");
      delete failure;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  HostWindows::Reset();
  const DWORD type = input.Number() % 13;
  const std::size_t growth = input.Number() % 8;
  const std::size_t length = input.Number();  // of the value; the rest of the input is repeated up to this length
  std::vector<std::wstring> names;
  std::vector<BYTE> bytes;
  while (!input.AtEnd()) {
    names.push_back(input.Text());
    for (const wchar_t character : names.back()) {
      bytes.push_back(static_cast<BYTE>(character & 0xFF));
      bytes.push_back(static_cast<BYTE>(character == L'0' ? 0 : character >> 8));
    }
    bytes.push_back(0);
  }
  const std::vector<BYTE> pattern = bytes;
  bytes.resize(length % 3000);
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    bytes[index] = pattern.empty() ? BYTE{0} : pattern[index % pattern.size()];
  }

  CheckQueries(type, bytes, growth);
  CheckSettings(bytes);
  CheckNames(names);
  Require(machine.openHandles == 0, "every key is closed");
  return 0;
}
