// The version tests as a function of the version record, for every code, every boundary and both kinds of processor.
#include "Common/OrCommon/OrComn_System.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <set>
#include <string>
#include <vector>

using OrCommon::System::MatchesWindowsVersion;
using OrCommon::System::WindowsFacts;

namespace {

constexpr DWORD k9x = 1;
constexpr DWORD kNt = 2;
constexpr BYTE kWorkstation = 1;
constexpr BYTE kController = 2;
constexpr BYTE kServer = 3;

WindowsFacts Facts(DWORD major, DWORD minor, WORD servicePack, BYTE productType, bool is64Bit, DWORD platform = kNt) {
  WindowsFacts facts;
  facts.major = major;
  facts.minor = minor;
  facts.platform = platform;
  facts.servicePackMajor = servicePack;
  facts.productType = productType;
  facts.is64Bit = is64Bit;
  return facts;
}

using Codes = std::set<DWORD>;

std::string TextOf(const Codes& codes) {
  std::string text;
  for (const DWORD code : codes) {
    text += std::to_string(code) + ' ';
  }
  return text;
}

Codes TrueCodes(const WindowsFacts& facts) {
  Codes codes;
  for (DWORD code = 0; code < 1000; ++code) {
    if (MatchesWindowsVersion(code, facts)) {
      codes.insert(code);
    }
  }
  return codes;
}

void CheckCodes(const WindowsFacts& facts, const Codes& wanted, int line) {
  CAPTURE(line);
  CHECK(TextOf(TrueCodes(facts)) == TextOf(wanted));
}
#define CHECK_CODES(facts, ...) CheckCodes(facts, Codes __VA_ARGS__, __LINE__)

TEST_CASE("systems that were sold") {
  CHECK_CODES(Facts(4, 0, 0, 0, false, k9x), {2});                  // Windows 95
  CHECK_CODES(Facts(4, 10, 0, 0, false, k9x), {2});                 // Windows 98
  CHECK_CODES(Facts(4, 90, 0, 0, false, k9x), {1, 2});              // Windows Me
  CHECK_CODES(Facts(4, 0, 6, kWorkstation, false), {101});          // NT 4.0
  CHECK_CODES(Facts(5, 0, 4, kWorkstation, false), {3, 101, 102});  // Windows 2000
  CHECK_CODES(Facts(5, 0, 4, kServer, false), {3, 101, 102, 112});  // Windows 2000 Server
  CHECK_CODES(Facts(5, 1, 0, kWorkstation, false), {5, 7, 101, 102, 103});
  CHECK_CODES(Facts(5, 1, 1, kWorkstation, false), {5, 7, 101, 102, 103});
  CHECK_CODES(Facts(5, 1, 2, kWorkstation, false), {5, 7, 101, 102, 103, 104});
  CHECK_CODES(Facts(5, 1, 3, kWorkstation, false), {5, 7, 101, 102, 103, 104, 105});
  CHECK_CODES(Facts(5, 2, 0, kWorkstation, true), {6, 7, 101, 102, 103, 104, 105});  // Windows XP x64
  CHECK_CODES(Facts(5, 2, 2, kServer, true), {4, 101, 102, 103, 104, 105, 112});     // Windows Server 2003
  CHECK_CODES(Facts(5, 2, 2, kController, true), {101, 102, 103, 104, 105});
  CHECK_CODES(Facts(6, 0, 0, kWorkstation, false), {8, 10, 101, 102, 103, 104, 105, 106});  // Windows Vista
  CHECK_CODES(Facts(6, 0, 0, kWorkstation, true), {9, 10, 101, 102, 103, 104, 105, 106});
  CHECK_CODES(Facts(6, 0, 1, kWorkstation, true), {9, 10, 101, 102, 103, 104, 105, 106, 107});
  CHECK_CODES(Facts(6, 0, 2, kServer, true), {9, 10, 101, 102, 103, 104, 105, 106, 107, 108, 112});
  CHECK_CODES(Facts(6, 1, 0, kWorkstation, false), {11, 13, 101, 102, 103, 104, 105, 106, 107, 108, 109});  // 7
  CHECK_CODES(Facts(6, 1, 1, kWorkstation, true), {12, 13, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110});
  CHECK_CODES(Facts(6, 2, 0, kWorkstation, false),
              {14, 16, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111});  // Windows 8
  CHECK_CODES(Facts(6, 2, 0, kServer, true), {15, 16, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111, 112});
  CHECK_CODES(Facts(6, 3, 0, kWorkstation, true), {101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111});  // 8.1
}

TEST_CASE("a system that reports 10.0 fails test 109 and passes its neighbours") {
  CHECK_CODES(Facts(10, 0, 0, kWorkstation, true), {101, 102, 103, 104, 105, 106, 107, 108, 110, 111});
  CHECK_CODES(Facts(10, 0, 5, kServer, true), {101, 102, 103, 104, 105, 106, 107, 108, 110, 111, 112});
  CHECK_CODES(Facts(10, 1, 0, kWorkstation, true), {101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111});
}

TEST_CASE("platforms that are neither 9x nor NT pass nothing, whatever their numbers") {
  for (const DWORD platform : {0U, 3U, 0xFFFFFFFFU}) {
    CHECK_CODES(Facts(4, 90, 3, kWorkstation, true, platform), {});
    CHECK_CODES(Facts(6, 1, 1, kServer, true, platform), {});
  }
  CHECK_CODES(Facts(6, 1, 1, kServer, true, k9x), {2});
}

// The list of the tests once more, row by row, in words as close to it as a program can be.
bool Expected(DWORD code, const WindowsFacts& facts) {
  const bool nt = facts.platform == kNt;
  const DWORD major = facts.major;
  const DWORD minor = facts.minor;
  const WORD pack = facts.servicePackMajor;
  switch (code) {
    case 1:
      return facts.platform == k9x && major == 4 && minor == 90;
    case 2:
      return facts.platform == k9x;
    case 3:
      return nt && major == 5 && minor == 0;
    case 4:
      return nt && major == 5 && minor == 2 && facts.productType == kServer;
    case 5:
      return nt && major == 5 && minor == 1 && facts.productType == kWorkstation;
    case 6:
      return nt && major == 5 && minor == 2 && facts.productType == kWorkstation;
    case 7:
      return nt && major == 5 && (minor == 1 || minor == 2) && facts.productType == kWorkstation;
    case 8:
      return nt && major == 6 && minor == 0 && !facts.is64Bit;
    case 9:
      return nt && major == 6 && minor == 0 && facts.is64Bit;
    case 10:
      return nt && major == 6 && minor == 0;
    case 11:
      return nt && major == 6 && minor == 1 && !facts.is64Bit;
    case 12:
      return nt && major == 6 && minor == 1 && facts.is64Bit;
    case 13:
      return nt && major == 6 && minor == 1;
    case 14:
      return nt && major == 6 && minor == 2 && !facts.is64Bit;
    case 15:
      return nt && major == 6 && minor == 2 && facts.is64Bit;
    case 16:
      return nt && major == 6 && minor == 2;
    case 101:
      return nt;
    case 102:
      return nt && major >= 5;
    case 103:
      return nt && ((major == 5 && minor != 0) || major >= 6);
    case 104:
      return nt && (major > 5 || (major == 5 && minor >= 2) || (major == 5 && minor == 1 && pack >= 2));
    case 105:
      return nt && (major > 5 || (major == 5 && minor >= 2) || (major == 5 && minor == 1 && pack >= 3));
    case 106:
      return nt && major >= 6;
    case 107:
      return nt && (major > 6 || (major == 6 && minor != 0) || (major == 6 && minor == 0 && pack >= 1));
    case 108:
      return nt && (major > 6 || (major == 6 && minor > 0) || (major == 6 && minor == 0 && pack >= 2));
    case 109:
      return nt && major >= 6 && minor >= 1;
    case 110:
      return nt && (major > 6 || (major == 6 && minor >= 2) || (major == 6 && minor == 1 && pack >= 1));
    case 111:
      return nt && (major > 6 || (major == 6 && minor >= 2));
    case 112:
      return nt && facts.productType == kServer;
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
  const WindowsFacts facts = Facts(6, 1, 1, kServer, true);
  for (const DWORD code : {0U, 17U, 18U, 99U, 100U, 113U, 200U, 0x80000001U, 0xFFFFFFFFU}) {
    CAPTURE(code);
    CHECK_FALSE(MatchesWindowsVersion(code, facts));
  }
}

TEST_CASE("the tests that the program names") {
  CHECK(static_cast<DWORD>(OrCommon::System::kWindowsXpX64Workstation) == 6);
  CHECK(static_cast<DWORD>(OrCommon::System::kWindows60) == 10);
  CHECK(static_cast<DWORD>(OrCommon::System::kWindowsXpOrLater) == 103);
  CHECK(static_cast<DWORD>(OrCommon::System::kNt6WithMinorVersion) == 109);
}

}  // namespace
