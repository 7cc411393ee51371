// The run log as it lies on disk.
#pragma once

#include <string>
#include <vector>

namespace TestSupport {

// "<Windows folder>\Temp\QRTX_Debug\vela.log"
std::wstring LogFilePath();

// Bytes in the file; 0 where it does not exist.
long long LogFileSize();

// Everything in the file from byte `start` on, line by line. The line break that begins the first entry is no line of
// its own: what was there before it ends there. A banner is followed by an empty line, which is kept. Throws
// std::runtime_error where a line ends in anything but CR LF.
std::vector<std::string> LogLinesFrom(long long start);

}  // namespace TestSupport
