// The places of the fault world, and those among them that the product may change.
#pragma once

#include <string_view>

namespace Faults {

inline constexpr wchar_t kWorldRoot[] = L"C:\\VelaFaults";
inline constexpr wchar_t kSourceFolder[] = L"C:\\VelaFaults\\source";
inline constexpr wchar_t kDestinationFolder[] = L"C:\\VelaFaults\\dest";
inline constexpr wchar_t kOfficeFolder[] = L"C:\\VelaFaults\\Office14";

// `path`: a full one.
bool LiesInProductTrees(std::wstring_view path);

}  // namespace Faults
