// The version tests depend only on the version record; both sides of every boundary are tested. A process keeps some
// answers of Windows: each of these is tested in a separate process, the probe.
#include <doctest/doctest.h>

#include <windows.h>

#include <map>
#include <string>

#include "Common/OrCommon/OrComn_System.h"
#include "tests/unit/OrCommon/Probe.h"

using OrCommon::System::WindowsFacts;
using namespace OrCommonTests;

namespace {

struct Machine {
  DWORD platform;  // 1: Windows 9x, 2: NT
  DWORD major;
  DWORD minor;
  WORD servicePack;
  BYTE productType;  // 1: workstation, 3: server
  bool is64Bit;
  const char* codes;  // the tests that return true
};

const Machine kMachines[] = {
    {0, 6, 1, 1, 3, true, ""},
    {1, 4, 89, 0, 1, false, " 2"},
    {1, 4, 90, 0, 1, false, " 1 2"},
    {1, 5, 90, 3, 3, true, " 2"},
    {2, 4, 90, 6, 3, false, " 101 112"},
    {2, 5, 0, 4, 1, false, " 3 101 102"},
    {2, 5, 0, 4, 3, false, " 3 101 102 112"},
    {2, 5, 1, 0, 1, false, " 5 7 101 102 103"},
    {2, 5, 1, 1, 1, false, " 5 7 101 102 103"},
    {2, 5, 1, 2, 1, true, " 5 7 101 102 103 104"},
    {2, 5, 1, 2, 3, true, " 101 102 103 104 112"},
    {2, 5, 1, 3, 0, false, " 101 102 103 104 105"},
    {2, 5, 2, 0, 1, true, " 6 7 101 102 103 104 105"},
    {2, 5, 2, 0, 2, true, " 101 102 103 104 105"},
    {2, 5, 2, 2, 3, true, " 4 101 102 103 104 105 112"},
    {2, 5, 3, 0, 1, true, " 101 102 103 104 105"},
    {2, 6, 0, 0, 1, false, " 8 10 101 102 103 104 105 106"},
    {2, 6, 0, 1, 1, true, " 9 10 101 102 103 104 105 106 107"},
    {2, 6, 0, 2, 3, true, " 9 10 101 102 103 104 105 106 107 108 112"},
    {2, 6, 1, 0, 1, false, " 11 13 101 102 103 104 105 106 107 108 109"},
    {2, 6, 1, 1, 1, true, " 12 13 101 102 103 104 105 106 107 108 109 110"},
    {2, 6, 2, 0, 1, false, " 14 16 101 102 103 104 105 106 107 108 109 110 111"},
    {2, 6, 2, 0, 1, true, " 15 16 101 102 103 104 105 106 107 108 109 110 111"},
    {2, 6, 3, 0, 1, true, " 101 102 103 104 105 106 107 108 109 110 111"},
    {2, 7, 0, 0, 1, true, " 101 102 103 104 105 106 107 108 110 111"},
    {2, 10, 1, 0, 3, true, " 101 102 103 104 105 106 107 108 109 110 111 112"},
    {3, 6, 1, 1, 3, true, ""},
};

TEST_CASE("which version tests are true on both sides of every boundary, and the codes of the named tests") {
  for (const Machine& machine : kMachines) {
    WindowsFacts facts;
    facts.platform = machine.platform;
    facts.major = machine.major;
    facts.minor = machine.minor;
    facts.servicePackMajor = machine.servicePack;
    facts.productType = machine.productType;
    facts.is64Bit = machine.is64Bit;
    std::string codes;
    for (DWORD code = 0xFFFFFFFF; code != 300; ++code) {
      codes += OrCommon::System::MatchesWindowsVersion(code, facts) ? " " + std::to_string(code) : "";
    }
    CHECK(codes == machine.codes);
  }
  CHECK(static_cast<DWORD>(OrCommon::System::kWindowsXpX64Workstation) == 6);
  CHECK(static_cast<DWORD>(OrCommon::System::kWindows60) == 10);
  CHECK(static_cast<DWORD>(OrCommon::System::kWindowsXpOrLater) == 103);
  CHECK(static_cast<DWORD>(OrCommon::System::kNt6WithMinorVersion) == 109);
}

std::map<std::string, std::string> Ask(const wchar_t* version, const wchar_t* processor) {
  ProbeAnswers probe = RunProbe({L"windows", version, processor});
  REQUIRE(probe.exitCode == 0);
  CHECK(probe.answers["version calls"] == "1");
  CHECK(probe.answers["record size"] == std::to_string(sizeof(OSVERSIONINFOEXW)));
  CHECK(probe.answers["later codes"] == probe.answers["codes"]);
  return probe.answers;
}

TEST_CASE("the version tests use every field of the record; if there is none, all are false, with its error code") {
  CHECK(Ask(L"4.90,1,0,0", L"9")["codes"] == "1 2");
  CHECK(Ask(L"5.1,2,3,1", L"9")["codes"] == "5 7 101 102 103 104 105");
  CHECK(Ask(L"5.2,2,2,3", L"9")["codes"] == "4 101 102 103 104 105 112");
  auto answers = Ask(L"fail:1359", L"9");
  CHECK(answers["codes"] == "none");
  CHECK(answers["error"] == "1359");
  CHECK(answers["64-bit"] == "1");
}

TEST_CASE("any 64-bit processor gets the 64-bit view and version tests, only AMD64 the 64-bit files") {
  struct Row {
    const wchar_t* processor;
    const char* architecture;
    bool is64Bit;
    const char* isAmd64;
    const char* loadsAndReleases;
  };
  for (const Row& row :
       {Row{L"9", "9", true, "1", "1 1"}, Row{L"6", "6", true, "0", "1 1"}, Row{L"12", "12", true, "0", "1 1"},
        Row{L"0", "0", false, "0", "1 1"}, Row{L"5", "5", false, "0", "1 1"}, Row{L"65535", "65535", false, "0", "1 1"},
        Row{L"noentry", "0", false, "0", "1 1"}, Row{L"nolibrary", "0", false, "0", "1 0"}}) {
    CAPTURE(std::string(row.architecture));
    auto answers = Ask(L"6.0,2,0,1", row.processor);
    CHECK(answers["architecture"] == row.architecture);
    CHECK(answers["64-bit"] == (row.is64Bit ? "1" : "0"));
    CHECK(answers["AMD64"] == row.isAmd64);
    CHECK(answers["view"] == (row.is64Bit ? "2" : "0"));
    CHECK(answers["codes"].substr(0, 4) == (row.is64Bit ? "9 10" : "8 10"));
    CHECK(answers["error"] == "0");
    CHECK(answers["loads"] + " " + answers["frees"] == row.loadsAndReleases);
  }
}

}  // namespace
