// Acting as the user at the console.
#pragma once

#include <windows.h>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Handles.h"

namespace Frwk::WindowStation {

// Finds the console user's primary token (that of the session, else that of "Explorer.exe"), makes the calling thread
// act as that user and gives the user's environment block. Every outcome is traced. False, with the code in `error`,
// where a step fails; ERROR_INVALID_PARAMETER where `environmentBlock` is null. The token, where one was found, stays
// with the caller in every case. Where only the environment block fails, the thread goes on acting as the user: who
// gets false here must not rely on being itself again.
bool StartImpersonateLoggedOnCurrentUser(OrCommon::KernelHandle& token, void** environmentBlock, DWORD& error);

// Gives the environment block back and makes the thread act as the process again. True where both succeeded; the code
// of what failed goes to the trace.
bool EndImpersonateLoggedOnCurrentUser(HANDLE token, void* environmentBlock);

// The above as a scope: ends with the object at the latest, and where the start fails at once. Nothing is started where
// the library of the environment block cannot be loaded beforehand.
class ConsoleUserScope : private boost::noncopyable {
 public:
  ConsoleUserScope() = default;
  ~ConsoleUserScope();

  // True where the thread now acts as the user.
  bool Start();
  // Ends it; false where something could not be undone. The token stays valid until the object goes.
  bool End();

  HANDLE Token() const noexcept { return token_.Get(); }

 private:
  OrCommon::Module environmentLibrary_;  // loaded before the thread acts as the user
  OrCommon::KernelHandle token_;
  void* environmentBlock_ = nullptr;
  bool active_ = false;
};

}  // namespace Frwk::WindowStation
