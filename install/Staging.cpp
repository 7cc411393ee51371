#include "install/Staging.h"

#include <windows.h>

#include "Common/OrCommon/OrComn_Shell.h"
#include "Common/OrCommon/OrComn_System.h"
#include "cli/RunLog.h"
#include "install/FileCopy.h"
#include "settings/MailClients.h"
#include "settings/ProductFolders.h"

namespace VELAUtility {
namespace {

using ProductFolders::Join;

// For a plug-in that is 32-bit on every system.
template <int (*kPreInstall)(const std::wstring& sourceFolder, const std::wstring& baseFolder)>
int PreInstall32Bit(const std::wstring& sourceFolder, const std::wstring& baseFolder, bool /*is64Bit*/) {
  return kPreInstall(sourceFolder, baseFolder);
}

struct StagedClient {
  MailClient client;
  int (*preInstall)(const std::wstring& sourceFolder, const std::wstring& baseFolder, bool is64Bit);
  RunLog::Text folderFailure;
  RunLog::Text iniFailure;
  RunLog::Text result;  // its number follows
};

constexpr StagedClient kStagedClients[] = {
    {MailClient::kOutlook, PreInstall32Bit<PreInstallVELA_OL>, L"SHCreateDirectoryEx create VELA_OL folder fail !",
     L"Fail to copy VELA_OL.ini !", L"VELAUtility::PreInstallVELA_OL(), Ret: "},
    {MailClient::kOutlookExpress, PreInstallVELA_OE, L"SHCreateDirectoryEx create VELA_OE folder fail !",
     L"Fail to copy VELA_OE.ini !", L"VELAUtility::PreInstallVELA_OE(), Ret: "},
    {MailClient::kWindowsLiveMail, PreInstall32Bit<PreInstallVELA_WLM>,
     L"SHCreateDirectoryEx create VELA_WLM folder fail !", L"Fail to copy VELA_WLM.ini !",
     L"VELAUtility::PreInstallVELA_WLM(), Ret: "},
};
static_assert(StandInOrder(kStagedClients) && HasEveryClient(kStagedClients));

// Creates the folder and its missing parents; true also if it exists.
bool MakeFolder(const std::wstring& folder) {
  const int result = OrCommon::Shell::SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
  return result == ERROR_SUCCESS || result == ERROR_ALREADY_EXISTS;
}

void CopyTree(const std::wstring& source, const std::wstring& folder) {
  int rebootNeeded = 0;  // set by the copy, not used here
  CopyFolderTree(source, folder, &rebootNeeded, 0);
}

int FillFolderOf(MailClient client, const std::wstring& sourceFolder, const std::wstring& baseFolder,
                 bool has64BitFiles) {
  const StagedClient& staged = RowOf(client, kStagedClients);
  const std::wstring folder = ProductFolders::ClientFolder(baseFolder, client);
  if (!MakeFolder(folder)) {
    RunLog::Error() << staged.folderFailure;
  }
  // The client's own files first, then the common ones over them. The path of the former always gets a backslash: a
  // source that ends in one has two here.
  CopyTree(sourceFolder + L"\\" + FactsOf(client).shortName + (has64BitFiles ? L"64" : L""), folder);
  CopyTree(Join(sourceFolder, has64BitFiles ? L"Common\\win64" : L"Common\\win32"), folder);

  const std::wstring ruleFolder = folder + L"\\rule";
  if (!MakeFolder(ruleFolder)) {
    RunLog::Error() << L"SHCreateDirectoryEx create rule folder fail !";
  }
  CopyTree(Join(sourceFolder, L"rule"), ruleFolder);

  const std::wstring iniFile = L"\\" + FolderNameOf(client) + L".ini";
  if (!CopyFileKeepingTimes(Join(sourceFolder, L"Resource\\common") + iniFile, folder + iniFile)) {
    RunLog::Warn() << staged.iniFailure;
  }
  return 1;
}

}  // namespace

int PreInstallVELA_MUI(const std::wstring& sourceFolder, const std::wstring& baseFolder, bool is64Bit) {
  const std::wstring folder = Join(baseFolder, L"VELA\\Resource");
  if (!MakeFolder(folder)) {
    RunLog::Error() << L"SHCreateDirectoryEx create folder fail ! Folder: " << folder;
  }
  CopyTree(Join(sourceFolder, is64Bit ? L"Resource\\x64" : L"Resource\\x86"), folder);
  return 1;
}

int PreInstallVELA_OL(const std::wstring& sourceFolder, const std::wstring& baseFolder) {
  return FillFolderOf(MailClient::kOutlook, sourceFolder, baseFolder, false);
}

int PreInstallVELA_OE(const std::wstring& sourceFolder, const std::wstring& baseFolder, bool is64Bit) {
  return FillFolderOf(MailClient::kOutlookExpress, sourceFolder, baseFolder, is64Bit);
}

int PreInstallVELA_WLM(const std::wstring& sourceFolder, const std::wstring& baseFolder) {
  return FillFolderOf(MailClient::kWindowsLiveMail, sourceFolder, baseFolder, false);
}

int StageClient(MailClient client, const std::wstring& sourceFolder, const std::wstring& baseFolder, bool is64Bit) {
  return RowOf(client, kStagedClients).preInstall(sourceFolder, baseFolder, is64Bit);
}

void StageAll(const std::wstring& sourceFolder, const std::wstring& baseFolder, StepResults results) {
  const bool is64Bit = OrCommon::System::IsAmd64System();
  const int resources = PreInstallVELA_MUI(sourceFolder, baseFolder, is64Bit);
  if (results == StepResults::kLogged) {
    RunLog::Info() << L"VELAUtility::PreInstallVELA_MUI(), Ret: " << resources;
  }
  for (const StagedClient& staged : kStagedClients) {
    if (IsLeftOut(staged.client)) {
      continue;
    }
    const int result = StageClient(staged.client, sourceFolder, baseFolder, is64Bit);
    if (results == StepResults::kLogged) {
      RunLog::Info() << staged.result << result;
    }
  }
}

}  // namespace VELAUtility
