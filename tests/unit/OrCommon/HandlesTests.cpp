#include "Common/OrCommon/OrComn_Handles.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/ImportRedirection.h"

using OrCommon::FileHandle;
using OrCommon::FindHandle;
using OrCommon::KernelHandle;
using OrCommon::LastErrorKeeper;
using OrCommon::Module;
using OrCommon::RegistryKey;
using TestSupport::ImportRedirection;

namespace {

// What is expected of each owner, said again here and not taken from the product.
struct KernelCase {
  using Owner = KernelHandle;
  using Result = BOOL;
  static constexpr const char* kCloser = "CloseHandle";
  static HANDLE None() { return nullptr; }
};
struct FileCase {
  using Owner = FileHandle;
  using Result = BOOL;
  static constexpr const char* kCloser = "CloseHandle";
  static HANDLE None() { return INVALID_HANDLE_VALUE; }
};
struct FindCase {
  using Owner = FindHandle;
  using Result = BOOL;
  static constexpr const char* kCloser = "FindClose";
  static HANDLE None() { return INVALID_HANDLE_VALUE; }
};
struct RegistryCase {
  using Owner = RegistryKey;
  using Result = LSTATUS;
  static constexpr const char* kCloser = "RegCloseKey";
  static HKEY None() { return nullptr; }
};
struct ModuleCase {
  using Owner = Module;
  using Result = BOOL;
  static constexpr const char* kCloser = "FreeLibrary";
  static HMODULE None() { return nullptr; }
};

struct SidCase {
  using Owner = OrCommon::Sid;
  using Result = void*;
  static constexpr const char* kCloser = "FreeSid";
  static PSID None() { return nullptr; }
};
struct LocalMemoryCase {
  using Owner = OrCommon::LocalMemory<wchar_t>;
  using Result = HLOCAL;
  static constexpr const char* kCloser = "LocalFree";
  static wchar_t* None() { return nullptr; }
};

template <class Case>
typename Case::Owner::Type Made(ULONG_PTR number) {
  return reinterpret_cast<typename Case::Owner::Type>(number);
}

constexpr DWORD kErrorBefore = 1234;

// Records what is closed in place of closing it, and spoils the last-error code as a failing close does.
template <class Case>
class Closings {
 public:
  using Type = typename Case::Owner::Type;
  // What the closing call accepts: untyped memory where many kinds of it are closed alike.
  using Accepted = std::conditional_t<std::is_same_v<typename Case::Result, HLOCAL>, HLOCAL, Type>;

  Closings()
      : redirection_(Case::kCloser, [this](Accepted value) -> typename Case::Result {
          closed_.push_back(static_cast<Type>(value));
          ::SetLastError(ERROR_INVALID_HANDLE);
          return {};
        }) {
    ::SetLastError(kErrorBefore);
  }

  const std::vector<Type>& All() const { return closed_; }

