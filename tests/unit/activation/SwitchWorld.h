// The environment of the switch: the machine, its console session, the running clients, and what it would start.
#pragma once

#include "activation/AntiSpamSwitch.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/activation/MonitorStarts.h"
#include "tests/unit/activation/SwitchedMachine.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/settings/RunningProcesses.h"

namespace TestSupport {

// The monitors' shutdown event and the pause while it is set: every call, in order, one line each.
class ShutdownCalls {
 public:
  const Lines& Calls() const { return calls_; }

 private:
  void Note(const char* call, HANDLE event) {
    calls_.push_back(call + std::string(event_ != nullptr && event == event_ ? "" : " another"));
  }

  HANDLE event_ = nullptr;
  Lines calls_;
  AfterCall create_{"CreateEventW", &::CreateEventW,
                    [this](HANDLE event, const SECURITY_ATTRIBUTES* attributes, BOOL manual, BOOL set, LPCWSTR name) {
                      if (name != nullptr) {  // the tests' own have none
                        event_ = event;
                        calls_.push_back("CreateEventW " + ToUtf8(name) + (manual ? " manual" : "") +
                                         (set ? " set" : "") + (attributes != nullptr ? " attributes" : ""));
                      }
                    }};
  OnCall set_{"SetEvent", &::SetEvent, [this](HANDLE event) { Note("SetEvent", event); }};
  ImportRedirection sleep_{"Sleep",
                           [this](DWORD milliseconds) { calls_.push_back("Sleep " + std::to_string(milliseconds)); }};
  OnCall reset_{"ResetEvent", &::ResetEvent, [this](HANDLE event) { Note("ResetEvent", event); }};
  OnCall close_{"CloseHandle", &::CloseHandle, [this](HANDLE handle) {
                  if (event_ != nullptr && handle == event_) {
                    event_ = nullptr;
                    calls_.emplace_back("CloseHandle");
                  }
                }};
};

struct SwitchWorld {
  SwitchedMachine machine;
  RunningProcesses running;
  ConsoleSession session;
  MonitorStarts monitors{session};
  RegistrationChild regsvr32;
  ShutdownCalls shutdown;

  // What the switch wrote to the log; its return value is stored in `result`.
  Lines Switch(bool enable) {
    const LogCapture log;
    result = CProviderAntiSpam().SetAntiSpamEnable(enable, L"C:\\VELA", 0);
    return log.Lines();
  }
  bool result = false;
};

// ---- lines of the log

inline Lines Info(const std::string& text) {
  return {"LOG_INFO : " + text};
}
inline Lines Error(const std::string& text) {
  return {"LOG_ERROR: " + text};
}

// The user of this process, as the session line names it.
inline std::string SessionLine(const std::string& sid, const std::string& sessionId = "7") {
  return "CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:" + sessionId + ", szSID: " + sid;
}

// The calls for a shutdown that was signalled.
inline Lines SignalledCalls() {
  return {"CreateEventW Global\\{DD2A6866-95FD-47a8-A48D-CDB025648C09} manual", "SetEvent", "Sleep 100", "ResetEvent",
          "CloseHandle"};
}

}  // namespace TestSupport
