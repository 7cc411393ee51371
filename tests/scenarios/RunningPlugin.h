// A mail client with the product's plug-in, which waits for the order to load the engine again.
#pragma once

#include <string>

#include "tests/support/TestProcess.h"
#include "tests/support/TextLines.h"

namespace Scenarios {

// Create it after the world that it runs in: it must end first.
class RunningPlugin {
 public:
  // `program`: the file's name ("OUTLOOK.EXE"). Returns when the plug-in waits, or could not get its event.
  RunningPlugin(const std::wstring& program, const std::wstring& event);

  // Its report. Waits until there are `count` lines: "waiting" or "refused <error>", then one "reloaded" for each time.
  TestSupport::Lines Report(std::size_t count) const;
  bool IsRunning() const { return process_.IsRunning(); }

 private:
  std::wstring folder_;
  TestSupport::TestProcess process_;
};

}  // namespace Scenarios
