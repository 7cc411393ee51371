// The tests of the Windows version (MatchesWindowsVersion) against the same list written as data.
#include <tlhelp32.h>

#include <tuple>

#include "Common/OrCommon/OrComn_System.h"
#include "tests/fuzz/Input.h"

namespace {

using OrCommon::System::WindowsFacts;

enum class Compare { kAny, kExactly, kAtLeast, kEachAtLeast };
enum class Bits { kAny, k64, kOther };

struct Row {
  DWORD code;
  DWORD platform;
  Compare compare;
  DWORD major, minor;
  WORD servicePack;
  BYTE product;  // 0: any
  Bits bits;
};

constexpr DWORD k9x = 1;
constexpr DWORD kNt = 2;
constexpr BYTE kWorkstation = 1;
constexpr BYTE kServer = 3;

// A code with two rows holds where either does.
constexpr Row kRows[] = {
    {1, k9x, Compare::kExactly, 4, 90, 0, 0, Bits::kAny},
    {2, k9x, Compare::kAny, 0, 0, 0, 0, Bits::kAny},
    {3, kNt, Compare::kExactly, 5, 0, 0, 0, Bits::kAny},
    {4, kNt, Compare::kExactly, 5, 2, 0, kServer, Bits::kAny},
    {5, kNt, Compare::kExactly, 5, 1, 0, kWorkstation, Bits::kAny},
    {6, kNt, Compare::kExactly, 5, 2, 0, kWorkstation, Bits::kAny},
    {7, kNt, Compare::kExactly, 5, 1, 0, kWorkstation, Bits::kAny},
    {7, kNt, Compare::kExactly, 5, 2, 0, kWorkstation, Bits::kAny},
    {8, kNt, Compare::kExactly, 6, 0, 0, 0, Bits::kOther},
    {9, kNt, Compare::kExactly, 6, 0, 0, 0, Bits::k64},
    {10, kNt, Compare::kExactly, 6, 0, 0, 0, Bits::kAny},
    {11, kNt, Compare::kExactly, 6, 1, 0, 0, Bits::kOther},
    {12, kNt, Compare::kExactly, 6, 1, 0, 0, Bits::k64},
    {13, kNt, Compare::kExactly, 6, 1, 0, 0, Bits::kAny},
    {14, kNt, Compare::kExactly, 6, 2, 0, 0, Bits::kOther},
    {15, kNt, Compare::kExactly, 6, 2, 0, 0, Bits::k64},
    {16, kNt, Compare::kExactly, 6, 2, 0, 0, Bits::kAny},
    {101, kNt, Compare::kAny, 0, 0, 0, 0, Bits::kAny},
    {102, kNt, Compare::kAtLeast, 5, 0, 0, 0, Bits::kAny},
    {103, kNt, Compare::kAtLeast, 5, 1, 0, 0, Bits::kAny},
    {104, kNt, Compare::kAtLeast, 5, 1, 2, 0, Bits::kAny},
    {105, kNt, Compare::kAtLeast, 5, 1, 3, 0, Bits::kAny},
    {106, kNt, Compare::kAtLeast, 6, 0, 0, 0, Bits::kAny},
    {107, kNt, Compare::kAtLeast, 6, 0, 1, 0, Bits::kAny},
    {108, kNt, Compare::kAtLeast, 6, 0, 2, 0, Bits::kAny},
    {109, kNt, Compare::kEachAtLeast, 6, 1, 0, 0, Bits::kAny},
    {110, kNt, Compare::kAtLeast, 6, 1, 1, 0, Bits::kAny},
    {111, kNt, Compare::kAtLeast, 6, 2, 0, 0, Bits::kAny},
    {112, kNt, Compare::kAny, 0, 0, 0, kServer, Bits::kAny},
};

bool VersionHolds(const Row& row, const WindowsFacts& facts) {
  switch (row.compare) {
    case Compare::kAny:
      return true;
    case Compare::kExactly:
      return facts.major == row.major && facts.minor == row.minor;
    case Compare::kAtLeast:
      return std::tie(facts.major, facts.minor, facts.servicePackMajor) >=
             std::tie(row.major, row.minor, row.servicePack);
    case Compare::kEachAtLeast:
      return facts.major >= row.major && facts.minor >= row.minor;
  }
  return false;
}

bool Holds(const Row& row, const WindowsFacts& facts) {
  return facts.platform == row.platform && VersionHolds(row, facts) &&
         (row.product == 0 || facts.productType == row.product) &&
         (row.bits == Bits::kAny || facts.is64Bit == (row.bits == Bits::k64));
}

bool Expected(DWORD code, const WindowsFacts& facts) {
  for (const Row& row : kRows) {
    if (row.code == code && Holds(row, facts)) {
      return true;
    }
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  WindowsFacts facts;
  facts.major = input.Number();
  facts.minor = input.Number();
  facts.platform = input.Number();
  facts.servicePackMajor = static_cast<WORD>(input.Number());
  facts.productType = static_cast<BYTE>(input.Number());
  facts.is64Bit = input.Flag();
  const DWORD anyCode = input.Number();
  Fuzz::Require(OrCommon::System::MatchesWindowsVersion(anyCode, facts) == Expected(anyCode, facts), "any code");
  constexpr DWORD kBeyondAll = 128;
  for (DWORD code = 0; code < kBeyondAll; ++code) {
    Fuzz::Require(OrCommon::System::MatchesWindowsVersion(code, facts) == Expected(code, facts), "every known code");
  }
  return 0;
}
