// Windows functions that the redirections themselves need, as they were before anything was redirected.
#pragma once

#include <windows.h>

namespace TestSupport {

struct SystemCalls {
  decltype(&::VirtualProtect) virtualProtect;
  decltype(&::LoadLibraryA) loadLibraryA;
  decltype(&::GetProcAddress) getProcAddress;
  decltype(&::SetLastError) setLastError;

  static const SystemCalls& Get();
};

}  // namespace TestSupport
