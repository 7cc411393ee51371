#include "install/UpgradeCommand.h"

#include "install/DataFolder.h"
#include "install/Staging.h"
#include "settings/CommandLineFolders.h"

namespace VELAWrapper {

int Upgrade() {
  using namespace VELAUtility;
  StageAll(SrcPath, ChooseBaseFolder(DestPath), StepResults::kLogged);
  return 1;
}

}  // namespace VELAWrapper
