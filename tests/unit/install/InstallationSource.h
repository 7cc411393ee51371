// An installation source with one telling file in every folder of it.
#pragma once

#include "tests/support/ScratchFolder.h"

namespace TestSupport {

inline void MakeInstallationSource(const ScratchFolder& folder, const std::wstring& name = L"src") {
  const std::wstring root = name + L"\\";
  folder.MakeFile(root + L"Resource\\x86\\text.dll", "resource x86", 1);
  folder.MakeFile(root + L"Resource\\x64\\text.dll", "resource x64", 2);
  folder.MakeFile(root + L"Resource\\common\\VELA_OL.ini", "ini OL", 3);
  folder.MakeFile(root + L"Resource\\common\\VELA_OE.ini", "ini OE", 4);
  folder.MakeFile(root + L"Resource\\common\\VELA_WLM.ini", "ini WLM", 5);
  folder.MakeFile(root + L"OL\\own.dll", "own OL", 6);
  folder.MakeFile(root + L"OE\\own.dll", "own OE", 7);
  folder.MakeFile(root + L"OE64\\own.dll", "own OE64", 8);
  folder.MakeFile(root + L"WLM\\own.dll", "own WLM", 9);
  folder.MakeFile(root + L"Common\\win32\\engine.dll", "engine 32", 10);
  folder.MakeFile(root + L"Common\\win64\\engine.dll", "engine 64", 11);
  folder.MakeFile(root + L"rule\\spam.ptn", "rules", 12);
}

}  // namespace TestSupport
