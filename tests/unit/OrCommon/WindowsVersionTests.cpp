// The version tests as a function of the version record, for every code, every boundary and both kinds of processor;
// and what a process asks Windows once and keeps: each answer in a process of its own, the probe.
#include <doctest/doctest.h>

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "Common/OrCommon/OrComn_System.h"
#include "tests/unit/OrCommon/Probe.h"

using OrCommon::System::MatchesWindowsVersion;
using OrCommon::System::WindowsFacts;
using namespace OrCommonTests;

namespace {

constexpr DWORD k9x = 1;
constexpr DWORD kNt = 2;
constexpr BYTE kWorkstation = 1;
constexpr BYTE kServer = 3;

WindowsFacts Facts(DWORD major, DWORD minor, WORD servicePack, BYTE productType, bool is64Bit, DWORD platform) {
  WindowsFacts facts;
  facts.major = major;
  facts.minor = minor;
  facts.platform = platform;
  facts.servicePackMajor = servicePack;
  facts.productType = productType;
  facts.is64Bit = is64Bit;
  return facts;
}

// The list of the tests once more, row by row, in words as close to it as a program can be.
bool Expected(DWORD code, const WindowsFacts& facts) {
  const DWORD major = facts.major;
  const DWORD minor = facts.minor;
  const WORD pack = facts.servicePackMajor;
  const bool workstation = facts.productType == kWorkstation;
  if (facts.platform == k9x) {
    return code == 2 || (code == 1 && major == 4 && minor == 90);
  }
  if (facts.platform != kNt) {
    return false;
  }
  const auto is = [&](DWORD wantedMajor, DWORD wantedMinor) { return major == wantedMajor && minor == wantedMinor; };
  switch (code) {
    case 3:
      return is(5, 0);
    case 4:
      return is(5, 2) && facts.productType == kServer;
    case 5:
      return is(5, 1) && workstation;
    case 6:
      return is(5, 2) && workstation;
    case 7:
      return (is(5, 1) || is(5, 2)) && workstation;
    case 8:
    case 11:
    case 14:
      return is(6, (code - 8) / 3) && !facts.is64Bit;
    case 9:
    case 12:
    case 15:
      return is(6, (code - 8) / 3) && facts.is64Bit;
    case 10:
    case 13:
    case 16:
      return is(6, (code - 8) / 3);
    case 101:
      return true;
    case 102:
      return major >= 5;
    case 103:
      return (major == 5 && minor != 0) || major >= 6;
    case 104:
      return major > 5 || (major == 5 && minor >= 2) || (is(5, 1) && pack >= 2);
    case 105:
      return major > 5 || (major == 5 && minor >= 2) || (is(5, 1) && pack >= 3);
    case 106:
      return major >= 6;
    case 107:
      return major > 6 || (major == 6 && minor != 0) || (is(6, 0) && pack >= 1);
    case 108:
      return major > 6 || (major == 6 && minor > 0) || (is(6, 0) && pack >= 2);
    case 109:
      return major >= 6 && minor >= 1;  // not on a system that reports 10.0
    case 110:
      return major > 6 || (major == 6 && minor >= 2) || (is(6, 1) && pack >= 1);
    case 111:
      return major > 6 || (major == 6 && minor >= 2);
    case 112:
      return facts.productType == kServer;
    default:
      return false;
  }
}

TEST_CASE("every test on every machine around the boundaries") {
  unsigned machines = 0;
  unsigned differences = 0;
  std::string first;
  for (const DWORD platform : {0U, 1U, 2U, 3U}) {
    for (const DWORD major : {0U, 3U, 4U, 5U, 6U, 7U, 10U, 11U, 0xFFFFFFFFU}) {
      for (const DWORD minor : {0U, 1U, 2U, 3U, 10U, 89U, 90U, 91U, 0xFFFFFFFFU}) {
        for (const WORD pack : {WORD{0}, WORD{1}, WORD{2}, WORD{3}, WORD{4}, WORD{0xFFFF}}) {
          for (const BYTE type : {BYTE{0}, BYTE{1}, BYTE{2}, BYTE{3}, BYTE{4}, BYTE{255}}) {
            for (const bool is64Bit : {false, true}) {
              const WindowsFacts facts = Facts(major, minor, pack, type, is64Bit, platform);
              ++machines;
              for (DWORD code = 0; code < 130; ++code) {
                if (MatchesWindowsVersion(code, facts) != Expected(code, facts) && ++differences == 1) {
                  first = "test " + std::to_string(code) + " on " + std::to_string(major) + '.' +
                          std::to_string(minor) + " platform " + std::to_string(platform) + " SP" +
                          std::to_string(pack) + " type " + std::to_string(type) + (is64Bit ? " 64-bit" : "");
                }
              }
            }
          }
        }
      }
    }
  }
  CHECK(machines == 4 * 9 * 9 * 6 * 6 * 2);
  CHECK_MESSAGE(differences == 0, first);
}

TEST_CASE("codes that are not in the list answer false") {
  const WindowsFacts facts = Facts(6, 1, 1, kServer, true, kNt);
  for (const DWORD code : {200U, 1000U, 0x80000001U, 0xFFFFFFFFU}) {
    CHECK_FALSE(MatchesWindowsVersion(code, facts));
  }
}

TEST_CASE("the tests that the program names") {
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

TEST_CASE("the version record reaches the tests field by field, and the processor with it") {
  const auto check = [](const wchar_t* version, const wchar_t* processor, const std::string& codes) {
    CHECK(Ask(version, processor)["codes"] == codes);
  };
  check(L"4.90,1,0,0", L"9", "1 2");
  check(L"5.0,2,4,1", L"9", "3 101 102");
  check(L"5.1,2,3,1", L"9", "5 7 101 102 103 104 105");
  check(L"5.2,2,2,1", L"9", "6 7 101 102 103 104 105");
  check(L"5.2,2,2,3", L"9", "4 101 102 103 104 105 112");
  check(L"6.0,2,1,1", L"9", "9 10 101 102 103 104 105 106 107");
  check(L"6.1,2,0,1", L"0", "11 13 101 102 103 104 105 106 107 108 109");
  check(L"6.1,2,1,1", L"9", "12 13 101 102 103 104 105 106 107 108 109 110");
  check(L"6.2,2,0,1", L"0", "14 16 101 102 103 104 105 106 107 108 109 110 111");
  check(L"6.2,2,0,1", L"9", "15 16 101 102 103 104 105 106 107 108 109 110 111");
  check(L"10.0,2,0,1", L"9", "101 102 103 104 105 106 107 108 110 111");
}

TEST_CASE("any 64-bit processor decides the view and the version tests, AMD64 alone decides the files") {
  struct Row {
    const wchar_t* processor;
    const char* architecture;
    const char* is64Bit;
    const char* isAmd64;
    const char* loadsAndReleases;
  };
  for (const Row& row :
       {Row{L"9", "9", "1", "1", "1 1"}, Row{L"6", "6", "1", "0", "1 1"}, Row{L"12", "12", "1", "0", "1 1"},
        Row{L"0", "0", "0", "0", "1 1"}, Row{L"5", "5", "0", "0", "1 1"}, Row{L"65535", "65535", "0", "0", "1 1"},
        Row{L"noentry", "0", "0", "0", "1 1"}, Row{L"nolibrary", "0", "0", "0", "1 0"}}) {
    CAPTURE(row.architecture);
    auto answers = Ask(L"6.0,2,0,1", row.processor);
    const bool is64Bit = row.is64Bit[0] == '1';
    CHECK(answers["architecture"] == row.architecture);
    CHECK(answers["64-bit"] == row.is64Bit);
    CHECK(answers["AMD64"] == row.isAmd64);
    CHECK(answers["view"] == (is64Bit ? "2" : "0"));
    CHECK(answers["codes"].substr(0, 4) == (is64Bit ? "9 10" : "8 10"));
    CHECK(answers["error"] == "0");
    CHECK(answers["loads"] + " " + answers["frees"] == row.loadsAndReleases);
  }
}

TEST_CASE("a version that cannot be asked for: every test is false, the error is kept, nobody asks again") {
  auto answers = Ask(L"fail:1359", L"9");
  CHECK(answers["codes"] == "none");
  CHECK(answers["error"] == "1359");
  CHECK(answers["64-bit"] == "1");
}

}  // namespace
