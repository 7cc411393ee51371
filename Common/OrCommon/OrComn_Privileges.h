// Privileges that the process holds and has to ask for.
#pragma once

#include <windows.h>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Handles.h"

namespace OrCommon::AccessControl {

// Lets the process pass over access lists, as a program that backs up and restores files does, for as long as this
// lives. Where the privileges, or one of them, cannot be had, access lists hold as ever.
class BackupPrivileges : private boost::noncopyable {
 public:
  BackupPrivileges();
  ~BackupPrivileges();

 private:
  KernelHandle token_;
  TOKEN_PRIVILEGES previous_[2] = {};  // what was changed: one privilege each, or none
};

}  // namespace OrCommon::AccessControl
