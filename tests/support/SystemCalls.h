// Windows functions that the redirections need themselves, not redirected.
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
