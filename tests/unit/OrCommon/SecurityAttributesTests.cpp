// The access list of folders that this program makes.
#include "Common/OrCommon/OrComn_SecurityAttributes.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <memory>
#include <string>
#include <type_traits>

#include "tests/support/CallFailures.h"
#include "tests/support/ImportRedirection.h"
#include "tests/unit/OrCommon/HeapWatch.h"
#include "tests/unit/OrCommon/SecurityText.h"
#include "tests/unit/install/ScratchFolder.h"

using OrCommon::AccessControl::SecurityAttributes;
using OrCommonTests::LinesOf;
using OrCommonTests::LiveBlocks;
using TestSupport::ImportRedirection;
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

TEST_CASE("seven entries in order, none inherited, the list not defaulted") {
  SecurityAttributes attributes;
  CHECK_LINES(LinesOf(attributes.Get()->lpSecurityDescriptor), (kCreationPolicy));
}

TEST_CASE("the record has the platform's size and lets nobody inherit a handle") {
  SecurityAttributes attributes;
  CHECK(attributes.Get()->nLength == sizeof(SECURITY_ATTRIBUTES));
  CHECK(attributes.Get()->bInheritHandle == FALSE);
  CHECK(attributes.Get() == attributes.Get());
}

TEST_CASE("Windows makes a folder with it, and receives the seven entries") {
  const ScratchFolder scratch(L"security");
  const std::wstring folder = scratch.Path(L"made");
  TestSupport::Lines received;
  BOOL made = FALSE;
  {
    const ImportRedirection create{"CreateDirectoryW", [&](LPCWSTR path, SECURITY_ATTRIBUTES* attributes) -> BOOL {
                                     received = LinesOf(attributes->lpSecurityDescriptor);
                                     return create.Original<decltype(&::CreateDirectoryW)>()(path, attributes);
                                   }};
    made = ::CreateDirectoryW(folder.c_str(), SecurityAttributes().Get());
  }
  CHECK(made);
  CHECK(TestSupport::Exists(folder));
  CHECK_LINES(received, (kCreationPolicy));
}

TEST_CASE("each record owns its descriptor") {
  auto first = std::make_unique<SecurityAttributes>();
  SecurityAttributes second;
  CHECK(first->Get()->lpSecurityDescriptor != second.Get()->lpSecurityDescriptor);
  first.reset();
  CHECK_LINES(LinesOf(second.Get()->lpSecurityDescriptor), (kCreationPolicy));
  CHECK_FALSE(std::is_copy_constructible_v<SecurityAttributes>);
}

TEST_CASE("the descriptor is released with the record") {
  const long long before = LiveBlocks();
  long long within = 0;
  {
    const SecurityAttributes attributes;
    within = LiveBlocks();
  }
  const long long after = LiveBlocks();
  CHECK(within > before);
  CHECK(after == before);
}

#if !defined(__has_include) || !__has_include(<atlsecurity.h>)

TEST_CASE("an identifier has as many parts as were said") {
  const SID_IDENTIFIER_AUTHORITY nt = {SECURITY_NT_AUTHORITY};
  const SID_IDENTIFIER_AUTHORITY world = {SECURITY_WORLD_SID_AUTHORITY};
  const ATL::CSid two(nt, 2, 32, 547);
  const ATL::CSid one(world, 1, 0, 99);
  CHECK(OrCommonTests::TextOf(const_cast<SID*>(two.GetPSID())) == "S-1-5-32-547");
  CHECK(OrCommonTests::TextOf(const_cast<SID*>(one.GetPSID())) == "S-1-1-0");
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
