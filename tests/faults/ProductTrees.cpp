#include "tests/faults/ProductTrees.h"

#include <cwchar>

#include "tests/support/Clients.h"

namespace Faults {
namespace {

// Files of Outlook that the product deletes.
constexpr std::wstring_view kCacheFile = L"\\Microsoft\\Outlook\\Extend.dat";
constexpr std::wstring_view kFormsFile = L"C:\\VelaFaults\\Office14\\ADDINS\\Redemption.ECF";

bool StartsWith(std::wstring_view text, std::wstring_view start) {
  return text.size() >= start.size() && ::_wcsnicmp(text.data(), start.data(), start.size()) == 0;
}

bool EndsWith(std::wstring_view text, std::wstring_view end) {
  return text.size() >= end.size() && StartsWith(text.substr(text.size() - end.size()), end);
}

}  // namespace

const std::vector<std::wstring>& ProductTrees() {
  static const std::vector<std::wstring> trees = [] {
    // The Windows folder is used if the data folder of all users is not available.
    const std::wstring roots[] = {L"C:\\ProgramData\\", L"C:\\windows\\"};
    std::vector<std::wstring> places = {kDestinationFolder};
    for (const std::wstring& root : roots) {
      places.push_back(root + L"Orvane Labs");
      // If a level of the per-user tree cannot be created, the next levels are created below the root.
      for (const std::wstring level : {L"Users", L"log", kIdentity}) {
        places.push_back(root + level);
      }
      for (const TestSupport::Client& client : TestSupport::Clients()) {
        places.push_back(root + client.shortName);
      }
    }
    return places;
  }();
  return trees;
}

bool LiesInProductTrees(std::wstring_view path) {
  std::vector<std::wstring> trees = ProductTrees();
  trees.emplace_back(L"C:\\windows\\Temp\\QRTX_Debug");
  for (const std::wstring& tree : trees) {
    if (StartsWith(path, tree) && (path.size() == tree.size() || path[tree.size()] == L'\\')) {
      return true;
    }
  }
  return EndsWith(path, kCacheFile) || (StartsWith(path, kFormsFile) && path.size() == kFormsFile.size());
}

}  // namespace Faults
