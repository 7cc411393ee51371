#include "install/UpgradeCommand.h"

#include <string>

#include "Common/OrCommon/OrComn_System.h"
#include "cli/RunLog.h"
#include "install/DataFolder.h"
#include "install/Staging.h"
#include "settings/CommandLineFolders.h"
#include "settings/MailClients.h"

namespace VELAWrapper {
namespace {

// Takes the result as a value so that the step's own lines come before this one.
void LogStep(RunLog::Text text, int result) {
  RunLog::Info() << text << result;
}

}  // namespace

int Upgrade() {
  using namespace VELAUtility;
  const bool is64Bit = OrCommon::System::IsAmd64System();
  const std::wstring baseFolder = ChooseBaseFolder();
  const std::wstring sourceFolder = SrcPath;
  LogStep(L"VELAUtility::PreInstallVELA_MUI(), Ret: ", PreInstallVELA_MUI(sourceFolder, baseFolder, is64Bit));
  LogStep(L"VELAUtility::PreInstallVELA_OL(), Ret: ", PreInstallVELA_OL(sourceFolder, baseFolder));
  if (!IsLeftOut(MailClient::kOutlookExpress)) {
    LogStep(L"VELAUtility::PreInstallVELA_OE(), Ret: ", PreInstallVELA_OE(sourceFolder, baseFolder, is64Bit));
  }
  LogStep(L"VELAUtility::PreInstallVELA_WLM(), Ret: ", PreInstallVELA_WLM(sourceFolder, baseFolder));
  return 1;
}

}  // namespace VELAWrapper
