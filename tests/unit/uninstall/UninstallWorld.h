// A machine for the removal of the product inside the test process.
#pragma once

#include <windows.h>

#include <string>

#include "tests/support/TestRegistry.h"
#include "tests/support/TextLines.h"
#include "tests/unit/install/CommandLineGiven.h"
#include "tests/support/PendingMoves.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/settings/RunningProcesses.h"

namespace TestSupport {

class UninstallWorld {
 public:
  // The destination; by default "C:\VelaTest\Removal\product". A trace of each client is below it.
  explicit UninstallWorld(const std::wstring& destination = {});
  UninstallWorld(const UninstallWorld&) = delete;
  UninstallWorld& operator=(const UninstallWorld&) = delete;
  ~UninstallWorld();

  static constexpr wchar_t kCommonBase[] = L"C:\\ProgramData\\Orvane Labs";

  // The add-in keys of machine and hives and the Run values, as installed and switched on.
  void RegisterAll() const;
  // A file of each client below a folder.
  void MakeProduct(const std::wstring& base) const;

  PendingMoves pending;
  ScratchFolder folder{L"Removal"};
  CommandLineGiven commandLine;
  RunningProcesses running;
  RegistrationChild regsvr32;

 private:
  static void Forget();
};

}  // namespace TestSupport
