// The access list of folders that this program makes.
#include "Common/OrCommon/OrComn_SecurityAttributes.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <memory>
#include <type_traits>

#include "tests/support/HeapWatch.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/OrCommon/SecurityText.h"

using OrCommon::AccessControl::SecurityAttributes;
using namespace OrCommonTests;

namespace {

TEST_CASE("seven entries in order, none inherited; the record lets nobody inherit a handle and owns its descriptor") {
  auto first = std::make_unique<SecurityAttributes>();
  const auto second = std::make_unique<SecurityAttributes>();
  CHECK(first->Get()->lpSecurityDescriptor != second->Get()->lpSecurityDescriptor);
  first.reset();
  // Administrators, power users, the local system; authenticated users, users, interactive; everyone.
  CHECK(
      TextOf(second->Get()->lpSecurityDescriptor) ==
      "0004 D:(A;;FA;;;BA)(A;;FA;;;PU)(A;;FA;;;SY)(A;;0x1100c7;;;AU)(A;;0x1100c7;;;BU)(A;;0x1100c7;;;IU)(A;;FA;;;WD)");
  CHECK(second->Get()->nLength == sizeof(SECURITY_ATTRIBUTES));
  CHECK(second->Get()->bInheritHandle == FALSE);
  CHECK_FALSE(std::is_copy_constructible_v<SecurityAttributes>);
}

TEST_CASE("Windows makes a folder with it; the descriptor is released with the record") {
  const TestSupport::ScratchFolder scratch(L"security");
  const std::wstring folder = scratch.Path(L"made");
  const long long before = LiveBlocks();
  const BOOL made = ::CreateDirectoryW(folder.c_str(), SecurityAttributes().Get());
  const long long after = LiveBlocks();
  CHECK(made);
  CHECK(after == before);
}

#if !defined(__has_include) || !__has_include(<atlsecurity.h>)
TEST_CASE("a descriptor keeps a list of its own, as it was added, with no byte too many") {
  const SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
  const SID_IDENTIFIER_AUTHORITY world = {SECURITY_WORLD_SID_AUTHORITY};
  ATL::CSecurityDesc descriptor;
  CHECK(TextOf(descriptor.GetPSECURITY_DESCRIPTOR()) == "0000 ");
  {
    const ATL::CSid two(nt, 2, 32, 547);
    CHECK(two.GetLength() == 16);
    ATL::CDacl list;
    CHECK(list.AddAllowedAce(ATL::CSid(nt, 1, 18, 0), 0x1F01FF, CONTAINER_INHERIT_ACE));
    CHECK(list.AddAllowedAce(ATL::CSid(two), 0x1100C7, 0));
    CHECK(list.AddAllowedAce(ATL::CSid(world, 1, 0, 99), 0x1100C6, 0));
    CHECK(list.GetPACL()->AclSize == sizeof(ACL) + (8 + 12) + (8 + 16) + (8 + 12));
    descriptor.SetDacl(list, true);
    list.AddAllowedAce(two, 4, 0);
  }
  CHECK(TextOf(descriptor.GetPSECURITY_DESCRIPTOR()) == "000c D:(A;CI;FA;;;SY)(A;;0x1100c7;;;PU)(A;;0x1100c6;;;WD)");
}
#endif

}  // namespace
