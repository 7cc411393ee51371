// Taking the product off where its folders hold what is hard to delete: odd attributes, deep and long and foreign
// names, files in use.
#include <doctest/doctest.h>

#include <windows.h>

#include <sddl.h>

#include <string>

#include "tests/scenarios/PlainRuns.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestPaths.h"
#include "tests/support/TestProcess.h"

using namespace Scenarios;
using TestSupport::Exists;
using TestSupport::LinesWith;
using TestSupport::TestProcess;
using TestSupport::ToUtf8;

namespace {

// All folders that a removal deletes, with a file in each.
void MakeFolders(World& world) {
  world.WithFile(kProduct + L"\\VELA_OL\\plugin.dll");
  for (const std::wstring& folder : DataFolders()) {
    world.WithFile(kCommonBase + folder + L"\\Users\\log\\a.log");
  }
}

// The log where everything could be deleted or scheduled, and all of the folders were there.
void CheckFoldersLog(const Outcome& outcome) {
  CHECK(outcome.exitCode == 0);
  CHECK_LINES(LinesWith(outcome.log, "DeleteAllFiles"),
              (Lines(5, "LOG_INFO : OrCommon::Storage::File::DeleteAllFiles succeeded, dwRtnValue:0")));
  CHECK_LINES(LinesWith(outcome.log, "elete folder"),
              {"LOG_INFO : VELAUtility::DeleteFolderFiles(), Success to delete folder: " + ToUtf8(kProduct)});
}

// Everything went at once.
void CheckAllGone(World& world) {
  const Outcome outcome = Uninstall(world);
  CheckFoldersLog(outcome);
  CHECK(outcome.pending.empty());
  CHECK_FALSE(Exists(kProduct));
  for (const std::wstring& folder : DataFolders()) {
    CHECK_FALSE(Exists(kCommonBase + folder));
  }
  CHECK(Exists(kInstalledFolder));
  CHECK(Exists(kCommonBase));
}

// Files that another program has open; see tests/fixtures/Holder.cpp for `sharing`.
class HeldFiles {
 public:
  HeldFiles(const wchar_t* sharing, const std::vector<std::wstring>& files)
      : ready_(::CreateEventW(nullptr, TRUE, FALSE, L"VelaTestHolderReady")),
        holder_(TestSupport::FixturePath(L"Holder.exe"), Arguments(sharing, files)) {
    REQUIRE(::WaitForSingleObject(ready_, 10000) == WAIT_OBJECT_0);
  }
  HeldFiles(const HeldFiles&) = delete;
  HeldFiles& operator=(const HeldFiles&) = delete;
  ~HeldFiles() { ::CloseHandle(ready_); }

 private:
  static std::vector<std::wstring> Arguments(const wchar_t* sharing, const std::vector<std::wstring>& files) {
    std::vector<std::wstring> arguments = {L"VelaTestEndOfHolder", L"VelaTestHolderReady", sharing};
    arguments.insert(arguments.end(), files.begin(), files.end());
    return arguments;
  }

