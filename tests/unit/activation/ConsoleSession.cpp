#include "tests/unit/activation/ConsoleSession.h"

namespace TestSupport {

HANDLE ConsoleSession::GiveOut(HANDLE handle, const std::string& name) {
  if (handle != nullptr) {
    handles_[handle] = name;
  }
  return handle;
}

std::string ConsoleSession::NameOf(HANDLE handle) const {
  const auto found = handles_.find(handle);
  return found != handles_.end() ? found->second : std::string();
}

Lines ConsoleSession::NotGivenBack() const {
  Lines held;
  for (const auto& handle : handles_) {
    held.push_back(handle.second);
  }
  held.insert(held.end(), blocks_.size(), "environment block");
  for (const auto& [library, count] : libraries_) {
    if (count != 0 && library != nullptr && !StaysLoaded(library)) {
      held.push_back(std::to_string(count) + " times a library");
    }
  }
  if (profiles_ != 0) {
    held.push_back(std::to_string(profiles_) + " profiles");
  }
  return held;
}

bool ConsoleSession::ThreadActsAsUser() {
  HANDLE token = nullptr;
  if (!::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, &token)) {
    return false;
  }
  OriginalImport<decltype(&::CloseHandle)>("CloseHandle")(token);
  return true;
}

}  // namespace TestSupport
