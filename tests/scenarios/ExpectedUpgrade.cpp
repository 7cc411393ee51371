#include "tests/scenarios/ExpectedUpgrade.h"

namespace Expected {

Lines UpgradeBegins(const std::wstring& source, const std::wstring& destination) {
  return RunBegins(L"-p", source, destination, "======= Upgrade VELA ========");
}

Lines ReloadBegins() {
  return RunBegins(L"-r", World::kSource, World::kDestination, "======= Notify Reload Engine and Pattern ========");
}

Lines FilesUpgraded(OutlookExpress outlookExpress, const std::wstring& base, const std::wstring& source) {
  Lines lines;
  for (const StagingStep& step : StagingSteps(outlookExpress, base, source)) {
    for (const Tree& tree : step.trees) {
      lines = Joined({lines, TreeCopied(tree)});
    }
    lines = Joined({lines, StepReturned(step.name.empty() ? "MUI" : step.name.substr(5))});
  }
  return lines;
}

Lines StepReturned(const std::string& step) {
  return Info("VELAUtility::PreInstallVELA_" + step + "(), Ret: 1");
}

Lines Notified(const std::vector<NotifiedClient>& clients) {
  Lines lines = Info("Enter VELAUtility::NotifyReloadVELAEngine()");
  for (const NotifiedClient& notified : clients) {
    lines =
        Joined({lines, notified.error == 0
                           ? Info("[VELAUtility::NotifyReloadVELAEngine] " + notified.client + " has been notified.")
                           : Error("Fail to OpenEvent() for VELA_SHADOW_UPDATE_EVENT_" + notified.client +
                                   "! ErrCode:" + std::to_string(notified.error))});
  }
  return Joined({lines, Info("Leave VELAUtility::NotifyReloadVELAEngine()")});
}

Lines UpgradeReturned() {
  return Info("VELAWrapper::Upgrade() RetrunCode : 1");
}

Lines UpgradeEnds(int notified) {
  return Joined(
      {Info("VELAWrapper::NotifyReloadVELAEngine() RetrunCode : " + std::to_string(notified)), RunEnds(notified)});
}

}  // namespace Expected
