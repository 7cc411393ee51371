// A folder that a test may put files into, gone after it.
#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace OrCommonTests {

class ScratchFolder {
 public:
  explicit ScratchFolder(const std::wstring& name) {
    wchar_t temp[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, temp);
    path_ = temp + name + L' ' + std::to_wstring(::GetCurrentProcessId());
    if (!::CreateDirectoryW(path_.c_str(), nullptr)) {
      throw std::runtime_error("no folder for the files of a test");
    }
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    // A process that has just ended may hold its file a moment longer.
    for (const std::wstring& file : files_) {
      for (int attempt = 0; attempt < 100 && !::DeleteFileW(file.c_str()); ++attempt) {
        ::Sleep(20);
      }
    }
    ::RemoveDirectoryW(path_.c_str());
  }

  const std::wstring& Path() const { return path_; }

  // Copies `file` here under `name`; its new path.
  std::wstring Copy(const std::wstring& file, const std::wstring& name) const {
    const std::wstring copy = path_ + L'\\' + name;
    if (!::CopyFileW(file.c_str(), copy.c_str(), TRUE)) {
      throw std::runtime_error("a file of a test cannot be copied");
    }
    files_.push_back(copy);
    return copy;
  }

 private:
  std::wstring path_;
  mutable std::vector<std::wstring> files_;
};

}  // namespace OrCommonTests
