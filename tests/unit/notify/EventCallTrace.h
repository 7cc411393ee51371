// The calls by which events are signalled, in order, as lines:
//
//   CreateEventW manual-reset Global\X
//   SetEvent 1
//   CloseHandle 1
//
// Events are numbered in the order in which they are opened. An unusual argument is told behind the name. CloseHandle
// of anything else is not shown.
#pragma once

#include <windows.h>

#include <map>
#include <string>

#include "tests/support/ImportRedirection.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

class EventCallTrace {
 public:
  EventCallTrace()
      : createEvent_("CreateEventW",
                     [this](LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState, LPCWSTR name) {
                       calls_.push_back(std::string("CreateEventW ") + (manualReset ? "manual-reset " : "auto-reset ") +
                                        ToUtf8(name) + (security != nullptr ? " with security" : "") +
                                        (initialState ? " set" : ""));
                       const HANDLE event = createEvent_.Original<decltype(&::CreateEventW)>()(security, manualReset,
                                                                                               initialState, name);
                       if (event != nullptr) {
                         open_[event] = ++opened_;
                       }
                       return event;
                     }),
        setEvent_("SetEvent",
                  [this](HANDLE event) {
                    calls_.push_back("SetEvent " + std::to_string(open_[event]));
                    return setEvent_.Original<decltype(&::SetEvent)>()(event);
                  }),
        closeHandle_("CloseHandle", [this](HANDLE handle) {
          const auto found = open_.find(handle);
          if (found != open_.end()) {
            calls_.push_back("CloseHandle " + std::to_string(found->second));
            open_.erase(found);
          }
          return closeHandle_.Original<decltype(&::CloseHandle)>()(handle);
        }) {}

  const Lines& Calls() const { return calls_; }
  bool AllClosed() const { return open_.empty(); }

 private:
  Lines calls_;
  int opened_ = 0;
  std::map<HANDLE, int> open_;
  ImportRedirection createEvent_;
  ImportRedirection setEvent_;
  ImportRedirection closeHandle_;
};

}  // namespace TestSupport