  HANDLE ready_;
  TestProcess holder_;
};

TEST_CASE("plain files and folders") {
  World world;
  MakeFolders(world);
  world.WithFolder(kProduct + L"\\VELA_OL\\empty").WithFile(kCommonBase + L"Another product\\settings.txt");
  CheckAllGone(world);
  CHECK(Exists(kCommonBase + L"Another product\\settings.txt"));
}

// A file that only the long form of its path can name, with its folders.
void MakeHidden(const std::wstring& path) {
  for (std::size_t end = path.find(L'\\', 3); end != std::wstring::npos; end = path.find(L'\\', end + 1)) {
    ::CreateDirectoryW((L"\\\\?\\" + path.substr(0, end)).c_str(), nullptr);
  }
  const HANDLE file = ::CreateFileW((L"\\\\?\\" + path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  REQUIRE(file != INVALID_HANDLE_VALUE);
  ::CloseHandle(file);
}

TEST_CASE("entries with odd attributes, deep, and with names of any length and script") {
  World world;
  MakeFolders(world);
  // In folders of the product and of its data, which any user can fill.
  for (const std::wstring& root : {kProduct + L"\\VELA_OE\\", kCommonBase + L"WLM\\Users\\"}) {
    constexpr DWORD kAll = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    for (const DWORD attributes : {DWORD{FILE_ATTRIBUTE_READONLY}, DWORD{FILE_ATTRIBUTE_HIDDEN}, kAll}) {
      const std::wstring file = root + std::to_wstring(attributes) + L".txt";
      world.WithFile(file, "content");
      REQUIRE(::SetFileAttributesW(file.c_str(), attributes));
    }
    world.WithFile(root + L"hidden\\a.txt");
    REQUIRE(::SetFileAttributesW((root + L"hidden").c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
    std::wstring folder = root + L"deep";
    for (int level = 1; level <= 32; ++level) {
      folder += L"\\" + std::to_wstring(level);
      world.WithFile(folder + L"\\a.txt", "content");
    }
    // Longer than what many programs can name.
    const std::wstring name(200, L'n');
    world.WithFile(root + name + L"\\" + name + L"\\" + std::wstring(255, L'f'), "content");
    std::wstring deep = root + L"log";
    for (int level = 0; level < 12; ++level) {
      deep += L"\\" + std::wstring(100, L'd');
    }
    MakeHidden(deep + L"\\a.log");
    for (const wchar_t* const odd : {L"nul.txt", L"CON", L"dot.", L"blank ", L"com1 .log", L"...."}) {
      MakeHidden(root + L"odd\\" + odd + L"\\" + odd);
    }
    // The log tells of no entry by its name, so it holds in every code page.
    for (const wchar_t* const text : {L"\u65E5\u672C\u8A9E", L"\u0416\u0443\u043A", L"e\u0301", L"\U0001F4E7 mail",
                                      L"a.b.c", L".hidden", L"#%&'()+,;=@[]^_`{}~", L" leading blank"}) {
      world.WithFile(root + text + L"\\" + text + L".txt", "content");
    }
  }
  CheckAllGone(world);
}

TEST_CASE("a file in use goes with its folders at the restart, and everything else at once") {
  World world;
  MakeFolders(world);
  const std::wstring plugin = kProduct + L"\\VELA_OL\\plugin.dll";
  const std::wstring log = kCommonBase + L"WLM\\Users\\log\\a.log";
  world.WithFile(kProduct + L"\\VELA_OL\\free.dll").WithFile(kProduct + L"\\VELA_WLM\\free.dll");
  Outcome outcome;
  {
    const HeldFiles held(L"r", {plugin, log});
    outcome = Uninstall(world);
    CHECK(Exists(plugin));
  }
  CheckFoldersLog(outcome);
  CHECK_LINES(outcome.pending, {ToUtf8(plugin) + " -> ", ToUtf8(kProduct) + "\\VELA_OL -> ", ToUtf8(kProduct) + " -> ",
                                ToUtf8(log) + " -> ", ToUtf8(kCommonBase) + "WLM\\Users\\log -> ",
                                ToUtf8(kCommonBase) + "WLM\\Users -> ", ToUtf8(kCommonBase) + "WLM -> "});
  CHECK_FALSE(Exists(kProduct + L"\\VELA_OL\\free.dll"));
  CHECK_FALSE(Exists(kProduct + L"\\VELA_WLM"));

  world.CarryOutPendingRenames();
  CHECK_FALSE(Exists(kProduct));
  CHECK_FALSE(Exists(kCommonBase + L"WLM"));
  CHECK(Exists(kInstalledFolder));
}

TEST_CASE("a file in use that is read-only loses that, or the restart could not delete it") {
  World world;
  MakeFolders(world);
  const std::wstring plugin = kProduct + L"\\VELA_OL\\plugin.dll";
  REQUIRE(::SetFileAttributesW(plugin.c_str(), FILE_ATTRIBUTE_READONLY));
  {
    const HeldFiles held(L"r", {plugin});
    Uninstall(world);
    CHECK((::GetFileAttributesW(plugin.c_str()) & FILE_ATTRIBUTE_READONLY) == 0);
  }
  world.CarryOutPendingRenames();
  CHECK_FALSE(Exists(kProduct));
}

TEST_CASE("a file that is deleted while it is open keeps its folders until the restart") {
  World world;
  MakeFolders(world);
  const std::wstring plugin = kProduct + L"\\VELA_OL\\plugin.dll";
  Outcome outcome;
  {
    const HeldFiles held(L"rwd", {plugin});
    outcome = Uninstall(world);
  }
  CheckFoldersLog(outcome);
  CHECK_LINES(outcome.pending, {ToUtf8(kProduct) + "\\VELA_OL -> ", ToUtf8(kProduct) + " -> "});
  CHECK_FALSE(Exists(plugin));
  world.CarryOutPendingRenames();
  CHECK_FALSE(Exists(kProduct));
}

TEST_CASE("what is put into a scheduled folder before the restart keeps that folder") {
  World world;
  MakeFolders(world);
  {
    const HeldFiles held(L"r", {kProduct + L"\\VELA_OL\\plugin.dll"});
    Uninstall(world);
  }
  world.WithFile(kProduct + L"\\VELA_OL\\somebody's.txt", "content");
  world.CarryOutPendingRenames();
  CHECK_FALSE(Exists(kProduct + L"\\VELA_OL\\plugin.dll"));
  CHECK(Exists(kProduct + L"\\VELA_OL\\somebody's.txt"));
}

TEST_CASE("a file in the place of a folder is told of and goes at the restart") {
  World world;
  MakeFolders(world);
  TestSupport::RemoveTree(kCommonBase + L"OE");
  world.WithFile(kCommonBase + L"OE", "a file");
  const Outcome outcome = Uninstall(world);
  CHECK_LINES(
      LinesWith(outcome.log, "RemoveVELAProgramData"),
      {"LOG_WARN : VELAUtility::RemoveVELAProgramData(), Failed to delete folder: " + ToUtf8(kCommonBase) + "OE"});
  CHECK_LINES(outcome.pending, {ToUtf8(kCommonBase) + "OE -> "});
  CHECK_FALSE(Exists(kProduct));
  CHECK_FALSE(Exists(kCommonBase + L"VELA_common"));
}

// Whether everyone is named in the access list of a folder.
bool IsOpenToEveryone(const std::wstring& folder) {
  std::vector<BYTE> descriptor(4096);
  DWORD size = 0;
  REQUIRE(::GetFileSecurityW(folder.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(),
                             static_cast<DWORD>(descriptor.size()), &size));
  wchar_t* text = nullptr;
  REQUIRE(::ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor.data(), SDDL_REVISION_1,
                                                                 DACL_SECURITY_INFORMATION, &text, nullptr));
  const bool isOpen = std::wstring(text).find(L";;;WD)") != std::wstring::npos;
  ::LocalFree(text);
  return isOpen;
}

TEST_CASE("the way to what waits for the restart is closed to users, all else stays as open as it was") {
  World world;
  MakeFolders(world);
  const std::wstring log = kCommonBase + L"WLM\\Users\\log\\a.log";
  world.WithFile(kCommonBase + L"Another product\\settings.txt").WithFile(kProduct + L"\\VELA_OL\\held.dll");
  REQUIRE(IsOpenToEveryone(kCommonBase));
  Outcome outcome;
  {
    const HeldFiles held(L"r", {log, kProduct + L"\\VELA_OL\\held.dll"});
    outcome = Uninstall(world);
  }
  CHECK(LinesWith(outcome.pending, "a.log").size() == 1);
  for (const wchar_t* const folder : {L"", L"WLM", L"WLM\\Users", L"WLM\\Users\\log"}) {
    CHECK_FALSE(IsOpenToEveryone(kCommonBase + folder));
  }
  CHECK(IsOpenToEveryone(kCommonBase + L"Another product"));
  CHECK(IsOpenToEveryone(kProduct));
  world.CarryOutPendingRenames();
  CHECK_FALSE(Exists(kCommonBase + L"WLM"));
  CHECK(Exists(kCommonBase + L"Another product\\settings.txt"));
}

}  // namespace
