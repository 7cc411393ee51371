#include "tests/support/TestPaths.h"

#include <windows.h>

namespace TestSupport {

std::wstring BuildFolder() {
  wchar_t path[1024] = {};
  ::GetModuleFileNameW(nullptr, path, 1024);
  std::wstring folder = path;
  folder.resize(folder.rfind(L'\\'));  // <build>\tests
  folder.resize(folder.rfind(L'\\'));
  return folder;
}

std::wstring FixturePath(const std::wstring& name) {
  return BuildFolder() + L"\\tests\\fixtures\\" + name;
}

std::wstring ProductPath() {
  wchar_t folder[1024] = {};
  ::GetEnvironmentVariableW(L"VELA_TEST_PRODUCT", folder, 1024);
  return (folder[0] != L'\0' ? folder : BuildFolder()) + L"\\VELAutil.exe";
}

std::wstring ReaderPath() {
  return BuildFolder() + L"\\VELAlog.exe";
}

}  // namespace TestSupport
