#include "settings/ProductFolders.h"

namespace ProductFolders {

std::wstring WithTrailingBackslash(std::wstring folder) {
  if (!folder.empty() && folder.back() != L'\\') {
    folder += L'\\';
  }
  return folder;
}

std::wstring Join(std::wstring_view folder, std::wstring_view name) {
  std::wstring path(folder);
  if (path.empty() || path.back() != L'\\') {
    path += L'\\';
  }
  return path.append(name);
}

std::wstring GetBaseFolder(std::wstring_view root) {
  return WithTrailingBackslash(std::wstring(root)) + L"Orvane Labs\\";
}

}  // namespace ProductFolders
