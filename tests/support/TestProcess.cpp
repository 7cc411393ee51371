#include "tests/support/TestProcess.h"

#include <tlhelp32.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

#include "tests/support/TextLines.h"

namespace TestSupport {
namespace {

HANDLE Start(const std::wstring& program, const std::wstring& commandLine, const std::wstring& folder, HANDLE* thread) {
  std::wstring writable = commandLine;
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started = {};
  if (!::CreateProcessW(program.c_str(), writable.data(), nullptr, nullptr, FALSE,
                        thread != nullptr ? CREATE_SUSPENDED : 0, nullptr, folder.empty() ? nullptr : folder.c_str(),
                        &startup, &started)) {
    return nullptr;
  }
  if (thread != nullptr) {
    *thread = started.hThread;
  } else {
    ::CloseHandle(started.hThread);
  }
  return started.hProcess;
}

std::vector<DWORD> ProcessIds(const std::wstring& name) {
  std::vector<DWORD> ids;
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL found = ::Process32FirstW(snapshot, &entry); found; found = ::Process32NextW(snapshot, &entry)) {
    if (::_wcsicmp(entry.szExeFile, name.c_str()) == 0 && entry.th32ProcessID != ::GetCurrentProcessId()) {
      ids.push_back(entry.th32ProcessID);
    }
  }
  ::CloseHandle(snapshot);
  return ids;
}

}  // namespace

TestProcess::TestProcess(const std::wstring& program, const std::vector<std::wstring>& arguments,
                         const std::wstring& folder, Begin begin)
    : startedAt_(::GetTickCount()) {
  HANDLE* const thread = begin == Begin::kWhenResumed ? &thread_ : nullptr;
  const std::wstring commandLine = CommandLine(program, arguments);
  process_ = Start(program, commandLine, folder, thread);
  DWORD error = ::GetLastError();
  if (process_ == nullptr && error == ERROR_INTERNAL_ERROR) {
    // Wine sometimes fails like this, for any program. The test must report it, but not as a fault of the program.
    std::fprintf(stderr, "Wine could not start a program (error 1359); trying once more\n");
    process_ = Start(program, commandLine, folder, thread);
    error = ::GetLastError();
  }
  if (process_ == nullptr) {
    throw std::runtime_error("cannot start " + ToUtf8(commandLine) + ": error " + std::to_string(error));
  }
  if (thread != nullptr) {
    family_ = ::CreateJobObjectW(nullptr, nullptr);
    if (family_ == nullptr || !::AssignProcessToJobObject(family_, process_)) {
      throw std::runtime_error("cannot put " + ToUtf8(commandLine) + " into a job");
    }
  }
}

TestProcess::TestProcess(TestProcess&& other) noexcept
    : process_(std::exchange(other.process_, nullptr)),
      thread_(std::exchange(other.thread_, nullptr)),
      family_(std::exchange(other.family_, nullptr)),
      startedAt_(other.startedAt_) {}

TestProcess::~TestProcess() {
  if (process_ != nullptr) {
    Finish(0);
    ::CloseHandle(process_);
  }
  for (const HANDLE handle : {thread_, family_}) {
    if (handle != nullptr) {
      ::CloseHandle(handle);
    }
  }
}

void TestProcess::Resume() {
  ::ResumeThread(thread_);
}

void TestProcess::EndFamily() {
  ::TerminateJobObject(family_, kEndedByTest);
  ::WaitForSingleObject(process_, 5000);
}

bool TestProcess::IsRunning() const {
  return ::WaitForSingleObject(process_, 0) == WAIT_TIMEOUT;
}

ProcessOutcome TestProcess::Finish(DWORD limit) {
  ProcessOutcome outcome;
  if (::WaitForSingleObject(process_, limit) != WAIT_OBJECT_0) {
    outcome.timedOut = true;
    ::TerminateProcess(process_, kEndedByTest);
    ::WaitForSingleObject(process_, 5000);
  }
  outcome.milliseconds = ::GetTickCount() - startedAt_;
  ::GetExitCodeProcess(process_, &outcome.exitCode);
  return outcome;
}

std::wstring CommandLine(const std::wstring& program, const std::vector<std::wstring>& arguments) {
  std::wstring line = L"\"" + program + L"\"";
  for (const std::wstring& argument : arguments) {
    line += L" \"";
    std::size_t backslashes = 0;
    for (const wchar_t character : argument) {
      if (character == L'"') {
        line.append(backslashes + 1, L'\\');  // backslashes before a quote are doubled, and the quote needs one more
      }
      backslashes = character == L'\\' ? backslashes + 1 : 0;
      line += character;
    }
    line.append(backslashes, L'\\');
    line += L'"';
  }
  return line;
}

unsigned CountProcesses(const std::wstring& name) {
  return static_cast<unsigned>(ProcessIds(name).size());
}

void EndProcesses(const std::wstring& name) {
  for (const DWORD id : ProcessIds(name)) {
    if (const HANDLE process = ::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id)) {
      ::TerminateProcess(process, kEndedByTest);
      ::WaitForSingleObject(process, 5000);
      ::CloseHandle(process);
    }
  }
}

}  // namespace TestSupport
