#include "tests/unit/OrCommon/Probe.h"

#include <sstream>
#include <stdexcept>

namespace OrCommonTests {
namespace {

constexpr DWORD kLimitMilliseconds = 30000;

std::wstring CommandLine(const std::wstring& program, const std::wstring& arguments) {
  return L'"' + program + L"\" " + arguments;
}

PROCESS_INFORMATION Start(const std::wstring& program, const std::wstring& arguments, const wchar_t* folder,
                          HANDLE output) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  if (output != nullptr) {
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = output;
  }
  PROCESS_INFORMATION process = {};
  std::wstring commandLine = CommandLine(program, arguments);
  if (!::CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, output != nullptr ? TRUE : FALSE, 0,
                        nullptr, folder, &startup, &process)) {
    throw std::runtime_error("the probe cannot be started, error " + std::to_string(::GetLastError()));
  }
  ::CloseHandle(process.hThread);
  return process;
}

// The standard output of a probe: a file without a name that stays.
OrCommon::FileHandle OutputFile() {
  wchar_t folder[MAX_PATH] = {};
  wchar_t path[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, folder);
  ::GetTempFileNameW(folder, L"prb", 0, path);
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  OrCommon::FileHandle file(::CreateFileW(path, GENERIC_READ | GENERIC_WRITE | DELETE,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inheritable,
                                          CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  if (!file) {
    throw std::runtime_error("no file for the output of the probe");
  }
  return file;
}

std::map<std::string, std::string> Parse(HANDLE output) {
  ::SetFilePointer(output, 0, nullptr, FILE_BEGIN);
  std::string text(1 << 16, '\0');
  DWORD size = 0;
  ::ReadFile(output, text.data(), static_cast<DWORD>(text.size()), &size, nullptr);
  text.resize(size);

  std::map<std::string, std::string> answers;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    const std::size_t colon = line.find(": ");
    if (colon != std::string::npos) {
      answers[line.substr(0, colon)] = line.substr(colon + 2);
    }
  }
  return answers;
}

}  // namespace

std::wstring ProbeFile() {
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::wstring program = path;
  return program.substr(0, program.rfind(L'\\') + 1) + L"unit.OrCommon.probe.exe";
}

ProbeAnswers RunProbe(const std::wstring& arguments, const std::wstring& program, const std::wstring& folder) {
  const OrCommon::FileHandle output = OutputFile();
  const OrCommon::KernelHandle process(
      Start(program, arguments, folder.empty() ? nullptr : folder.c_str(), output.Get()).hProcess);
  if (::WaitForSingleObject(process.Get(), kLimitMilliseconds) != WAIT_OBJECT_0) {
    ::TerminateProcess(process.Get(), 1);
    throw std::runtime_error("the probe does not end");
  }
  ProbeAnswers result;
  ::GetExitCodeProcess(process.Get(), &result.exitCode);
  result.answers = Parse(output.Get());
  return result;
}

SleepingProbe::SleepingProbe(const std::wstring& program) {
  const PROCESS_INFORMATION process = Start(program, L"sleep", nullptr, nullptr);
  process_.Reset(process.hProcess);
  id_ = process.dwProcessId;
}

SleepingProbe::~SleepingProbe() {
  ::TerminateProcess(process_.Get(), 0);
  ::WaitForSingleObject(process_.Get(), kLimitMilliseconds);
}

}  // namespace OrCommonTests
