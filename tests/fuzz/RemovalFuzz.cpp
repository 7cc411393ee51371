// Deleting a tree in which every user may write (Common/OrCommon/OrComn_File.h): everything is deleted now or at the
// restart, and the targets of links are not touched.
#include <algorithm>

#include "Common/OrCommon/OrComn_File.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/host/HostWindows.h"

using Fuzz::Require;
using HostWindows::machine;

namespace {

constexpr wchar_t kRoot[] = L"C:\\VELA";

enum Kind : std::uint32_t { kFile, kReadOnlyFile, kHeldFile, kFolder, kHeldFolder, kLink, kKinds };

DWORD AttributesOf(std::uint32_t kind) {
  switch (kind) {
    case kReadOnlyFile:
      return FILE_ATTRIBUTE_READONLY;
    case kFolder:
    case kHeldFolder:
      return FILE_ATTRIBUTE_DIRECTORY;
    case kLink:
      return FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    default:
      return FILE_ATTRIBUTE_NORMAL;
  }
}

// Creates an entry below `folder`, with its parent folders. If one of those is a file, creates nothing.
void Put(std::wstring folder, const std::wstring& path, std::uint32_t kind) {
  std::wstring name;
  std::vector<std::wstring> names;
  for (const wchar_t character : path + L"\\") {
    if (character != L'\\' && character != L'/') {
      name += character;
      continue;
    }
    if (!name.empty() && name != L"." && name != L".." && name.size() < MAX_PATH) {
      names.push_back(name);
    }
    name.clear();
  }
  for (std::size_t index = 0; index < names.size(); ++index) {
    folder += L"\\" + names[index];
    const bool last = index + 1 == names.size();
    const auto [entry, isNew] = machine.disk.emplace(folder, last ? AttributesOf(kind) : AttributesOf(kFolder));
    if ((entry->second & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      if (isNew && kind == kHeldFile) {
        machine.held.insert(folder);
      }
      return;
    }
    if (isNew && last && kind == kHeldFolder) {
      machine.held.insert(folder);
    }
  }
}

bool IsBelow(const std::wstring& path, const std::wstring& folder) {
  return path.size() > folder.size() && path.compare(0, folder.size() + 1, folder + L"\\") == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  HostWindows::Reset();
  const bool rootIsLink = input.Number() % 16 == 1;
  const std::wstring separators(input.Number() % 3, L'\\');
  machine.disk[L"C:\\Other"] = FILE_ATTRIBUTE_DIRECTORY;
  machine.disk[kRoot] = AttributesOf(rootIsLink ? kLink : kFolder);
  while (!input.AtEnd()) {
    const std::wstring path = input.Text();
    Put(kRoot, path, input.Number() % kKinds);
  }
  const auto before = machine.disk;

  // A file in use stays until the restart, and so does every folder above it. The target of a link is not ours.
  const auto isBehindLink = [&](const std::wstring& path) {
    return std::any_of(before.begin(), before.end(), [&](const auto& entry) {
      return (entry.second & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && IsBelow(path, entry.first);
    });
  };
  int restartNeeded = 0;
  DWORD error = ~DWORD{0};
  Require(OrCommon::Storage::File::DeleteAllFiles(kRoot + separators, restartNeeded, &error), "every folder is listed");
  Require(error == ERROR_SUCCESS, "the error code is 0");
  for (const auto& [path, attributes] : before) {
    const auto now = machine.disk.find(path);
    const bool isThere = now != machine.disk.end();
    const bool isPutOff = std::find(machine.putOff.begin(), machine.putOff.end(), path) != machine.putOff.end();
    if (!IsBelow(path, kRoot) || isBehindLink(path)) {
      Require(isThere && now->second == attributes && !isPutOff, "entries elsewhere or behind a link are untouched");
      continue;
    }
    const std::wstring& entry = path;
    const bool holds = machine.held.count(entry) != 0 ||
                       std::any_of(machine.held.begin(), machine.held.end(), [&](const std::wstring& held) {
                         return IsBelow(held, entry) && !isBehindLink(held);
                       });
    Require(isThere == holds, "only entries that are in use stay");
    Require(isPutOff == holds, "only entries that are in use are scheduled");
  }
  Require((restartNeeded != 0) == !machine.putOff.empty(), "a restart is needed if anything is scheduled");
  Require(machine.openHandles == 0, "every search is closed");
  return 0;
}
