// Owners of Windows resources, which close them.
//
// Each kind has one closing call and one value that means "none". Both are part of its type: a file handle
// (INVALID_HANDLE_VALUE) is not a kernel handle (null), although Windows calls both HANDLE. No code closes one by hand.
#pragma once

#include <windows.h>

#include <boost/noncopyable.hpp>

namespace OrCommon {

// Restores the thread's last-error code at the end of the scope. Messages print GetLastError after clean-up and after
// other messages, so code that runs in between must not change it.
class LastErrorKeeper : private boost::noncopyable {
 public:
  LastErrorKeeper() noexcept : error_(::GetLastError()) {}
  ~LastErrorKeeper() { ::SetLastError(error_); }

 private:
  const DWORD error_;
};

// Owns one resource described by Traits:
//   using Type = ...;                        the resource's type
//   static Type None() noexcept;             the value that stands for "nothing owned"
//   static void Close(Type value) noexcept;  closes it
// Closing never changes the last-error code.
template <class Traits>
class UniqueResource : private boost::noncopyable {
 public:
  using Type = typename Traits::Type;

  UniqueResource() noexcept : value_(Traits::None()) {}
  explicit UniqueResource(Type value) noexcept : value_(value) {}
  UniqueResource(UniqueResource&& other) noexcept : boost::noncopyable(), value_(other.Release()) {}
  UniqueResource& operator=(UniqueResource&& other) noexcept {
    if (this != &other) {
      Reset(other.Release());
    }
    return *this;
  }
  ~UniqueResource() { Reset(); }

  explicit operator bool() const noexcept { return value_ != Traits::None(); }
  Type Get() const noexcept { return value_; }

  // Closes the owned resource and takes ownership of `value`.
  void Reset(Type value = Traits::None()) noexcept {
    if (value_ != Traits::None()) {
      const LastErrorKeeper keeper;
      Traits::Close(value_);
    }
    value_ = value;
  }

  // Gives up ownership without closing.
  [[nodiscard]] Type Release() noexcept {
    const Type value = value_;
    value_ = Traits::None();
    return value;
  }

  // Closes the owned resource. Returns the address at which a Windows call stores a new one.
  Type* Receive() noexcept {
    Reset();
    return &value_;
  }

 private:
  Type value_;
};

// Processes, threads, tokens, events: "none" is null.
struct KernelHandleTraits {
  using Type = HANDLE;
  static Type None() noexcept { return nullptr; }
  static void Close(Type value) noexcept { ::CloseHandle(value); }
};
using KernelHandle = UniqueResource<KernelHandleTraits>;

// CreateFileW and CreateToolhelp32Snapshot: "none" is INVALID_HANDLE_VALUE.
struct FileHandleTraits {
  using Type = HANDLE;
  static Type None() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Type value) noexcept { ::CloseHandle(value); }
};
using FileHandle = UniqueResource<FileHandleTraits>;

// FindFirstFileW: "none" is INVALID_HANDLE_VALUE.
struct FindHandleTraits {
  using Type = HANDLE;
  static Type None() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Type value) noexcept { ::FindClose(value); }
};
using FindHandle = UniqueResource<FindHandleTraits>;

struct RegistryKeyTraits {
  using Type = HKEY;
  static Type None() noexcept { return nullptr; }
  static void Close(Type value) noexcept { ::RegCloseKey(value); }
};
using RegistryKey = UniqueResource<RegistryKeyTraits>;

// A library loaded with LoadLibraryW.
struct ModuleTraits {
  using Type = HMODULE;
  static Type None() noexcept { return nullptr; }
  static void Close(Type value) noexcept { ::FreeLibrary(value); }
};
using Module = UniqueResource<ModuleTraits>;

// A security identifier of AllocateAndInitializeSid.
struct SidTraits {
  using Type = PSID;
  static Type None() noexcept { return nullptr; }
  static void Close(Type value) noexcept { ::FreeSid(value); }
};
using Sid = UniqueResource<SidTraits>;

// Memory that Windows allocates with LocalAlloc for the caller.
template <class Pointee>
struct LocalMemoryTraits {
  using Type = Pointee*;
  static Type None() noexcept { return nullptr; }
  static void Close(Type value) noexcept { ::LocalFree(value); }
};
template <class Pointee>
using LocalMemory = UniqueResource<LocalMemoryTraits<Pointee>>;

}  // namespace OrCommon
