// An installation source with one distinct file in every folder.
#pragma once

#include "tests/support/Clients.h"
#include "tests/support/TextLines.h"
#include "tests/support/ScratchFolder.h"

namespace TestSupport {

inline void MakeInstallationSource(const ScratchFolder& folder) {
  int second = 0;
  const auto make = [&](const std::wstring& file, const std::string& content) {
    folder.MakeFile(L"src\\" + file, content, ++second);
  };
  make(L"Resource\\x86\\text.dll", "resource x86");
  make(L"Resource\\x64\\text.dll", "resource x64");
  make(L"Common\\win32\\engine.dll", "engine 32");
  make(L"Common\\win64\\engine.dll", "engine 64");
  make(L"rule\\spam.ptn", "rules");
  for (const Client& client : Clients()) {
    const std::wstring name = client.shortName;
    make(L"Resource\\common\\" + client.IniName(), "ini " + ToUtf8(name));
    make(name + L"\\own.dll", "own " + ToUtf8(name));
    if (client.has64BitFiles) {
      make(name + L"64\\own.dll", "own " + ToUtf8(name) + "64");
    }
  }
}

}  // namespace TestSupport
