// The access list of folders that this program makes.
#include "Common/OrCommon/OrComn_SecurityAttributes.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <memory>
#include <string>
#include <type_traits>

#include "tests/support/HeapWatch.h"
#include "tests/support/ScratchFolder.h"
#include "tests/unit/OrCommon/SecurityText.h"

using OrCommon::AccessControl::SecurityAttributes;
using namespace OrCommonTests;
using TestSupport::ScratchFolder;

namespace {

const TestSupport::Lines kCreationPolicy = {
    "absolute, revision 1, list present",
    "allow 0x001f01ff flags 0x00 S-1-5-32-544",  // administrators
    "allow 0x001f01ff flags 0x00 S-1-5-32-547",  // power users
    "allow 0x001f01ff flags 0x00 S-1-5-18",      // the local system
    "allow 0x001100c7 flags 0x00 S-1-5-11",      // authenticated users
    "allow 0x001100c7 flags 0x00 S-1-5-32-545",  // users
    "allow 0x001100c7 flags 0x00 S-1-5-4",       // interactive
    "allow 0x001f01ff flags 0x00 S-1-1-0",       // everyone
};

TEST_CASE("seven entries in order, none inherited; the record lets nobody inherit a handle and owns its descriptor") {
  auto first = std::make_unique<SecurityAttributes>();
  const auto second = std::make_unique<SecurityAttributes>();
  CHECK(first->Get()->lpSecurityDescriptor != second->Get()->lpSecurityDescriptor);
  first.reset();
  CHECK_LINES(LinesOf(second->Get()->lpSecurityDescriptor), (kCreationPolicy));
  CHECK(second->Get()->nLength == sizeof(SECURITY_ATTRIBUTES));
  CHECK(second->Get()->bInheritHandle == FALSE);
  CHECK_FALSE(std::is_copy_constructible_v<SecurityAttributes>);
}

TEST_CASE("Windows makes a folder with it; the descriptor is released with the record") {
  const ScratchFolder scratch(L"security");
  const std::wstring folder = scratch.Path(L"made");
  const long long before = LiveBlocks();
  const BOOL made = ::CreateDirectoryW(folder.c_str(), SecurityAttributes().Get());
  const long long after = LiveBlocks();
  CHECK(made);
  CHECK(after == before);
}

#if !defined(__has_include) || !__has_include(<atlsecurity.h>)

TEST_CASE("an identifier has as many parts as were said") {
  const SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
  const SID_IDENTIFIER_AUTHORITY world = {SECURITY_WORLD_SID_AUTHORITY};
  const ATL::CSid two(nt, 2, 32, 547);
  const ATL::CSid one(world, 1, 0, 99);
  CHECK(TextOf(const_cast<SID*>(two.GetPSID())) == "S-1-5-32-547");
  CHECK(TextOf(const_cast<SID*>(one.GetPSID())) == "S-1-1-0");
  CHECK(two.GetLength() == 16);
  CHECK(one.GetLength() == 12);
  const ATL::CSid copy = two;
  CHECK(copy.GetPSID() != two.GetPSID());
  CHECK(::EqualSid(const_cast<SID*>(copy.GetPSID()), const_cast<SID*>(two.GetPSID())));
}

TEST_CASE("a list keeps the order, masks and flags of its entries and has no byte too many") {
  const SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
  ATL::CDacl list;
  CHECK_LINES(LinesOf(list.GetPACL()), {});
  CHECK(list.AddAllowedAce(ATL::CSid(nt, 1, 18, 0), 0x1F01FF, CONTAINER_INHERIT_ACE));
  CHECK(list.AddAllowedAce(ATL::CSid(nt, 2, 32, 544), 1, 0));
  CHECK(list.AddAllowedAce(ATL::CSid(nt, 1, 18, 0), 2, 0));
  CHECK_LINES(LinesOf(list.GetPACL()),
              {"allow 0x001f01ff flags 0x02 S-1-5-18", "allow 0x00000001 flags 0x00 S-1-5-32-544",
               "allow 0x00000002 flags 0x00 S-1-5-18"});
  CHECK(list.GetPACL()->AclSize == sizeof(ACL) + (8 + 12) + (8 + 16) + (8 + 12));
}

TEST_CASE("a descriptor keeps a list of its own and says whether it is defaulted") {
  const SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
  ATL::CSecurityDesc descriptor;
  CHECK_LINES(LinesOf(static_cast<const void*>(descriptor.GetPSECURITY_DESCRIPTOR())),
              {"absolute, revision 1, no list", "invalid"});
  {
    ATL::CDacl list;
    list.AddAllowedAce(ATL::CSid(nt, 1, 4, 0), 3, 0);
    descriptor.SetDacl(list, true);
    list.AddAllowedAce(ATL::CSid(nt, 1, 18, 0), 4, 0);
  }
  CHECK_LINES(LinesOf(static_cast<const void*>(descriptor.GetPSECURITY_DESCRIPTOR())),
              {"absolute, revision 1, list present, defaulted", "allow 0x00000003 flags 0x00 S-1-5-4"});
}

#endif

}  // namespace
