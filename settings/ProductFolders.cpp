#include "settings/ProductFolders.h"

namespace ProductFolders {

std::wstring WithBackslash(std::wstring_view folder) {
  std::wstring path(folder);
  if (path.empty() || path.back() != L'\\') {
    path += L'\\';
  }
  return path;
}

std::wstring WithTrailingBackslash(std::wstring_view folder) {
  return folder.empty() ? std::wstring() : WithBackslash(folder);
}

std::wstring Join(std::wstring_view folder, std::wstring_view name) {
  return WithBackslash(folder).append(name);
}

std::wstring GetBaseFolder(std::wstring_view root) {
  return WithTrailingBackslash(root) + L"Orvane Labs\\";
}

std::wstring ClientFolder(std::wstring_view baseFolder, MailClient client) {
  return Join(baseFolder, L"VELA\\" + FolderNameOf(client));
}

}  // namespace ProductFolders
