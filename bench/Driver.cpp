// Starts programs one after the other and measures them, inside Wine, so that no time includes the start of Wine. Each
// line of standard input is an order; its answer is one line:
//
//   <milliseconds to wait>|<full path of the program>|<command line>
//   <exit code or "late" or "refused"> <microseconds> <process id>
//
// A program that takes too long is ended ("late"). One that cannot be started is "refused", with the error in place of
// the time. Programs get NUL for input and output.
#include <windows.h>

#include <cstdio>
#include <iostream>
#include <string>

namespace {

struct Order {
  DWORD limit = 0;  // milliseconds
  std::wstring program;
  std::wstring commandLine;
};

std::wstring Widen(const std::string& text) {
  if (text.empty()) {
    return {};
  }
  const int length = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), length);
  return wide;
}

bool Parse(const std::string& line, Order& order) {
  const std::size_t first = line.find('|');
  const std::size_t second = first == std::string::npos ? first : line.find('|', first + 1);
  if (second == std::string::npos) {
    return false;
  }
  order.limit = static_cast<DWORD>(std::stoul(line.substr(0, first)));
  order.program = Widen(line.substr(first + 1, second - first - 1));
  order.commandLine = Widen(line.substr(second + 1));
  return true;
}

long long Microseconds(LARGE_INTEGER from, LARGE_INTEGER to) {
  LARGE_INTEGER frequency = {};
  ::QueryPerformanceFrequency(&frequency);
  return (to.QuadPart - from.QuadPart) * 1000000 / frequency.QuadPart;
}

void Run(Order order, HANDLE nul) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = nul;
  startup.hStdOutput = nul;
  startup.hStdError = nul;
  PROCESS_INFORMATION child = {};
  LARGE_INTEGER started = {};
  LARGE_INTEGER ended = {};
  ::QueryPerformanceCounter(&started);
  if (!::CreateProcessW(order.program.c_str(), order.commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, L"C:\\",
                        &startup, &child)) {
    std::printf("refused %lu 0\n", ::GetLastError());
    return;
  }
  const DWORD waited = ::WaitForSingleObject(child.hProcess, order.limit);
  ::QueryPerformanceCounter(&ended);
  if (waited != WAIT_OBJECT_0) {
    ::TerminateProcess(child.hProcess, 1);
    ::WaitForSingleObject(child.hProcess, 5000);
    std::printf("late %lld %lu\n", Microseconds(started, ended), child.dwProcessId);
  } else {
    DWORD exitCode = 0;
    ::GetExitCodeProcess(child.hProcess, &exitCode);
    std::printf("%lu %lld %lu\n", exitCode, Microseconds(started, ended), child.dwProcessId);
  }
  ::CloseHandle(child.hThread);
  ::CloseHandle(child.hProcess);
}

}  // namespace

int wmain();  // no header of the toolchain declares it

int wmain() {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  const HANDLE nul = ::CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   &inheritable, OPEN_EXISTING, 0, nullptr);
  if (nul == INVALID_HANDLE_VALUE) {
    return 1;
  }
  // Its own thread comes first, so that a reader of the server's trace can leave it out.
  std::printf("driver %04lx\n", ::GetCurrentThreadId());
  std::fflush(stdout);
  for (std::string line; std::getline(std::cin, line);) {
    Order order;
    if (!Parse(line, order)) {
      return 2;
    }
    Run(order, nul);
    std::fflush(stdout);
  }
  return 0;
}
