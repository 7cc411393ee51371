// The machine of the endurance tests, on which the real program runs. It can be restored in a moment.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/faults/MachineState.h"
#include "tests/scenarios/PlainRuns.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestProcess.h"
#include "tests/support/TestRegistry.h"

namespace Endurance {

using Faults::MachineState;
using TestSupport::Lines;

struct Command {
  const char* name;
  const wchar_t* commandSwitch;
  bool isStaging;  // it gets the destination; the others get the folder in it
  DWORD exitCode;

  std::vector<std::wstring> Arguments(const std::wstring& source = Scenarios::World::kSource) const;
};

// -I -p -e -d -U -r -s
const std::vector<Command>& Commands();

// How far the product's life went before, from an older source.
enum class Stage { kAbsent, kInstalled, kSwitchedOn };

// Every file below the folder is newer; those that no program loads also have other contents.
void Renew(const std::wstring& source);

class Machine {
 public:
  explicit Machine(Stage stage);

  // Everything as after the constructor, also the times of files. The log goes on.
  void Reset();
  // Holds a file of the product open, as a program that runs would. Only until the next Reset.
  void HoldFile();

  // It waits to be resumed.
  TestSupport::TestProcess Started(const Command& command,
                                   const std::wstring& source = Scenarios::World::kSource) const;
  // Runs it to its end, and that of all programs that it started. Checks its exit code.
  void Run(const Command& command, const std::wstring& source = Scenarios::World::kSource) const;

  // What the product may change, when all programs that a run started have ended.
  MachineState State() const;
  // The same, and everything that is scheduled for the restart is done.
  MachineState StateAfterRestart();
  // Waits for that end.
  void Settle() const;

 private:
  void Keep();
  std::vector<TestSupport::KeyPlace> Places() const;

  Scenarios::World world_;
  std::unique_ptr<TestSupport::HeldFile> held_;
  std::vector<TestSupport::KeyPlace> places_;
};

// A number from the environment.
unsigned long long Setting(const char* name, unsigned long long otherwise);

// True if the text is the pattern; '*' in it stands for any text.
bool IsLike(const std::string& text, const std::string& pattern);

}  // namespace Endurance
