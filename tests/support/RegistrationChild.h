// A fake regsvr32.exe for the registrations: every start is recorded and gets a prepared answer. No process is started.
//
//   RegistrationChild child;
//   child.FailStart(2, ERROR_FILE_NOT_FOUND);
//   RegisterOEPlugin(L"C:\\VELA_OE", true);
//   CHECK_LINES(child.CommandLines(), {...});
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"

// The arguments of CreateProcessW.
struct ChildStart {
  std::wstring commandLine;
  bool hasApplicationName;
  bool hasSecurityAttributes;  // of the process or of the thread
  bool hasEnvironment;
  bool hasCurrentFolder;
  BOOL inheritHandles;
  DWORD flags;
  STARTUPINFOW startup;
  bool processInformationZeroed;
};

class RegistrationChild {
 public:
  RegistrationChild();
  RegistrationChild(const RegistrationChild&) = delete;
  RegistrationChild& operator=(const RegistrationChild&) = delete;

  // The first start is 1. A failing one sets the last-error code to `error`.
  void FailStart(unsigned start, DWORD error) { failures_[start] = error; }
  void FailEveryStart(DWORD error) { everyFailure_ = error; }
  // What CreateProcessW returns for a start that succeeds, and the result of the wait. Default: 1 and WAIT_OBJECT_0.
  void AnswerStartsWith(BOOL value) { success_ = value; }
  void AnswerWaitsWith(DWORD result) { waitResult_ = result; }

  const std::vector<ChildStart>& Starts() const { return starts_; }
  TestSupport::Lines CommandLines() const;
  const std::vector<DWORD>& WaitMilliseconds() const { return waits_; }
  // Handles that the starts returned and that nobody closed.
  std::size_t OpenHandles() const { return openHandles_.size(); }

 private:
  BOOL Start(const ChildStart& start, PROCESS_INFORMATION* information);
  HANDLE GiveOut();

  std::vector<ChildStart> starts_;
  std::vector<DWORD> waits_;
  std::vector<HANDLE> openHandles_;
  std::map<unsigned, DWORD> failures_;
  DWORD everyFailure_ = ERROR_SUCCESS;
  BOOL success_ = TRUE;
  DWORD waitResult_ = WAIT_OBJECT_0;
  TestSupport::ImportRedirection createProcess_;
  TestSupport::ImportRedirection waitForSingleObject_;
  TestSupport::ImportRedirection closeHandle_;
};

// The lines that one start leaves in the run log; `result` is what CreateProcessW returned.
TestSupport::Lines RegisteringLines(const std::string& module, int result = 1);
TestSupport::Lines UnregisteringLines(const std::string& module, int result = 1);

// Joins several lists.
TestSupport::Lines Joined(const std::vector<TestSupport::Lines>& lists);
