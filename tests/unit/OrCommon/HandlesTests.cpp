#include "Common/OrCommon/OrComn_Handles.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/CallFailures.h"

using namespace OrCommon;
using namespace TestSupport;

namespace {

constexpr DWORD kErrorBefore = 1234;

// Written again here, independent of the product: the closing call and the value for "no handle".
template <class Owner>
void CheckOwner(const char* closer, typename Owner::Type none) {
  using Type = typename Owner::Type;
  CAPTURE(std::string(closer));
  const FailCall close{closer, Calls::From(1), FailureReturn{0, ERROR_INVALID_HANDLE, true}};
  ::SetLastError(kErrorBefore);
  {
    const Owner made;
    const Owner nothing(none);
    CHECK(made.Get() == none);
    CHECK_FALSE(static_cast<bool>(made));
    CHECK_FALSE(static_cast<bool>(nothing));
  }
  CHECK(close.Calls() == 0);
  CHECK(static_cast<bool>(Owner(reinterpret_cast<Type>(ULONG_PTR{4}))));
  CHECK(close.Calls() == 1);
  CHECK(::GetLastError() == kErrorBefore);
  CHECK(std::is_base_of_v<boost::noncopyable, Owner>);
  CHECK_FALSE(std::is_copy_constructible_v<Owner>);
  CHECK_FALSE(std::is_copy_assignable_v<Owner>);
  CHECK(std::is_nothrow_move_constructible_v<Owner>);
  CHECK(std::is_nothrow_move_assignable_v<Owner>);
  CHECK_FALSE(std::is_convertible_v<Type, Owner>);
  CHECK_FALSE(std::is_convertible_v<Owner, bool>);
  CHECK(sizeof(Owner) == sizeof(Type));
}

TEST_CASE("each owner closes by its own call, but never its empty value; it can be moved but not copied") {
  CheckOwner<KernelHandle>("CloseHandle", nullptr);
  CheckOwner<FileHandle>("CloseHandle", INVALID_HANDLE_VALUE);
  CheckOwner<FindHandle>("FindClose", INVALID_HANDLE_VALUE);
  CheckOwner<RegistryKey>("RegCloseKey", nullptr);
  CheckOwner<Module>("FreeLibrary", nullptr);
  CheckOwner<OrCommon::Sid>("FreeSid", nullptr);
  CheckOwner<OrCommon::LocalMemory<wchar_t>>("LocalFree", nullptr);
  CHECK_FALSE(std::is_copy_constructible_v<LastErrorKeeper>);
}

HANDLE Made(ULONG_PTR number) {
  return reinterpret_cast<HANDLE>(number);
}

TEST_CASE("an owner closes what it owns once, and nothing it does not own") {
  using Numbers = std::vector<ULONG_PTR>;
  Numbers closed;
  const ImportRedirection close{"CloseHandle", [&](HANDLE value) -> BOOL {
                                  closed.push_back(reinterpret_cast<ULONG_PTR>(value));
                                  return FALSE;
                                }};
  {
    KernelHandle first(Made(1));
    const KernelHandle second(std::move(first));
    CHECK(first.Get() == nullptr);  // NOLINT(bugprone-use-after-move)
    CHECK(second.Get() == Made(1));
    CHECK(closed.empty());
  }
  CHECK(closed == Numbers{1});
  {
    KernelHandle first(Made(2));
    KernelHandle second(Made(3));
    first = std::move(second);
    CHECK(first.Get() == Made(3));
    CHECK(second.Get() == nullptr);  // NOLINT(bugprone-use-after-move)
    CHECK(closed == Numbers{1, 2});
    KernelHandle& same = first;
    first = std::move(same);
    CHECK(first.Get() == Made(3));
  }
  CHECK(closed == Numbers{1, 2, 3});
  KernelHandle owner(Made(4));
  owner.Reset(Made(5));
  CHECK(owner.Get() == Made(5));
  CHECK(closed == Numbers{1, 2, 3, 4});
  owner.Reset();
  owner.Reset();
  CHECK(owner.Get() == nullptr);
  CHECK(closed == Numbers{1, 2, 3, 4, 5});
  owner.Reset(Made(6));
  CHECK(owner.Release() == Made(6));
  CHECK(owner.Release() == nullptr);
  owner.Reset(Made(7));
  HANDLE* const place = owner.Receive();
  CHECK(*place == nullptr);
  *place = Made(8);
  owner.Reset();
  CHECK(closed == Numbers{1, 2, 3, 4, 5, 7, 8});
}

}  // namespace
