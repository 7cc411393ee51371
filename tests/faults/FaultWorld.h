// The machine of the subject, one for each scenario: every command has much to do on it.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/FileSnapshot.h"
#include "tests/support/RegistrySnapshot.h"
#include "tests/support/TestProcess.h"

namespace Faults {

struct Scenario {
  const char* name;
  const wchar_t* commandSwitch;
  std::vector<const wchar_t*> running;  // programs that run at the same time
  bool pluginsListen;                   // the plug-ins' events exist
  bool shellOnly;                       // no session has a token: the shell's owner is used, who has no identity
};

// The scenarios of the sweep, in order. Windows is version 6.0 in all of them, which has every client.
const std::vector<Scenario>& Scenarios();

// The files in the source, which are installed.
enum class Modules {
  kNone,
  kAll  // every module that is registered; installed ones are registered already
};

class FaultWorld {
 public:
  FaultWorld(const Scenario& scenario, Modules modules);
  FaultWorld(const FaultWorld&) = delete;
  FaultWorld& operator=(const FaultWorld&) = delete;
  ~FaultWorld();

  // Restores everything as before the first run, also the times of files.
  void Reset();

  static TestSupport::FileSnapshot Files();
  static TestSupport::RegistrySnapshot Registry();

 private:
  void PlantSource() const;
  void PlantInstalled();
  void PlantRegistry() const;
  void Clear();

  const Scenario& scenario_;
  const Modules modules_;
  std::vector<TestSupport::TestProcess> processes_;
  std::vector<HANDLE> events_;
  HANDLE held_ = INVALID_HANDLE_VALUE;      // of the product's files
  HANDLE heldData_ = INVALID_HANDLE_VALUE;  // of the data of all users
};

}  // namespace Faults
