// The run log on disk.
#pragma once

#include <string>
#include <vector>

namespace TestSupport {

// "<Windows folder>\Temp\QRTX_Debug\vela.log"
std::wstring LogFilePath();

// Bytes in the file; 0 if it does not exist.
long long LogFileSize();

// Everything in the file from byte `start` on, line by line. The line break that begins the first entry is not counted
// as a line: it ends the text before it. A banner is followed by an empty line, which is kept. Throws
// std::runtime_error if a line does not end in CR LF.
std::vector<std::string> LogLinesFrom(long long start);

// The folder where a test program saves what would be lost with it: run_in_prefix.sh collects it.
inline constexpr wchar_t kKeptMessages[] = L"C:\\VelaTestMessages";

// Saves the entries of the log, for a test that is about to remove it. What another program wrote before the first
// entry is skipped.
void KeepLog();

}  // namespace TestSupport
