#include "tests/faults/ProductTrees.h"

#include <cwchar>
#include <string>

namespace Faults {
namespace {

// Everything below these, and they themselves.
constexpr std::wstring_view kTrees[] = {
    L"C:\\VelaFaults\\dest",
    L"C:\\ProgramData\\Orvane Labs",
    L"C:\\windows\\Temp\\QRTX_Debug",
    // The Windows folder stands in where the data folder of all users cannot be had.
    L"C:\\windows\\Orvane Labs",
    // A level of the per-user tree that cannot be made sends the next ones below the root.
    L"C:\\ProgramData\\OL",
    L"C:\\ProgramData\\OE",
    L"C:\\ProgramData\\WLM",
    L"C:\\ProgramData\\Users",
    L"C:\\ProgramData\\log",
    L"C:\\ProgramData\\{0B3E2C77-1DE5-4A5E-9C35-000000000001}",
    L"C:\\windows\\OL",
    L"C:\\windows\\OE",
    L"C:\\windows\\WLM",
    L"C:\\windows\\Users",
    L"C:\\windows\\log",
    L"C:\\windows\\{0B3E2C77-1DE5-4A5E-9C35-000000000001}",
};

// Files of Outlook that the product deletes.
constexpr std::wstring_view kCacheFile = L"\\Microsoft\\Outlook\\Extend.dat";
constexpr std::wstring_view kFormsFile = L"C:\\VelaFaults\\Office14\\ADDINS\\Redemption.ECF";

bool StartsWith(std::wstring_view text, std::wstring_view start) {
  return text.size() >= start.size() && ::_wcsnicmp(text.data(), start.data(), start.size()) == 0;
}

bool EndsWith(std::wstring_view text, std::wstring_view end) {
  return text.size() >= end.size() && StartsWith(text.substr(text.size() - end.size()), end);
}

}  // namespace

bool LiesInProductTrees(std::wstring_view path) {
  for (const std::wstring_view tree : kTrees) {
    if (StartsWith(path, tree) && (path.size() == tree.size() || path[tree.size()] == L'\\')) {
      return true;
    }
  }
  return EndsWith(path, kCacheFile) || (StartsWith(path, kFormsFile) && path.size() == kFormsFile.size());
}

}  // namespace Faults
