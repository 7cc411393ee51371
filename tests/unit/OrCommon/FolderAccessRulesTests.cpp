// The access list that existing folders are given: how it is built, and that everything for it is given back.
#include <doctest/doctest.h>

#include <windows.h>

#include <aclapi.h>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_SecurityAttributes.h"
#include "tests/support/CallFailures.h"
#include "tests/support/CallWatch.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/SecurityText.h"

using OrCommon::AccessControl::ApplyFolderAccessRules;
using namespace OrCommonTests;
using namespace TestSupport;

namespace {

// What the access list takes from Windows and what of it is still out.
class Belongings {
 public:
  std::set<PSID> sids;
  std::set<HLOCAL> memory;
  unsigned sidsTaken = 0;
  unsigned strange = 0;  // given back, but not taken
  Lines allocations;

 private:
  AfterCall allocateSid_{"AllocateAndInitializeSid", &::AllocateAndInitializeSid,
                         [this](BOOL taken, SID_IDENTIFIER_AUTHORITY*, BYTE, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD,
                                DWORD, DWORD, PSID* sid) {
                           if (taken) {
                             sids.insert(*sid);
                             ++sidsTaken;
                           }
                         }};
  OnCall freeSid_{"FreeSid", &::FreeSid, [this](PSID sid) { strange += sids.erase(sid) == 0 ? 1U : 0U; }};
  AfterCall setEntries_{"SetEntriesInAclW", &::SetEntriesInAclW,
                        [this](DWORD result, ULONG, EXPLICIT_ACCESS_W*, ACL*, ACL** acl) {
                          if (result == ERROR_SUCCESS) {
                            memory.insert(*acl);
                          }
                        }};
  AfterCall allocate_{"LocalAlloc", &::LocalAlloc, [this](HLOCAL block, UINT flags, SIZE_T size) {
                        allocations.push_back(std::to_string(flags) + " " + std::to_string(size));
                        if (block != nullptr) {
                          memory.insert(block);
                        }
                      }};
  OnCall free_{"LocalFree", &::LocalFree, [this](HLOCAL block) { strange += memory.erase(block) == 0 ? 1U : 0U; }};
};

void CheckAllGivenBack(const Belongings& belongings) {
  CHECK(belongings.sids.empty());
  CHECK(belongings.memory.empty());
  CHECK(belongings.strange == 0);
}

// What is printed to the standard output while it lives.
class PrintedText {
 public:
  explicit PrintedText(const ScratchFolder& scratch) : file_(scratch.Path(L"printed")), before_(::_dup(1)) {
    std::fflush(stdout);
    const int file = ::_wopen(file_.c_str(), _O_CREAT | _O_TRUNC | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
    ::_dup2(file, 1);
    ::_close(file);
  }
  PrintedText(const PrintedText&) = delete;
  PrintedText& operator=(const PrintedText&) = delete;
  ~PrintedText() { End(); }

  std::string End() {
    if (before_ >= 0) {
      std::fflush(stdout);
      ::_dup2(before_, 1);
      ::_close(before_);
      before_ = -1;
    }
    return FileContent(file_);
  }

 private:
  std::wstring file_;
  int before_;
};

// Runs it on a folder with a file and gives back what it printed.
struct Run {
  int result = 0;
  unsigned stamps = 0;
  std::string printed = {};
};

Run Apply(const ScratchFolder& scratch) {
  scratch.MakeFile(L"folder\\file", "text");
  Run run;
  PrintedText printed(scratch);
  {
    const CountCalls stamps{"SetFileSecurityW"};
    run.result = ApplyFolderAccessRules(scratch.Path(L"folder"));
    run.stamps = stamps.Calls();
  }
  run.printed = printed.End();
  return run;
}

std::string Describe(const EXPLICIT_ACCESS_W& entry) {
  char text[128] = {};
  std::snprintf(text, sizeof text, "mask 0x%08x mode %d inheritance %u form %d type %d multiple %p/%d ",
                static_cast<unsigned>(entry.grfAccessPermissions), static_cast<int>(entry.grfAccessMode),
                static_cast<unsigned>(entry.grfInheritance), static_cast<int>(entry.Trustee.TrusteeForm),
                static_cast<int>(entry.Trustee.TrusteeType), static_cast<void*>(entry.Trustee.pMultipleTrustee),
                static_cast<int>(entry.Trustee.MultipleTrusteeOperation));
  return text + TextOf(entry.Trustee.ptstrName);
}

TEST_CASE("three entries are prepared, two are passed") {
  const ScratchFolder scratch(L"rules");
  ULONG passed = 0;
  bool oldListGiven = true;
  Lines prepared;
  Lines built;
  Run run;
  {
    const ImportRedirection setEntries{
        "SetEntriesInAclW", [&](ULONG count, EXPLICIT_ACCESS_W* entries, ACL* old, ACL** acl) -> DWORD {
          passed = count;
          oldListGiven = old != nullptr;
          for (int index = 0; index < 3; ++index) {
            prepared.push_back(Describe(entries[index]));
          }
          const DWORD result = setEntries.Original<decltype(&::SetEntriesInAclW)>()(count, entries, old, acl);
          built = LinesOf(*acl);
          return result;
        }};
    run = Apply(scratch);
  }
  CHECK(run.result == 1);
  CHECK(run.printed.empty());
  CHECK(run.stamps == 2);
  CHECK(passed == 2);
  CHECK_FALSE(oldListGiven);
  REQUIRE(SET_ACCESS == 2);
  REQUIRE(TRUSTEE_IS_SID == 0);
  REQUIRE(TRUSTEE_IS_WELL_KNOWN_GROUP == 5);
  REQUIRE(TRUSTEE_IS_GROUP == 2);
  const std::string none = Describe(EXPLICIT_ACCESS_W());
  const std::string pointer = none.substr(none.find("multiple"), none.find('/') - none.find("multiple"));
  const std::string everyone = "mask 0x001f01ff mode 2 inheritance 0 form 0 type 5 " + pointer + "/0 S-1-1-0";
  const std::string group = "mask 0x001f01ff mode 2 inheritance 0 form 0 type 2 " + pointer + "/0 ";
  CHECK_LINES(prepared, {everyone, group + "S-1-5-32-545", group + "S-1-5-32-544"});
  CHECK_LINES(built, {"allow 0x001f01ff flags 0x00 S-1-1-0", "allow 0x001f01ff flags 0x00 S-1-5-32-545"});
}

TEST_CASE("what is stamped names everyone and the users, with full access, in an absolute descriptor") {
  const ScratchFolder scratch(L"rules");
  std::vector<Lines> stamped;
  const OnCall stamp{"SetFileSecurityW", &::SetFileSecurityW,
                     [&](LPCWSTR, SECURITY_INFORMATION kind, PSECURITY_DESCRIPTOR descriptor) {
                       CHECK(kind == DACL_SECURITY_INFORMATION);
                       stamped.push_back(LinesOf(static_cast<const void*>(descriptor)));
                     }};
  CHECK(Apply(scratch).result == 1);
  REQUIRE(stamped.size() == 2);
  for (const Lines& lines : stamped) {
    CHECK_LINES(lines, {"absolute, revision 1, list present", "allow 0x001f01ff flags 0x00 S-1-1-0",
                        "allow 0x001f01ff flags 0x00 S-1-5-32-545"});
  }
}

TEST_CASE("identifiers, list and descriptor are given back; the descriptor is the smallest, zero-filled") {
  const ScratchFolder scratch(L"rules");
  const Belongings belongings;
  const Run run = Apply(scratch);
  CHECK(run.result == 1);
  CHECK(run.stamps == 2);
  CHECK(belongings.sidsTaken == 3);
  CheckAllGivenBack(belongings);
  REQUIRE(LPTR == 64);
  CHECK_LINES(LinesWith(belongings.allocations, "64 40"), {"64 40"});
}

TEST_CASE("a call that fails ends the work: nothing stamped, nothing kept, and only a failed list is told") {
  struct Case {
    const char* failing;
    unsigned call;
    unsigned lists;  // attempts to build one
    const char* printed;
  };
  for (const Case& one :
       {Case{"AllocateAndInitializeSid", 1, 0, ""}, Case{"AllocateAndInitializeSid", 2, 0, ""},
        Case{"AllocateAndInitializeSid", 3, 0, ""},
        Case{"SetEntriesInAclW", 1, 1, "SetEntriesInAcl Error 3000000001\n"}, Case{"LocalAlloc", 1, 1, ""},
        Case{"InitializeSecurityDescriptor", 1, 1, ""}, Case{"SetSecurityDescriptorDacl", 1, 1, ""}}) {
    CAPTURE(one.failing);
    CAPTURE(one.call);
    const ScratchFolder scratch(L"rules");
    const Belongings belongings;
    const bool list = one.printed[0] != '\0';
    const FailCall fail{one.failing, Calls::Only(one.call),
                        FailureReturn{list ? ULONG_PTR{ERROR_INVALID_PARAMETER} : 0, list ? 3000000001U : 8U, true}};
    const CountCalls lists{"SetEntriesInAclW"};
    const Run run = Apply(scratch);
    CHECK(run.result == 1);
    CHECK(run.stamps == 0);
    CHECK(run.printed == one.printed);
    CHECK(fail.Failed() == 1);
    CHECK(lists.Calls() == one.lists);
    CheckAllGivenBack(belongings);
  }
}

TEST_CASE("a path that does not exist: quiet, and 1 all the same") {
  const ScratchFolder scratch(L"rules");
  PrintedText printed(scratch);
  const Belongings belongings;
  CHECK(ApplyFolderAccessRules(scratch.Path(L"missing\\below")) == 1);
  CHECK(printed.End().empty());
  CHECK(belongings.sidsTaken == 3);
  CheckAllGivenBack(belongings);
}

}  // namespace
