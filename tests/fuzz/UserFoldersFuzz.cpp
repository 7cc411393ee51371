// The folders of one user (activation/UserDataTree.h). The user may have stored any text as identity. Nothing may be
// created or opened to everyone outside the common data folder, and no folder of another program in it.
#include <algorithm>
#include <iterator>

#include "activation/UserDataTree.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/StoredText.h"
#include "tests/fuzz/host/HostWindows.h"

using Fuzz::Require;
using HostWindows::machine;

namespace {

constexpr wchar_t kRoot[] = L"C:\\ProgramData";
constexpr wchar_t kForeign[] = L"C:\\ProgramData\\Other";  // another program's
constexpr wchar_t kOwn[] = L"C:\\ProgramData\\Orvane Labs\\";

// True for a path below the root that every function reads as the same place: only single backslashes as separators, no
// name that Windows would shorten, no colon of a drive or a stream.
bool StaysBelow(const std::wstring& given) {
  const std::wstring longForm = L"\\\\?\\";
  const std::wstring path = given.substr(given.compare(0, longForm.size(), longForm) == 0 ? longForm.size() : 0);
  const std::wstring root = std::wstring(kRoot) + L"\\";
  if (path.compare(0, root.size(), root) != 0) {
    return false;
  }
  std::wstring part;
  for (const wchar_t character : path.substr(root.size()) + L"\\") {
    if (character == L':' || character == L'/') {
      return false;
    }
    if (character != L'\\') {
      part += character;
      continue;
    }
    if (part.empty() || part.back() == L'.' || part.back() == L' ') {
      return false;
    }
    part.clear();
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  HostWindows::Reset();
  machine.foldersCanBeMade = !input.Flag();
  const bool rootIsKnown = !input.Flag();
  if (rootIsKnown) {
    machine.commonData = kRoot;
  }
  const bool onlyDefault = input.Flag();
  const Fuzz::StoredText identity(input);
  machine.values.push_back({onlyDefault ? L"Default User ID" : L"Last User ID", REG_SZ, identity.Bytes()});
  machine.disk = {{kRoot, FILE_ATTRIBUTE_DIRECTORY}, {kForeign, FILE_ATTRIBUTE_DIRECTORY}};
  while (!input.AtEnd()) {
    const std::wstring path = std::wstring(kRoot) + L"\\" + input.Text();
    machine.disk[path] = input.Flag() ? FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_DIRECTORY;
  }

  std::wstring userId = L"what was there before";
  VELAUtility::BuildUserDataTree(MailClient::kOutlookExpress, L"S-1-5-21", userId);
  constexpr std::size_t kLongest = 2048;  // bytes
  Require(userId == (identity.Bytes().size() <= kLongest ? identity.Read() : L""), "the identity is read as stored");
  for (const auto* paths : {&machine.madeFolders, &machine.stampedFolders}) {
    Require(rootIsKnown || paths->empty(), "nothing is done if the root is not known");
    Require(std::all_of(paths->begin(), paths->end(), StaysBelow), "nothing is done outside the root");
    Require(std::find(paths->begin(), paths->end(), kForeign) == paths->end(), "another program's folder is untouched");
  }
  Require(
      std::all_of(machine.stampedFolders.begin(), machine.stampedFolders.end(),
                  [](const std::wstring& path) { return (path + L"\\").compare(0, std::size(kOwn) - 1, kOwn) == 0; }),
      "existing folders in the root itself keep their access rights");
  Require(machine.openHandles == 0, "every key is closed");
  return 0;
}
