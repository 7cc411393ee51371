#include "Common/OrCommon/OrComn_Handles.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/ImportRedirection.h"

using namespace OrCommon;
using TestSupport::ImportRedirection;

namespace {

// What is expected of each owner, said again here and not taken from the product: the closing call, its result and the
// value for nothing.
#define OWNER_CASE(Name, OwnerType, Returned, closer, none) \
  struct Name {                                             \
    using Owner = OwnerType;                                \
    using Result = Returned;                                \
    static constexpr const char* kCloser = closer;          \
    static OwnerType::Type None() { return none; }          \
  }
OWNER_CASE(KernelCase, KernelHandle, BOOL, "CloseHandle", nullptr);
OWNER_CASE(FileCase, FileHandle, BOOL, "CloseHandle", INVALID_HANDLE_VALUE);
OWNER_CASE(FindCase, FindHandle, BOOL, "FindClose", INVALID_HANDLE_VALUE);
OWNER_CASE(RegistryCase, RegistryKey, LSTATUS, "RegCloseKey", nullptr);
OWNER_CASE(ModuleCase, Module, BOOL, "FreeLibrary", nullptr);
OWNER_CASE(SidCase, OrCommon::Sid, void*, "FreeSid", nullptr);
OWNER_CASE(LocalMemoryCase, OrCommon::LocalMemory<wchar_t>, HLOCAL, "LocalFree", nullptr);

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

TEST_CASE_TEMPLATE("an owner closes what it owns once, and nothing it does not own", Case, EVERY_OWNER) {
  using Owner = typename Case::Owner;
  const Closings<Case> closings;
  const auto closed = [&](const std::vector<ULONG_PTR>& numbers) {
    std::vector<typename Owner::Type> wanted;
    for (const ULONG_PTR number : numbers) {
      wanted.push_back(Made<Case>(number));
    }
    return closings.All() == wanted;
  };
  {
    Owner made;
    CHECK_FALSE(static_cast<bool>(made));
    CHECK(made.Get() == Case::None());
    made.Reset();
    const Owner none(Case::None());
    CHECK_FALSE(static_cast<bool>(none));
  }
  CHECK(closings.All().empty());
  {
    Owner first(Made<Case>(1));
    CHECK(static_cast<bool>(first));
    const Owner second(std::move(first));
    CHECK(first.Get() == Case::None());  // NOLINT(bugprone-use-after-move)
    CHECK(second.Get() == Made<Case>(1));
    CHECK(closings.All().empty());
  }
  CHECK(closed({1}));
  {
    Owner first(Made<Case>(2));
    Owner second(Made<Case>(3));
    first = std::move(second);
    CHECK(first.Get() == Made<Case>(3));
    CHECK(second.Get() == Case::None());  // NOLINT(bugprone-use-after-move)
    CHECK(closed({1, 2}));
    Owner& same = first;
    first = std::move(same);
    CHECK(first.Get() == Made<Case>(3));
  }
  CHECK(closed({1, 2, 3}));
  {
    Owner owner(Made<Case>(4));
    owner.Reset(Made<Case>(5));
    CHECK(owner.Get() == Made<Case>(5));
    CHECK(closed({1, 2, 3, 4}));
    owner.Reset();
    owner.Reset();
    CHECK(owner.Get() == Case::None());
    CHECK(closed({1, 2, 3, 4, 5}));
  }
  {
    Owner owner(Made<Case>(6));
    CHECK(owner.Release() == Made<Case>(6));
    CHECK_FALSE(static_cast<bool>(owner));
    CHECK(owner.Release() == Case::None());
  }
  {
    Owner owner(Made<Case>(7));
    typename Owner::Type* const place = owner.Receive();
    CHECK(closed({1, 2, 3, 4, 5, 7}));
    CHECK(*place == Case::None());
    *place = Made<Case>(8);
  }
  CHECK(::GetLastError() == kErrorBefore);
  CHECK(closed({1, 2, 3, 4, 5, 7, 8}));
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

TEST_CASE("the keeper of the last-error code puts back what it found") {
  ::SetLastError(5);
  {
    const LastErrorKeeper keeper;
    ::SetLastError(6);
  }
  CHECK(::GetLastError() == 5);
  CHECK_FALSE(std::is_copy_constructible_v<LastErrorKeeper>);
}

}  // namespace
