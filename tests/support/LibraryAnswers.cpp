#include "tests/support/LibraryAnswers.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <stdexcept>

namespace TestSupport {

ProcAddressAnswer::ProcAddressAnswer(const char* function, FARPROC answer)
    : redirection_("GetProcAddress",
                   [this, name = std::string(function), answer](HMODULE module, LPCSTR wanted) -> FARPROC {
                     // Functions can also be requested by number, in place of the pointer to the name.
                     const bool byName = reinterpret_cast<ULONG_PTR>(wanted) > 0xFFFF;
                     if (!byName || name != wanted) {
                       return redirection_.Original<decltype(&::GetProcAddress)>()(module, wanted);
                     }
                     ++asked_;
                     if (answer == nullptr) {
                       ::SetLastError(ERROR_PROC_NOT_FOUND);
                     }
                     return answer;
                   }) {}

MissingLibrary::MissingLibrary(const wchar_t* library, DWORD error) : library_(library), error_(error) {
  if (IsImported("LoadLibraryW")) {
    plain_.emplace("LoadLibraryW", [this](LPCWSTR path) -> HMODULE {
      return Concerns(path) ? nullptr : plain_->Original<decltype(&::LoadLibraryW)>()(path);
    });
  }
  if (IsImported("LoadLibraryExW")) {
    extended_.emplace("LoadLibraryExW", [this](LPCWSTR path, HANDLE file, DWORD flags) -> HMODULE {
      return Concerns(path) ? nullptr : extended_->Original<decltype(&::LoadLibraryExW)>()(path, file, flags);
    });
  }
  if (!plain_ && !extended_) {
    throw std::logic_error("this program imports neither LoadLibraryW nor LoadLibraryExW");
  }
}

bool MissingLibrary::Concerns(const wchar_t* path) {
  const wchar_t* const backslash = std::wcsrchr(path, L'\\');
  if (::_wcsicmp(backslash != nullptr ? backslash + 1 : path, library_.c_str()) != 0) {
    return false;
  }
  ++asked_;
  ::SetLastError(error_);
  return true;
}

std::vector<std::wstring> LoadedNames::WithoutFolder() const {
  std::vector<std::wstring> plain;
  std::copy_if(names.begin(), names.end(), std::back_inserter(plain),
               [](const std::wstring& name) { return name.find(L'\\') == std::wstring::npos; });
  return plain;
}

}  // namespace TestSupport
