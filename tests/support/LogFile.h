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

// Where a test program puts what would be lost with it: run_in_prefix.sh collects it.
inline constexpr wchar_t kKeptMessages[] = L"C:\\VelaTestMessages";

// Puts the entries of the log aside, for a test that is about to remove it. What another program wrote before the first
// one is left out.
void KeepLog();

}  // namespace TestSupport
