// The paths of the programs of this build.
#pragma once

#include <string>

namespace TestSupport {

// The build folder, derived from the running test program (<build>\tests\<program>.exe), no trailing backslash.
std::wstring BuildFolder();

// A file or folder of <build>\tests\fixtures: FixturePath(L"Sleeper.exe"), FixturePath(L"source").
std::wstring FixturePath(const std::wstring& name);

// The program under test: of the folder VELA_TEST_PRODUCT, if that is set, or else of this build.
std::wstring ProductPath();

// The reader of its log.
std::wstring ReaderPath();

}  // namespace TestSupport
