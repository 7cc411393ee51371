#include "Common/OrCommon/OrComn_Registry.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "Common/OrCommon/OrComn_System.h"

namespace OrCommon::Storage {
namespace {

constexpr char kSourceFile[] = "..\\..\\Common\\OrCommon\\OrComn_Registry.cpp";

// The lines that identify the two failures before any registry call.
constexpr DWORD kLineNoParent = 885;
constexpr DWORD kLineNotOpen = 874;

// Longest names that the registry allows, in characters with their terminator.
constexpr DWORD kSubkeyNameCapacity = 256;
constexpr DWORD kValueNameCapacity = 16384;

constexpr REGSAM ViewRights(View view) noexcept {
  switch (view) {
    case View::k32Bit:
      return KEY_WOW64_32KEY;
    case View::k64Bit:
      return KEY_WOW64_64KEY;
    case View::kProcessDefault:
      break;
  }
  return 0;
}

void Check(LSTATUS status, DWORD line) {
  if (status != ERROR_SUCCESS) {
    throw new RegException(static_cast<DWORD>(status), line);
  }
}

// Lets end-of-enumeration through as false.
bool CheckMore(LSTATUS status, DWORD line) {
  if (status == ERROR_NO_MORE_ITEMS) {
    return false;
  }
  Check(status, line);
  return true;
}

// Calls `query` and returns the code of a thrown storage failure.
template <class Data, class Query>
bool Try(Data& data, DWORD& error, const Query& query) {
  try {
    data = query();
    error = ERROR_SUCCESS;
    return true;
  } catch (Exception* failure) {
    const std::unique_ptr<Exception> owner(failure);
    error = owner->Code();
    return false;
  }
}

}  // namespace

Exception::Exception(DWORD code, DWORD line) : Base(code, line, kSourceFile) {}

RegException::RegException(DWORD code, DWORD line) : Exception(code, line) {}

View GetSystemView() noexcept {
  return System::Is64BitSystem() ? View::k64Bit : View::kProcessDefault;
}

Key::~Key() = default;

void Key::Open(HKEY parent, const std::wstring& path, View view, REGSAM purpose, DWORD line) {
  if (parent == nullptr) {
    throw new Exception(ERROR_BAD_ARGUMENTS, kLineNoParent);
  }
  Check(::RegOpenKeyExW(parent, path.c_str(), 0, purpose | ViewRights(view), handle_.Receive()), line);
  parent_ = parent;
  path_ = path;
  view_ = view;
}

void Key::OpenForReading(HKEY parent, const std::wstring& path, View view) {
  Open(parent, path, view, KEY_QUERY_VALUE, __LINE__);
}

void Key::OpenForWriting(HKEY parent, const std::wstring& path, View view) {
  Open(parent, path, view, KEY_SET_VALUE | DELETE, __LINE__);
}

void Key::OpenForEnumerating(HKEY parent, const std::wstring& path, View view) {
  Open(parent, path, view, KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS, __LINE__);
}

bool Key::Create(HKEY parent, const std::wstring& path, View view) {
  if (parent == nullptr) {
    throw new Exception(ERROR_BAD_ARGUMENTS, kLineNoParent);
  }
  DWORD disposition = 0;
  Check(::RegCreateKeyExW(parent, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                          KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY | ViewRights(view), nullptr,
                          handle_.Receive(), &disposition),
        __LINE__);
  parent_ = parent;
  path_ = path;
  view_ = view;
  return disposition == REG_CREATED_NEW_KEY;
}

HKEY Key::RequireOpen() const {
  if (!handle_) {
    throw new Exception(ERROR_INVALID_HANDLE, kLineNotOpen);
  }
  return handle_.Get();
}

void Key::Close() {
  RequireOpen();
  Check(::RegCloseKey(handle_.Release()), __LINE__);  // here, not by the owner, because the result is reported
}

void Key::Flush() {
  Check(::RegFlushKey(RequireOpen()), __LINE__);
}

void Key::QueryFixed(const std::wstring& name, DWORD type, void* data, DWORD size) const {
  DWORD storedType = REG_NONE;
  DWORD storedSize = size;
  const LSTATUS status =
      ::RegQueryValueExW(RequireOpen(), name.c_str(), nullptr, &storedType, static_cast<BYTE*>(data), &storedSize);
  // A wrong type is reported as such, even if its data do not fit.
  const bool answered = status == ERROR_SUCCESS || status == ERROR_MORE_DATA;
  if (answered && storedType != type) {
    throw new Exception(ERROR_INVALID_DATA, __LINE__);
  }
  Check(status, __LINE__);
  if (storedSize != size) {
    throw new Exception(ERROR_INVALID_DATA, __LINE__);
  }
}

DWORD Key::QueryNumber32(const std::wstring& name) const {
  DWORD number = 0;
  QueryFixed(name, REG_DWORD, &number, sizeof number);
  return number;
}

std::uint64_t Key::QueryNumber64(const std::wstring& name) const {
  std::uint64_t number = 0;
  QueryFixed(name, REG_QWORD, &number, sizeof number);
  return number;
}

std::vector<BYTE> Key::QueryData(const std::wstring& name, DWORD& type) const {
  const HKEY key = RequireOpen();
  DWORD size = 0;
  Check(::RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size), __LINE__);
  size = std::max<DWORD>(size, 1);  // without a buffer the second call would only query the size again
  std::vector<BYTE> data(size);
  Check(::RegQueryValueExW(key, name.c_str(), nullptr, &type, data.data(), &size), __LINE__);
  data.resize(size);
  return data;
}

