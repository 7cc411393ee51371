// Finding Outlook (install/OutlookDetection.h) in a registry with any contents: values of any length, without
// terminators, of odd sizes, and subkeys with any name.
#include <algorithm>

#include "install/OutlookDetection.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/StoredText.h"
#include "tests/fuzz/host/HostWindows.h"

using Fuzz::Require;
using HostWindows::machine;
using namespace VELAUtility;

namespace {

constexpr std::size_t kLongestVersion = 4096;  // bytes
constexpr std::size_t kLongestPath = 522;      // bytes

// The number of the leading digits, limited to the largest value.
unsigned long Leading(const std::wstring& text) {
  unsigned __int128 number = 0;
  for (std::size_t index = 0; index < text.size() && text[index] >= L'0' && text[index] <= L'9'; ++index) {
    number = std::min<unsigned __int128>(number * 10 + (text[index] - L'0'), ~0UL);
  }
  return static_cast<unsigned long>(number);
}

std::wstring AfterLastDot(const std::wstring& text) {
  std::size_t begin = 0;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] == L'.') {
      begin = index + 1;
    }
  }
  return text.substr(begin);
}

OutlookRelease Release(unsigned long major) {
  constexpr std::pair<unsigned long, OutlookRelease> kReleases[] = {
      {9, OL_2000}, {10, OL_2002}, {11, OL_2003}, {12, OL_2007}, {14, OL_2010}};
  for (const auto& [number, release] : kReleases) {
    if (number == major) {
      return release;
    }
  }
  return major > 14 ? OL_LATER_THAN_2010 : OL_NOT_INSTALLED;
}

bool Contains(const std::wstring& text, const std::wstring& part) {
  for (std::size_t begin = 0; begin + part.size() <= text.size(); ++begin) {
    if (text.compare(begin, part.size(), part) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  HostWindows::Reset();
  const Fuzz::StoredText version(input);
  const Fuzz::StoredText path(input);
  const bool programIsThere = input.Flag();
  machine.values.push_back({L"", REG_SZ, version.Bytes()});
  machine.values.push_back({L"Path", REG_SZ, path.Bytes()});
  while (!input.AtEnd()) {
    machine.subkeys.push_back(input.Text());
  }
  const std::wstring program = path.Read() + L"outlook.exe";
  if (programIsThere) {
    machine.disk[HostWindows::Plain(program)] = FILE_ATTRIBUTE_NORMAL;
  }

  const std::wstring release = AfterLastDot(version.Read());
  Require(ReleaseTextOf(version.Read()) == release, "the release is what follows the last dot");
  Require(LeadingNumberOf(release) == Leading(release), "the number is that of the leading digits");
  Require(ReleaseOfVersion(Leading(release)) == Release(Leading(release)), "each number gives its release");

  // A name that is longer than the key allows ends the search, like the end of the list.
  bool named = false;
  for (const std::wstring& subkey : machine.subkeys) {
    if (subkey.size() >= 260) {
      break;
    }
    named = named || Contains(subkey, release);
  }
  const bool known = version.Bytes().size() <= kLongestVersion && path.Bytes().size() <= kLongestPath && named;

  std::wstring folder = L"what was there before";
  Require(GetOutlookInstallPath(folder) == known, "the folder is found if version, subkey and path can be read");
  Require(folder == (known ? path.Read() : L""), "the folder is returned as stored, or empty");
  Require(GetOutlookVersion() == (known && programIsThere ? Release(Leading(release)) : OL_NOT_INSTALLED),
          "Outlook counts as installed only if its program exists");
  Require(machine.openHandles == 0, "every key is closed");
  return 0;
}
