// The registry as objects.
//
// Key is an open key; Registry is a location (root, path, view) with the same operations as virtual members. Every
// failure is thrown as a pointer to an Exception, which the catching function owns and deletes (see
// OrComn_Exception.h). A 64-bit system keeps two registries: the view is an argument of every open and create call.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Exception.h"
#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::Storage {

// A storage operation could not be started, or returned unexpected data. Code() is a Windows error code:
// ERROR_BAD_ARGUMENTS (line 885) if an open or create has no parent key, ERROR_INVALID_HANDLE (line 874) if the key is
// not open, ERROR_INVALID_DATA if a value has another type or a size that its type does not allow.
class Exception : public OrCommon::Exception::Base {
 public:
  Exception(DWORD code, DWORD line);
};

// A registry call failed. Code() is its result.
class RegException : public Exception {
 public:
  RegException(DWORD code, DWORD line);
};

enum class View : DWORD {
  kProcessDefault = 0,
  k32Bit = 1,
  k64Bit = 2,
};

// The view of the system's own programs: the 64-bit one on a 64-bit system, regardless of what this process was built
// for; on any other system the only one.
View GetSystemView() noexcept;

// A value of a key: its name and its data.
template <class Data>
struct Value {
  std::wstring name;
  Data data;
};
using Number32Value = Value<DWORD>;
using Number64Value = Value<std::uint64_t>;
using StringValue = Value<std::wstring>;
using BinaryValue = Value<std::vector<BYTE>>;

enum class StringKind : DWORD { kPlain = REG_SZ, kExpandable = REG_EXPAND_SZ };

// An open registry key. All members but the constructor and the destructor throw Exception*. The commands use strings,
// 32-bit numbers and DeleteValue; the rest serves Registry, below.
class Key : private boost::noncopyable {
 public:
  Key() = default;
  virtual ~Key();

  // Open or create `path` below `parent` (a predefined root or an open key). A previously open key is closed, even if
  // this fails. Each requests only the rights that its purpose needs.
  void OpenForReading(HKEY parent, const std::wstring& path, View view);
  void OpenForWriting(HKEY parent, const std::wstring& path, View view);
  void OpenForEnumerating(HKEY parent, const std::wstring& path, View view);
  bool Create(HKEY parent, const std::wstring& path, View view);  // true: made; false: existed and was opened

  bool IsOpen() const noexcept { return static_cast<bool>(handle_); }
  // Where the key was last opened.
  HKEY Parent() const noexcept { return parent_; }
  const std::wstring& Path() const noexcept { return path_; }
  View OpenedView() const noexcept { return view_; }

  void Close();
  void Flush();

  DWORD QueryNumber32(const std::wstring& name) const;
  std::uint64_t QueryNumber64(const std::wstring& name) const;
  // REG_SZ and REG_EXPAND_SZ (unexpanded): the text up to its terminator. REG_MULTI_SZ: all texts with their inner
  // terminators, without the final ones.
  std::wstring QueryString(const std::wstring& name) const;
  // The data of any value as stored; `type` receives the REG_... type.
  std::vector<BYTE> QueryData(const std::wstring& name, DWORD& type) const;

  void SetNumber32(const Number32Value& value);
  void SetNumber64(const Number64Value& value);
  void SetString(const StringValue& value, StringKind kind);  // the size counts the terminator
  void SetBinary(const BinaryValue& value);

  void DeleteKey(const std::wstring& name);
  void DeleteValue(const std::wstring& name);

  // The name of the subkey or value at `index`, counted from 0; false after the last one.
  bool EnumerateSubkey(DWORD index, std::wstring& name) const;
  bool EnumerateValue(DWORD index, std::wstring& name) const;

 private:
  void Open(HKEY parent, const std::wstring& path, View view, REGSAM purpose, DWORD line);
  HKEY RequireOpen() const;
  void QueryFixed(const std::wstring& name, DWORD type, void* data, DWORD size) const;
  void Set(const std::wstring& name, DWORD type, const void* data, std::size_t size, DWORD line);

  RegistryKey handle_;
  HKEY parent_ = nullptr;  // not owned
  std::wstring path_;
  View view_ = View::kProcessDefault;
};

// A place that keeps named values. Contract of the common library: programs built against it call an operation by its
// slot in the virtual table. So never change the order, and add new members at the end. The commands use Key.
class Base {
 public:
  Base() = default;
  Base(const Base&) = delete;
  Base& operator=(const Base&) = delete;
  virtual ~Base() = default;