 private:
  std::vector<Type> closed_;
  ImportRedirection redirection_;
};

#define EVERY_OWNER KernelCase, FileCase, FindCase, RegistryCase, ModuleCase, SidCase, LocalMemoryCase

TEST_CASE_TEMPLATE("an owner of nothing closes nothing", Case, EVERY_OWNER) {
  const Closings<Case> closings;
  {
    typename Case::Owner made;
    CHECK_FALSE(static_cast<bool>(made));
    CHECK(made.Get() == Case::None());
    made.Reset();
    const typename Case::Owner none(Case::None());
    CHECK_FALSE(static_cast<bool>(none));
  }
  CHECK(closings.All().empty());
}

TEST_CASE_TEMPLATE("what is owned is closed once, and the last-error code stays", Case, EVERY_OWNER) {
  const Closings<Case> closings;
  {
    const typename Case::Owner owner(Made<Case>(0x40));
    CHECK(static_cast<bool>(owner));
    CHECK(owner.Get() == Made<Case>(0x40));
    CHECK(closings.All().empty());
  }
  const DWORD error = ::GetLastError();
  CHECK(closings.All() == std::vector{Made<Case>(0x40)});
  CHECK(error == kErrorBefore);
}

TEST_CASE_TEMPLATE("a moved owner hands its resource on", Case, EVERY_OWNER) {
  const Closings<Case> closings;
  {
    typename Case::Owner first(Made<Case>(0x40));
    const typename Case::Owner second(std::move(first));
    CHECK(first.Get() == Case::None());  // NOLINT(bugprone-use-after-move)
    CHECK(second.Get() == Made<Case>(0x40));
  }
  CHECK(closings.All() == std::vector{Made<Case>(0x40)});
}

TEST_CASE_TEMPLATE("assigning to an owner closes what it had", Case, EVERY_OWNER) {
  const Closings<Case> closings;
  {
    typename Case::Owner first(Made<Case>(0x40));
    typename Case::Owner second(Made<Case>(0x80));
    first = std::move(second);
    CHECK(first.Get() == Made<Case>(0x80));
    CHECK(second.Get() == Case::None());  // NOLINT(bugprone-use-after-move)
    CHECK(closings.All() == std::vector{Made<Case>(0x40)});

    typename Case::Owner& same = first;
    first = std::move(same);
    CHECK(first.Get() == Made<Case>(0x80));
  }
  const DWORD error = ::GetLastError();
  CHECK(closings.All() == std::vector{Made<Case>(0x40), Made<Case>(0x80)});
  CHECK(error == kErrorBefore);
}

TEST_CASE_TEMPLATE("reset closes the old resource and takes the new one over", Case, EVERY_OWNER) {
  const Closings<Case> closings;
  typename Case::Owner owner(Made<Case>(0x40));
  owner.Reset(Made<Case>(0x80));
  CHECK(owner.Get() == Made<Case>(0x80));
  CHECK(closings.All() == std::vector{Made<Case>(0x40)});
  owner.Reset();
  owner.Reset();
  CHECK(owner.Get() == Case::None());
  CHECK(closings.All() == std::vector{Made<Case>(0x40), Made<Case>(0x80)});
  CHECK(::GetLastError() == kErrorBefore);
}

TEST_CASE_TEMPLATE("what is released is not closed", Case, EVERY_OWNER) {
  const Closings<Case> closings;
  {
    typename Case::Owner owner(Made<Case>(0x40));
    CHECK(owner.Release() == Made<Case>(0x40));
    CHECK_FALSE(static_cast<bool>(owner));
    CHECK(owner.Release() == Case::None());
  }
  CHECK(closings.All().empty());
}

TEST_CASE_TEMPLATE("a place to receive a new resource is empty, and what lands there is owned", Case, EVERY_OWNER) {
  const Closings<Case> closings;
  {
    typename Case::Owner owner(Made<Case>(0x40));
    typename Case::Owner::Type* const place = owner.Receive();
    CHECK(closings.All() == std::vector{Made<Case>(0x40)});
    CHECK(*place == Case::None());
    *place = Made<Case>(0x80);
    CHECK(owner.Get() == Made<Case>(0x80));
  }
  CHECK(closings.All() == std::vector{Made<Case>(0x40), Made<Case>(0x80)});
}

TEST_CASE_TEMPLATE("owners can be moved and not copied", Case, EVERY_OWNER) {
  using Owner = typename Case::Owner;
  CHECK(std::is_base_of_v<boost::noncopyable, Owner>);
  CHECK_FALSE(std::is_copy_constructible_v<Owner>);
  CHECK_FALSE(std::is_copy_assignable_v<Owner>);
  CHECK(std::is_nothrow_move_constructible_v<Owner>);
  CHECK(std::is_nothrow_move_assignable_v<Owner>);
  CHECK_FALSE(std::is_convertible_v<typename Owner::Type, Owner>);
  CHECK_FALSE(std::is_convertible_v<Owner, bool>);
  CHECK(sizeof(Owner) == sizeof(typename Owner::Type));
}

TEST_CASE("each kind knows its own value for nothing and owns the one of the other kind") {
  const Closings<KernelCase> closings;
  {
    const KernelHandle pseudo(INVALID_HANDLE_VALUE);
    CHECK(static_cast<bool>(pseudo));
    const FileHandle zero(nullptr);
    CHECK(static_cast<bool>(zero));
  }
  CHECK(closings.All() == std::vector<HANDLE>{nullptr, INVALID_HANDLE_VALUE});
  CHECK_FALSE(std::is_same_v<KernelHandle, FileHandle>);
  CHECK_FALSE(std::is_constructible_v<KernelHandle, FileHandle>);
  CHECK_FALSE(std::is_constructible_v<FindHandle, FileHandle>);
}

TEST_CASE("real resources are gone after their owners") {
  SUBCASE("event") {
    HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    REQUIRE(event != nullptr);
    DWORD flags = 0;
    CHECK(::GetHandleInformation(event, &flags));
    { const KernelHandle owner(event); }
    CHECK_FALSE(::GetHandleInformation(event, &flags));
  }
  SUBCASE("file") {
    wchar_t path[MAX_PATH] = {};
    REQUIRE(::GetModuleFileNameW(nullptr, path, MAX_PATH) != 0);
    const auto openAgain = [&] {
      return ::CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    };
    HANDLE file = openAgain();
    REQUIRE(file != INVALID_HANDLE_VALUE);
    DWORD flags = 0;
    { const FileHandle owner(file); }
    CHECK_FALSE(::GetHandleInformation(file, &flags));
  }
  SUBCASE("search") {
    WIN32_FIND_DATAW found;
    HANDLE search = ::FindFirstFileW(L"C:\\windows\\*", &found);
    REQUIRE(search != INVALID_HANDLE_VALUE);
    { const FindHandle owner(search); }
    CHECK_FALSE(::FindNextFileW(search, &found));
  }
  SUBCASE("registry key") {
    HKEY key = nullptr;
    REQUIRE(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &key) == ERROR_SUCCESS);
    { const RegistryKey owner(key); }
    CHECK(::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr) == ERROR_INVALID_HANDLE);
  }
  SUBCASE("local memory") {
    const HLOCAL memory = ::LocalAlloc(LMEM_MOVEABLE, 4);  // movable: its handle can be asked about
    REQUIRE(memory != nullptr);
    CHECK(::LocalFlags(memory) != LMEM_INVALID_HANDLE);
    { const OrCommon::LocalMemory<void> owner(memory); }
    CHECK(::LocalFlags(memory) == LMEM_INVALID_HANDLE);
  }
  SUBCASE("library") {
    REQUIRE(::GetModuleHandleW(L"mspatcha.dll") == nullptr);
    {
      const Module owner(::LoadLibraryW(L"mspatcha.dll"));
      REQUIRE(static_cast<bool>(owner));
      CHECK(::GetModuleHandleW(L"mspatcha.dll") == owner.Get());
    }
    CHECK(::GetModuleHandleW(L"mspatcha.dll") == nullptr);
  }
}

TEST_CASE("the keeper of the last-error code puts back what it found") {
  ::SetLastError(5);
  {
    const LastErrorKeeper outer;
    ::SetLastError(6);
    {
      const LastErrorKeeper inner;
      ::SetLastError(7);
    }
    CHECK(::GetLastError() == 6);
    ::SetLastError(8);
  }
  CHECK(::GetLastError() == 5);
  CHECK(std::is_base_of_v<boost::noncopyable, LastErrorKeeper>);
  CHECK_FALSE(std::is_copy_constructible_v<LastErrorKeeper>);
  CHECK_FALSE(std::is_move_constructible_v<LastErrorKeeper>);
}

}  // namespace
