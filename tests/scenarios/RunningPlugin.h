// A mail client with the product's plug-in in it, which waits to be told to load the engine anew.
#pragma once

#include <string>

#include "tests/support/TestProcess.h"
#include "tests/support/TextLines.h"

namespace Scenarios {

// Make it behind the world that it runs in: it ends first.
class RunningPlugin {
 public:
  // `program`: the file's name ("OUTLOOK.EXE"). Returns when the plug-in waits, or has been refused its event.
  RunningPlugin(const std::wstring& program, const std::wstring& event);

  // What it has reported, waiting until there are `count` lines: "waiting" or "refused <error>", then "reloaded" for
  // each time.
  TestSupport::Lines Report(std::size_t count) const;
  bool IsRunning() const { return process_.IsRunning(); }

 private:
  std::wstring folder_;
  TestSupport::TestProcess process_;
};

}  // namespace Scenarios