  virtual void OpenForReading() = 0;
  virtual bool Create() = 0;  // true: made; false: existed and was opened
  virtual void OpenForWriting() = 0;
  virtual void OpenForEnumerating() = 0;
  virtual void Close() = 0;
  virtual void Flush() = 0;
  // Each query comes in two forms. TryQuery... calls the throwing form. If that throws, it returns false and the code
  // in `error`, and does not change `data`. Otherwise it returns true and `error` is 0.
  virtual bool TryQueryBinary(const std::wstring& name, std::vector<BYTE>& data, DWORD& error) = 0;
  virtual std::vector<BYTE> QueryBinary(const std::wstring& name) = 0;
  virtual bool TryQueryString(const std::wstring& name, std::wstring& data, DWORD& error) = 0;
  virtual std::wstring QueryString(const std::wstring& name) = 0;
  virtual bool TryQueryNumber64(const std::wstring& name, std::uint64_t& data, DWORD& error) = 0;
  virtual std::uint64_t QueryNumber64(const std::wstring& name) = 0;
  virtual bool TryQueryNumber32(const std::wstring& name, DWORD& data, DWORD& error) = 0;
  virtual DWORD QueryNumber32(const std::wstring& name) = 0;
  virtual void SetBinary(const BinaryValue& value) = 0;
  virtual void SetString(const StringValue& value, StringKind kind) = 0;
  virtual void SetNumber64(const Number64Value& value) = 0;
  virtual void SetNumber32(const Number32Value& value) = 0;
  virtual void DeleteKey(const std::wstring& name) = 0;
  virtual bool HasKey(const std::wstring& name) = 0;  // true if the subkey can be opened for reading
  virtual void DeleteValue(const std::wstring& name) = 0;
  virtual bool EnumerateSubkey(DWORD index, std::wstring& name) = 0;
  virtual bool EnumerateValue(DWORD index, std::wstring& name) = 0;
};

// A key of the registry as a Base; a contract that no command uses, like Base. Open or create it before any other call.
class Registry : public Base {
 public:
  // `root` is a predefined root, or an open key that outlives this object.
  Registry(HKEY root, std::wstring path, View view) : root_(root), path_(std::move(path)), view_(view) {}

  void OpenForReading() override { key_.OpenForReading(root_, path_, view_); }
  bool Create() override { return key_.Create(root_, path_, view_); }
  void OpenForWriting() override { key_.OpenForWriting(root_, path_, view_); }
  void OpenForEnumerating() override { key_.OpenForEnumerating(root_, path_, view_); }
  void Close() override { key_.Close(); }
  void Flush() override { key_.Flush(); }
  bool TryQueryBinary(const std::wstring& name, std::vector<BYTE>& data, DWORD& error) override;
  bool TryQueryString(const std::wstring& name, std::wstring& data, DWORD& error) override;
  bool TryQueryNumber64(const std::wstring& name, std::uint64_t& data, DWORD& error) override;
  bool TryQueryNumber32(const std::wstring& name, DWORD& data, DWORD& error) override;
  std::vector<BYTE> QueryBinary(const std::wstring& name) override;  // REG_BINARY only
  std::wstring QueryString(const std::wstring& name) override { return key_.QueryString(name); }
  std::uint64_t QueryNumber64(const std::wstring& name) override { return key_.QueryNumber64(name); }
  DWORD QueryNumber32(const std::wstring& name) override { return key_.QueryNumber32(name); }
  void SetBinary(const BinaryValue& value) override { key_.SetBinary(value); }
  void SetString(const StringValue& value, StringKind kind) override { key_.SetString(value, kind); }
  void SetNumber64(const Number64Value& value) override { key_.SetNumber64(value); }
  void SetNumber32(const Number32Value& value) override { key_.SetNumber32(value); }
  void DeleteKey(const std::wstring& name) override { key_.DeleteKey(name); }
  bool HasKey(const std::wstring& name) override;
  void DeleteValue(const std::wstring& name) override { key_.DeleteValue(name); }
  bool EnumerateSubkey(DWORD index, std::wstring& name) override { return key_.EnumerateSubkey(index, name); }
  bool EnumerateValue(DWORD index, std::wstring& name) override { return key_.EnumerateValue(index, name); }

 private:
  HKEY root_;
  std::wstring path_;
  View view_;
  Key key_;
};

}  // namespace OrCommon::Storage
