// What the product code in this process has written to the run log since the capture was created:
//
//   LogCapture log;
//   RegisterOEPlugin(folder, 0);
//   CHECK_LINES(log.Lines(), {"LOG_INFO : RegisterComModule() command line: ...", ...});
#pragma once

#include <string>
#include <vector>

#include "cli/RunLog.h"
#include "tests/support/LogFile.h"

namespace TestSupport {

class LogCapture {
 public:
  LogCapture() {
    RunLog::Flush();
    start_ = LogFileSize();
  }

  std::vector<std::string> Lines() const {
    RunLog::Flush();
    return LogLinesFrom(start_);
  }

 private:
  long long start_ = 0;
};

}  // namespace TestSupport
