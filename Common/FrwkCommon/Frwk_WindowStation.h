// Impersonating the user at the console.
#pragma once

#include <windows.h>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Handles.h"

namespace Frwk::WindowStation {

// Finds the console user's primary token (that of the session, otherwise that of "Explorer.exe"), impersonates that
// user and creates the user's environment block. Every outcome is traced. False, with the code in `error`, if a step
// fails; ERROR_INVALID_PARAMETER if `environmentBlock` is null. The caller owns the token in every case. If only the
// environment block fails, the thread still impersonates.
bool StartImpersonateLoggedOnCurrentUser(OrCommon::KernelHandle& token, void** environmentBlock, DWORD& error);

// Frees the environment block and ends the impersonation. True if both succeeded; the code of a failure goes to the
// trace.
bool EndImpersonateLoggedOnCurrentUser(HANDLE token, void* environmentBlock);

// The two as a scope. It ends with the object at the latest, and at once if the start fails. It does not start if the
// library of the environment block cannot be loaded beforehand.
class ConsoleUserScope : private boost::noncopyable {
 public:
  ConsoleUserScope() = default;
  ~ConsoleUserScope();

  // True if the thread now impersonates the user.
  bool Start();
  // Ends it. False if a part of that failed. The token stays valid for the lifetime of the object.
  bool End();

  HANDLE Token() const noexcept { return token_.Get(); }

 private:
  OrCommon::Module environmentLibrary_;  // loaded before impersonation
  OrCommon::KernelHandle token_;
  void* environmentBlock_ = nullptr;
  bool active_ = false;
};

}  // namespace Frwk::WindowStation
