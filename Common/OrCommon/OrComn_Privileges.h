// Privileges that the process has but must enable.
#pragma once

#include <windows.h>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::AccessControl {

// While an object of this class lives, the process bypasses access control lists, as a program that backs up and
// restores files does. If a privilege cannot be enabled, access control lists apply as usual.
class BackupPrivileges : private boost::noncopyable {
 public:
  BackupPrivileges();
  ~BackupPrivileges();

 private:
  KernelHandle token_;
  TOKEN_PRIVILEGES previous_[2] = {};  // the changes: one privilege each, or none
};

}  // namespace OrCommon::AccessControl
