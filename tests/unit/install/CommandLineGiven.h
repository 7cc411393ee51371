// The folders of the command line, as a command finds them.
#pragma once

#include <string>
#include <utility>

#include "settings/CommandLineFolders.h"

namespace TestSupport {

class CommandLineGiven {
 public:
  CommandLineGiven(std::wstring source, std::wstring destination)
      : source_(std::move(source)), destination_(std::move(destination)), before_{SrcPath, DestPath} {
    SrcPath = source_.c_str();
    DestPath = destination_.c_str();
  }
  CommandLineGiven(const CommandLineGiven&) = delete;
  CommandLineGiven& operator=(const CommandLineGiven&) = delete;
  ~CommandLineGiven() {
    SrcPath = before_.first;
    DestPath = before_.second;
  }

 private:
  const std::wstring source_;
  const std::wstring destination_;
  const std::pair<const wchar_t*, const wchar_t*> before_;
};

}  // namespace TestSupport
