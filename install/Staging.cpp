#include "install/Staging.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_Shell.h"
#include "cli/RunLog.h"
#include "install/FileCopy.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"

namespace VELAUtility {
namespace {

using ProductFolders::Join;

constexpr wchar_t kRuleFolder[] = L"rule";
constexpr wchar_t kIniFolder[] = L"Resource\\common";

// A folder of the installation source. A name with a leading backslash is appended to the source folder as it stands,
// even where that ends in one already; any other is joined by one backslash.
struct SourceFolder {
  const wchar_t* name;
  const wchar_t* nameOn64Bit;
};

struct StagedClient {
  MailClient client;
  SourceFolder own;  // the client's own files come first, the common ones over them
  SourceFolder common;
  const wchar_t* iniFile;
  RunLog::Text folderFailure;
  RunLog::Text iniFailure;
};

// The files for Outlook and Windows Live Mail are 32-bit ones on every system; those for Outlook Express are what the
// system is.
constexpr StagedClient kOutlook = {MailClient::kOutlook,
                                   {L"\\OL", L"\\OL"},
                                   {L"Common\\win32", L"Common\\win32"},
                                   L"\\VELA_OL.ini",
                                   L"SHCreateDirectoryEx create VELA_OL folder fail !",
                                   L"Fail to copy VELA_OL.ini !"};
constexpr StagedClient kOutlookExpress = {MailClient::kOutlookExpress,
                                          {L"\\OE", L"\\OE64"},
                                          {L"Common\\win32", L"Common\\win64"},
                                          L"\\VELA_OE.ini",
                                          L"SHCreateDirectoryEx create VELA_OE folder fail !",
                                          L"Fail to copy VELA_OE.ini !"};
constexpr StagedClient kWindowsLiveMail = {MailClient::kWindowsLiveMail,
                                           {L"\\WLM", L"\\WLM"},
                                           {L"Common\\win32", L"Common\\win32"},
                                           L"\\VELA_WLM.ini",
                                           L"SHCreateDirectoryEx create VELA_WLM folder fail !",
                                           L"Fail to copy VELA_WLM.ini !"};

std::wstring PathOf(const SourceFolder& folder, const std::wstring& sourceFolder, bool is64Bit) {
  const std::wstring_view name = is64Bit ? folder.nameOn64Bit : folder.name;
  return name.front() == L'\\' ? sourceFolder + std::wstring(name) : Join(sourceFolder, name);
}

// Makes the folder and its missing parents; true also where it exists.
bool MakeFolder(const std::wstring& folder) {
  const int result = OrCommon::Shell::SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
  return result == ERROR_SUCCESS || result == ERROR_ALREADY_EXISTS;
}

void CopyInto(const std::wstring& folder, const std::wstring& source) {
  int rebootNeeded = 0;  // collected by the copy; nobody asks for it here
  CopyFolderTree(source, folder, &rebootNeeded, 0);
}

int StageClient(const StagedClient& staged, const std::wstring& sourceFolder, const std::wstring& baseFolder,
                bool is64Bit) {
  const std::wstring folder = Join(baseFolder, FactsOf(staged.client).folder);
  if (!MakeFolder(folder)) {
    RunLog::Error() << staged.folderFailure;
  }
  CopyInto(folder, PathOf(staged.own, sourceFolder, is64Bit));
  CopyInto(folder, PathOf(staged.common, sourceFolder, is64Bit));

  const std::wstring ruleFolder = folder + L"\\" + kRuleFolder;
  if (!MakeFolder(ruleFolder)) {
    RunLog::Error() << L"SHCreateDirectoryEx create rule folder fail !";
  }
  CopyInto(ruleFolder, Join(sourceFolder, kRuleFolder));

  if (!CopyFileKeepingTimes(Join(sourceFolder, kIniFolder) + staged.iniFile, folder + staged.iniFile)) {
    RunLog::Warn() << staged.iniFailure;
  }
  return 1;
}

}  // namespace

int PreInstallVELA_MUI(const std::wstring& sourceFolder, const std::wstring& baseFolder, bool is64Bit) {
  constexpr SourceFolder kResources = {L"Resource\\x86", L"Resource\\x64"};
  const std::wstring folder = Join(baseFolder, L"VELA\\Resource");
  if (!MakeFolder(folder)) {
    RunLog::Error() << L"SHCreateDirectoryEx create folder fail ! Folder: " << folder;
  }
  CopyInto(folder, PathOf(kResources, sourceFolder, is64Bit));
  return 1;
}

int PreInstallVELA_OL(const std::wstring& sourceFolder, const std::wstring& baseFolder) {
  return StageClient(kOutlook, sourceFolder, baseFolder, false);
}

int PreInstallVELA_OE(const std::wstring& sourceFolder, const std::wstring& baseFolder, bool is64Bit) {
  return StageClient(kOutlookExpress, sourceFolder, baseFolder, is64Bit);
}

int PreInstallVELA_WLM(const std::wstring& sourceFolder, const std::wstring& baseFolder) {
  return StageClient(kWindowsLiveMail, sourceFolder, baseFolder, false);
}

}  // namespace VELAUtility
