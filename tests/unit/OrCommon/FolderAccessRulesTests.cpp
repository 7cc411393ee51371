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
#include "tests/support/FileSnapshot.h"
#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"
#include "tests/unit/OrCommon/SecurityText.h"
#include "tests/unit/install/ScratchFolder.h"

using OrCommon::AccessControl::ApplyFolderAccessRules;
using OrCommonTests::LinesOf;
using OrCommonTests::TextOf;
using TestSupport::CountCalls;
using TestSupport::FailCall;
using TestSupport::FailureReturn;
using TestSupport::ImportRedirection;
using TestSupport::ScratchFolder;

namespace {

// What the access list takes from Windows and what of it is still out.
class Belongings {
 public:
  std::set<PSID> sids;
  std::set<HLOCAL> memory;
  unsigned sidsTaken = 0;
  unsigned strange = 0;  // given back, but not taken
  TestSupport::Lines allocations;

 private:
  ImportRedirection allocateSid_{"AllocateAndInitializeSid",
                                 [this](SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD p0, DWORD p1, DWORD p2,
                                        DWORD p3, DWORD p4, DWORD p5, DWORD p6, DWORD p7, PSID* sid) -> BOOL {
                                   const BOOL taken = allocateSid_.Original<decltype(&::AllocateAndInitializeSid)>()(
                                       authority, count, p0, p1, p2, p3, p4, p5, p6, p7, sid);
                                   if (taken) {
                                     sids.insert(*sid);
                                     ++sidsTaken;
                                   }
                                   return taken;
                                 }};
  ImportRedirection freeSid_{"FreeSid", [this](PSID sid) -> PVOID {
                               strange += sids.erase(sid) == 0 ? 1U : 0U;
                               return freeSid_.Original<decltype(&::FreeSid)>()(sid);
                             }};
  ImportRedirection setEntries_{
      "SetEntriesInAclW", [this](ULONG count, EXPLICIT_ACCESS_W* entries, ACL* old, ACL** acl) -> DWORD {
        const DWORD result = setEntries_.Original<decltype(&::SetEntriesInAclW)>()(count, entries, old, acl);
        if (result == ERROR_SUCCESS) {
          memory.insert(*acl);
        }
        return result;
      }};
  ImportRedirection allocate_{"LocalAlloc", [this](UINT flags, SIZE_T size) -> HLOCAL {
                                const HLOCAL block = allocate_.Original<decltype(&::LocalAlloc)>()(flags, size);
                                allocations.push_back(std::to_string(flags) + " " + std::to_string(size));
                                if (block != nullptr) {
                                  memory.insert(block);
                                }
                                return block;
                              }};
  ImportRedirection free_{"LocalFree", [this](HLOCAL block) -> HLOCAL {
                            strange += memory.erase(block) == 0 ? 1U : 0U;
                            return free_.Original<decltype(&::LocalFree)>()(block);
                          }};
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
    return TestSupport::FileContent(file_);
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
  TestSupport::Lines prepared;
  TestSupport::Lines built;
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
  std::vector<TestSupport::Lines> stamped;
  std::set<SECURITY_INFORMATION> kinds;
  {
    const ImportRedirection stamp{"SetFileSecurityW",
                                  [&](LPCWSTR, SECURITY_INFORMATION kind, PSECURITY_DESCRIPTOR descriptor) -> BOOL {
                                    stamped.push_back(LinesOf(static_cast<const void*>(descriptor)));
                                    kinds.insert(kind);
                                    return TRUE;
                                  }};
    CHECK(Apply(scratch).result == 1);
  }
  REQUIRE(stamped.size() == 2);
  for (const TestSupport::Lines& lines : stamped) {
    CHECK_LINES(lines, {"absolute, revision 1, list present", "allow 0x001f01ff flags 0x00 S-1-1-0",
                        "allow 0x001f01ff flags 0x00 S-1-5-32-545"});
  }
  CHECK(kinds == std::set<SECURITY_INFORMATION>{DACL_SECURITY_INFORMATION});
}

TEST_CASE("identifiers, list and descriptor are given back; the descriptor is the smallest, zero-filled") {
  const ScratchFolder scratch(L"rules");
  Run run;
  Belongings belongings;
  run = Apply(scratch);
  CHECK(run.result == 1);
  CHECK(run.stamps == 2);
  CHECK(belongings.sidsTaken == 3);
  CheckAllGivenBack(belongings);
  REQUIRE(LPTR == 64);
  CHECK_LINES(TestSupport::LinesWith(belongings.allocations, "64 40"), {"64 40"});
}

TEST_CASE("an identifier that cannot be had ends the work quietly") {
  for (const unsigned call : {1U, 2U, 3U}) {
    CAPTURE(call);
    const ScratchFolder scratch(L"rules");
    Belongings belongings;
    const CountCalls lists{"SetEntriesInAclW"};
    const FailCall identifier{"AllocateAndInitializeSid", call, ERROR_NOT_ENOUGH_MEMORY};
    const Run run = Apply(scratch);
    CHECK(run.result == 1);
    CHECK(run.stamps == 0);
    CHECK(run.printed.empty());
    CHECK(identifier.Calls() == call);
    CHECK(lists.Calls() == 0);
    CHECK(belongings.sidsTaken == call - 1);
    CheckAllGivenBack(belongings);
  }
}

TEST_CASE("a list that cannot be built is told on the standard output, with the last error, and ends the work") {
  const ScratchFolder scratch(L"rules");
  Belongings belongings;
  const FailCall list{"SetEntriesInAclW", TestSupport::Calls::From(1),
                      FailureReturn{ERROR_INVALID_PARAMETER, 3000000001U, true}};
  const Run run = Apply(scratch);
  CHECK(run.result == 1);
  CHECK(run.printed == "SetEntriesInAcl Error 3000000001\n");
  CHECK(run.stamps == 0);
  CHECK(list.Failed() == 1);
  CHECK(belongings.sidsTaken == 3);
  CheckAllGivenBack(belongings);
}

TEST_CASE("no memory for the descriptor, or one that cannot be made up: nothing stamped, nothing told, nothing kept") {
  for (const char* failing : {"LocalAlloc", "InitializeSecurityDescriptor", "SetSecurityDescriptorDacl"}) {
    CAPTURE(failing);
    const ScratchFolder scratch(L"rules");
    Belongings belongings;
    const FailCall call{failing, TestSupport::Calls::Only(1), ERROR_NOT_ENOUGH_MEMORY};
    const Run run = Apply(scratch);
    CHECK(run.result == 1);
    CHECK(run.printed.empty());
    CHECK(run.stamps == 0);
    CHECK(call.Failed() == 1);
    CheckAllGivenBack(belongings);
  }
}

TEST_CASE("a path that does not exist: quiet, and 1 all the same") {
  const ScratchFolder scratch(L"rules");
  PrintedText printed(scratch);
  Belongings belongings;
  const int missing = ApplyFolderAccessRules(scratch.Path(L"missing"));
  const int empty = ApplyFolderAccessRules(scratch.Path(L"missing\\below"));
  CHECK(printed.End().empty());
  CHECK(missing == 1);
  CHECK(empty == 1);
  CHECK(belongings.sidsTaken == 6);
  CheckAllGivenBack(belongings);
}

}  // namespace
