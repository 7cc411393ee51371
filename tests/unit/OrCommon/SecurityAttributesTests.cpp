// The access control lists for new and for existing folders: how they are built, and that everything for them is
// released.
#include "Common/OrCommon/OrComn_SecurityAttributes.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <aclapi.h>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <string>
#include <type_traits>

#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/SecurityText.h"

using namespace OrCommon::AccessControl;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

TEST_CASE("seven entries in order, none inherited; handles are not inheritable; each record has its own descriptor") {
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

TEST_CASE("Windows creates a folder with the record; the descriptor is released with the record") {
  const ScratchFolder scratch(L"security");
  const std::wstring folder = scratch.Path(L"made");
  const long long before = LiveBlocks();
  const BOOL made = ::CreateDirectoryW(folder.c_str(), SecurityAttributes().Get());
  const long long after = LiveBlocks();
  CHECK(made);
  CHECK(after == before);
}

#if !defined(__has_include) || !__has_include(<atlsecurity.h>)
TEST_CASE("a descriptor has its own copy of the list, in order; the list has no unused bytes") {
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

// What building the list takes from Windows and gives back. A call that FailCall fails later does not get here.
struct Belongings {
  CountCalls sids{"AllocateAndInitializeSid"};
  CountCalls freedSids{"FreeSid"};
  CountCalls lists{"SetEntriesInAclW"};
  CountCalls blocks{"LocalAlloc"};
  CountCalls freedBlocks{"LocalFree"};

  void CheckAllGivenBack() const {
    CHECK(freedSids.Calls() == sids.Calls());
    CHECK(freedBlocks.Calls() == lists.Calls() + blocks.Calls());
  }
};

// Applies the rules and returns what is printed to the standard output during that.
std::string PrintedBy(const std::wstring& folder, const ScratchFolder& scratch) {
  const std::wstring file = scratch.Path(L"printed");
  std::fflush(stdout);
  const int before = ::_dup(1);
  const int printed = ::_wopen(file.c_str(), _O_CREAT | _O_TRUNC | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
  ::_dup2(printed, 1);
  ::_close(printed);
  const int result = ApplyFolderAccessRules(folder);
  std::fflush(stdout);
  ::_dup2(before, 1);
  ::_close(before);
  CHECK(result == 1);
  return FileContent(file);
}

std::string Describe(const EXPLICIT_ACCESS_W& entry) {
  const TRUSTEE_W& trustee = entry.Trustee;
  char* sid = nullptr;
  REQUIRE(::ConvertSidToStringSidA(trustee.ptstrName, &sid));
  char text[128] = {};
  std::snprintf(text, sizeof text, "mask 0x%08x mode %d inheritance %u form %d type %d multiple %d %d %s",
                static_cast<unsigned>(entry.grfAccessPermissions), static_cast<int>(entry.grfAccessMode),
                static_cast<unsigned>(entry.grfInheritance), static_cast<int>(trustee.TrusteeForm),
                static_cast<int>(trustee.TrusteeType), trustee.pMultipleTrustee == nullptr ? 0 : 1,
                static_cast<int>(trustee.MultipleTrusteeOperation), sid);
  ::LocalFree(sid);
  return text;
}

TEST_CASE("three entries are prepared and two used: everyone and the users get full access to each file and folder") {
  const ScratchFolder scratch(L"rules");
  scratch.MakeFile(L"folder\\file", "text");
  Lines entries;
  Lines stamps;
  Lines allocations;
  const OnCall setEntries{"SetEntriesInAclW", &::SetEntriesInAclW,
                          [&](ULONG count, EXPLICIT_ACCESS_W* passed, ACL* old, ACL**) {
                            CHECK(count == 2);
                            CHECK(old == nullptr);
                            entries = {Describe(passed[0]), Describe(passed[1]), Describe(passed[2])};
                          }};
  const OnCall stamp{"SetFileSecurityW", &::SetFileSecurityW,
                     [&](LPCWSTR, SECURITY_INFORMATION kind, PSECURITY_DESCRIPTOR descriptor) {
                       stamps.push_back(std::to_string(kind) + " " + TextOf(descriptor));
                     }};
  const OnCall allocate{"LocalAlloc", &::LocalAlloc, [&](UINT flags, SIZE_T size) {
                          allocations.push_back(std::to_string(flags) + " " + std::to_string(size));
                        }};
  CHECK(PrintedBy(scratch.Path(L"folder"), scratch).empty());
  // Set (2) for an identifier (0) of a well-known group (5) or a group (2).
  const std::string group = "mask 0x001f01ff mode 2 inheritance 0 form 0 type 2 multiple 0 0 S-1-5-32-";
  CHECK_LINES(entries, {"mask 0x001f01ff mode 2 inheritance 0 form 0 type 5 multiple 0 0 S-1-1-0", group + "545",
                        group + "544"});
  CHECK_LINES(stamps, (Lines(2, "4 0004 D:(A;;FA;;;WD)(A;;FA;;;BU)")));
  CHECK_LINES(allocations, {"64 40"});  // LPTR: zero-filled; the smallest descriptor
}

TEST_CASE("if a call fails, no list is set and all is released; only a failed SetEntriesInAcl is printed") {
  struct Case {
    const char* failing;
    unsigned call;
    unsigned lists;  // attempts to build a list
    const char* printed;
  };
  for (const Case& one :
       {Case{"AllocateAndInitializeSid", 1, 0, ""}, Case{"AllocateAndInitializeSid", 2, 0, ""},
        Case{"AllocateAndInitializeSid", 3, 0, ""},
        Case{"SetEntriesInAclW", 1, 1, "SetEntriesInAcl Error 3000000001\n"}, Case{"LocalAlloc", 1, 1, ""},
        Case{"InitializeSecurityDescriptor", 1, 1, ""}, Case{"SetSecurityDescriptorDacl", 1, 1, ""}}) {
    CAPTURE(std::string(one.failing));
    CAPTURE(one.call);
    const ScratchFolder scratch(L"rules");
    scratch.MakeFile(L"folder\\file", "text");
    const Belongings belongings;
    const bool list = one.printed[0] != '\0';
    const FailCall fail{one.failing, Calls::Only(one.call),
                        FailureReturn{list ? ULONG_PTR{ERROR_INVALID_PARAMETER} : 0, list ? 3000000001U : 8U, true}};
    const CountCalls lists{"SetEntriesInAclW"};
    const CountCalls stamps{"SetFileSecurityW"};
    CHECK(PrintedBy(scratch.Path(L"folder"), scratch) == one.printed);
    CHECK(stamps.Calls() == 0);
    CHECK(fail.Failed() == 1);
    CHECK(lists.Calls() == one.lists);
    belongings.CheckAllGivenBack();
  }
}

TEST_CASE("a path that does not exist prints nothing, and the result is still 1") {
  const ScratchFolder scratch(L"rules");
  const Belongings belongings;
  CHECK(PrintedBy(scratch.Path(L"missing\\below"), scratch).empty());
  CHECK(belongings.sids.Calls() == 3);
  CHECK(belongings.lists.Calls() + belongings.blocks.Calls() == 2);
  belongings.CheckAllGivenBack();
}

}  // namespace
