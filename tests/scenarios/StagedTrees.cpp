#include "tests/scenarios/StagedTrees.h"

#include <windows.h>

namespace Expected {
namespace {

StagingStep ClientStep(const std::string& name, const std::wstring& base, const std::wstring& source,
                       const std::wstring& own, const std::wstring& common) {
  const std::wstring wideName(name.begin(), name.end());
  const std::wstring folder = base + L"VELA\\" + wideName;
  return {name,
          folder,
          {{source + own, folder}, {source + common, folder}, {source + L"\\rule", folder + L"\\rule"}},
          source + L"\\Resource\\common\\" + wideName + L".ini"};
}

template <class Visit>
void ForEachEntry(const std::wstring& folder, const Visit& visit) {
  WIN32_FIND_DATAW entry = {};
  const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    return;
  }
  do {
    const std::wstring name = entry.cFileName;
    if (name != L"." && name != L"..") {
      visit(L"\\" + name, (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
    }
  } while (::FindNextFileW(search, &entry));
  ::FindClose(search);
}

void AddTree(const std::wstring& folder, const std::wstring& below, bool wantsFolders,
             std::vector<std::wstring>& paths) {
  ForEachEntry(folder + below, [&](const std::wstring& name, bool isFolder) {
    if (isFolder == wantsFolders) {
      paths.push_back(below + name);
    }
    if (isFolder) {
      AddTree(folder, below + name, wantsFolders, paths);
    }
  });
}

}  // namespace

std::vector<StagingStep> StagingSteps(OutlookExpress outlookExpress, const std::wstring& base,
                                      const std::wstring& source) {
  std::vector<StagingStep> steps = {
      {"", base + L"VELA\\Resource", {{source + L"\\Resource\\x64", base + L"VELA\\Resource"}}, L""},
      ClientStep("VELA_OL", base, source, L"\\OL", L"\\Common\\win32")};
  if (outlookExpress == OutlookExpress::kStaged) {
    steps.push_back(ClientStep("VELA_OE", base, source, L"\\OE64", L"\\Common\\win64"));
  }
  steps.push_back(ClientStep("VELA_WLM", base, source, L"\\WLM", L"\\Common\\win32"));
  return steps;
}

std::vector<std::wstring> FilesInCopyOrder(const std::wstring& folder) {
  std::vector<std::wstring> paths;
  AddTree(folder, L"", false, paths);
  return paths;
}

std::vector<std::wstring> FoldersBelow(const std::wstring& folder) {
  std::vector<std::wstring> paths;
  AddTree(folder, L"", true, paths);
  return paths;
}

}  // namespace Expected