std::wstring Key::QueryString(const std::wstring& name) const {
  DWORD type = REG_NONE;
  const std::vector<BYTE> data = QueryData(name, type);
  if (type != REG_SZ && type != REG_EXPAND_SZ && type != REG_MULTI_SZ) {
    throw new Exception(ERROR_INVALID_DATA, __LINE__);
  }
  std::wstring text(data.size() / sizeof(wchar_t), L'\0');
  if (!text.empty()) {
    std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
  }
  // The stored text may lack its terminator, or have more than one.
  const std::size_t end = type == REG_MULTI_SZ ? text.find_last_not_of(L'\0') + 1 : text.find(L'\0');
  text.resize(std::min(end, text.size()));
  return text;
}

void Key::Set(const std::wstring& name, DWORD type, const void* data, std::size_t size, DWORD line) {
  const HKEY key = RequireOpen();
  if (size > std::numeric_limits<DWORD>::max()) {
    throw new Exception(ERROR_INVALID_DATA, line);
  }
  Check(::RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size)), line);
}

void Key::SetNumber32(const Number32Value& value) {
  Set(value.name, REG_DWORD, &value.data, sizeof value.data, __LINE__);
}

void Key::SetNumber64(const Number64Value& value) {
  Set(value.name, REG_QWORD, &value.data, sizeof value.data, __LINE__);
}

void Key::SetString(const StringValue& value, StringKind kind) {
  Set(value.name, static_cast<DWORD>(kind), value.data.c_str(), (value.data.size() + 1) * sizeof(wchar_t), __LINE__);
}

void Key::SetBinary(const BinaryValue& value) {
  Set(value.name, REG_BINARY, value.data.data(), value.data.size(), __LINE__);
}

void Key::DeleteKey(const std::wstring& name) {
  Check(::RegDeleteKeyW(RequireOpen(), name.c_str()), __LINE__);
}

void Key::DeleteValue(const std::wstring& name) {
  Check(::RegDeleteValueW(RequireOpen(), name.c_str()), __LINE__);
}

bool Key::EnumerateSubkey(DWORD index, std::wstring& name) const {
  wchar_t buffer[kSubkeyNameCapacity];
  DWORD length = kSubkeyNameCapacity;
  if (!CheckMore(::RegEnumKeyExW(RequireOpen(), index, buffer, &length, nullptr, nullptr, nullptr, nullptr),
                 __LINE__)) {
    return false;
  }
  name.assign(buffer, length);
  return true;
}

bool Key::EnumerateValue(DWORD index, std::wstring& name) const {
  std::vector<wchar_t> buffer(kValueNameCapacity);
  DWORD length = kValueNameCapacity;
  if (!CheckMore(::RegEnumValueW(RequireOpen(), index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr),
                 __LINE__)) {
    return false;
  }
  name.assign(buffer.data(), length);
  return true;
}

bool Registry::TryQueryBinary(const std::wstring& name, std::vector<BYTE>& data, DWORD& error) {
  return Try(data, error, [&] { return QueryBinary(name); });
}

bool Registry::TryQueryString(const std::wstring& name, std::wstring& data, DWORD& error) {
  return Try(data, error, [&] { return QueryString(name); });
}

bool Registry::TryQueryNumber64(const std::wstring& name, std::uint64_t& data, DWORD& error) {
  return Try(data, error, [&] { return QueryNumber64(name); });
}

bool Registry::TryQueryNumber32(const std::wstring& name, DWORD& data, DWORD& error) {
  return Try(data, error, [&] { return QueryNumber32(name); });
}

std::vector<BYTE> Registry::QueryBinary(const std::wstring& name) {
  DWORD type = REG_NONE;
  std::vector<BYTE> data = key_.QueryData(name, type);
  if (type != REG_BINARY) {
    throw new Exception(ERROR_INVALID_DATA, __LINE__);
  }
  return data;
}

bool Registry::HasKey(const std::wstring& name) {
  // Uses a separate key, so that the open one does not change.
  Registry subkey(root_, path_.empty() || path_.back() == L'\\' ? path_ + name : path_ + L'\\' + name, view_);
  try {
    subkey.OpenForReading();
    return true;
  } catch (Exception* failure) {
    delete failure;
    return false;
  }
}

}  // namespace OrCommon::Storage
