// Everything around the switch: the machine, its console session, the running clients, and what it would start.
#pragma once

#include "activation/AntiSpamSwitch.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/activation/ConsoleSession.h"
#include "tests/unit/activation/MonitorStarts.h"
#include "tests/unit/activation/SwitchedMachine.h"
#include "tests/support/RegistrationChild.h"
#include "tests/unit/settings/RunningProcesses.h"

namespace TestSupport {

// The monitors' shutdown event and the pause while it is set: every call, in order, as a line.
class ShutdownCalls {
 public:
  ShutdownCalls()
      : create_("CreateEventW",
                [this](LPSECURITY_ATTRIBUTES attributes, BOOL manual, BOOL set, LPCWSTR name) -> HANDLE {
                  if (name == nullptr) {  // the tests' own
                    return create_.Original<decltype(&::CreateEventW)>()(attributes, manual, set, name);
                  }
                  calls_.push_back("CreateEventW " + ToUtf8(name) + (manual ? " manual" : "") + (set ? " set" : "") +
                                   (attributes != nullptr ? " attributes" : ""));
                  if (error_ != ERROR_SUCCESS) {
                    ::SetLastError(error_);
                    return nullptr;
                  }
                  event_ = create_.Original<decltype(&::CreateEventW)>()(attributes, manual, set, name);
                  return event_;
                }),
        set_("SetEvent", [this](HANDLE event) -> BOOL { return Note("SetEvent", event); }),
        sleep_("Sleep", [this](DWORD milliseconds) { calls_.push_back("Sleep " + std::to_string(milliseconds)); }),
        reset_("ResetEvent", [this](HANDLE event) -> BOOL { return Note("ResetEvent", event); }),
        close_("CloseHandle", [this](HANDLE handle) -> BOOL {
          if (event_ != nullptr && handle == event_) {
            event_ = nullptr;
            calls_.emplace_back("CloseHandle");
          }
          return close_.Original<decltype(&::CloseHandle)>()(handle);
        }) {}

  void Fail(DWORD error) { error_ = error; }
  const Lines& Calls() const { return calls_; }

 private:
  BOOL Note(const char* call, HANDLE event) {
    calls_.push_back(call + std::string(event_ != nullptr && event == event_ ? "" : " another"));
    return TRUE;
  }

  DWORD error_ = ERROR_SUCCESS;
  HANDLE event_ = nullptr;
  Lines calls_;
  ImportRedirection create_;
  ImportRedirection set_;
  ImportRedirection sleep_;
  ImportRedirection reset_;
  ImportRedirection close_;
};

struct SwitchWorld {
  SwitchedMachine machine;
  RunningProcesses running;
  ConsoleSession session;
  MonitorStarts monitors{session};
  RegistrationChild regsvr32;
  ShutdownCalls shutdown;

  // What the switch wrote to the log; its result goes to `result`.
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

// The process's own user as the session line tells it.
inline std::string SessionLine(const std::string& sid, const std::string& sessionId = "7") {
  return "CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:" + sessionId + ", szSID: " + sid;
}

// A shutdown that was signalled, as calls.
inline Lines SignalledCalls() {
  return {"CreateEventW Global\\{DD2A6866-95FD-47a8-A48D-CDB025648C09} manual", "SetEvent", "Sleep 100", "ResetEvent",
          "CloseHandle"};
}

}  // namespace TestSupport
