// Starts programs one after the other and measures them, inside Wine, so that no time includes the start of Wine. Each
// line of standard input is an order. Its answer is one line:
//
//   <full path of the program>|<command line>
//   <exit code or "refused"> <microseconds>
//
// A program that cannot be started is "refused", with the error code instead of the time. Programs get NUL as input and
// output. Everything is ASCII.
#include <windows.h>

#include <cstdio>
#include <iostream>
#include <string>

namespace {

long long Microseconds(LARGE_INTEGER from, LARGE_INTEGER to) {
  LARGE_INTEGER frequency = {};
  ::QueryPerformanceFrequency(&frequency);
  return (to.QuadPart - from.QuadPart) * 1000000 / frequency.QuadPart;
}

void Run(const std::string& program, char* commandLine, HANDLE nul) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = startup.hStdOutput = startup.hStdError = nul;
  PROCESS_INFORMATION child = {};
  LARGE_INTEGER started = {};
  LARGE_INTEGER ended = {};
  ::QueryPerformanceCounter(&started);
  if (!::CreateProcessA(program.c_str(), commandLine, nullptr, nullptr, TRUE, 0, nullptr, "C:\\", &startup, &child)) {
    std::printf("refused %lu\n", ::GetLastError());
    return;
  }
  ::WaitForSingleObject(child.hProcess, INFINITE);
  ::QueryPerformanceCounter(&ended);
  DWORD exitCode = 0;
  ::GetExitCodeProcess(child.hProcess, &exitCode);
  std::printf("%lu %lld\n", exitCode, Microseconds(started, ended));
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
  // This lets the reader of the server's trace exclude this thread.
  std::printf("driver %04lx\n", ::GetCurrentThreadId());
  std::fflush(stdout);
  std::string program;
  std::string commandLine;
  while (std::getline(std::cin, program, '|') && std::getline(std::cin, commandLine)) {
    Run(program, commandLine.data(), nul);
    std::fflush(stdout);
  }
  return 0;
}
