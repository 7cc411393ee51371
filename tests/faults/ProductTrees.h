// The places of the fault world, and those among them that the product may change.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Faults {

inline constexpr wchar_t kWorldRoot[] = L"C:\\VelaFaults";
inline constexpr wchar_t kSourceFolder[] = L"C:\\VelaFaults\\source";
inline constexpr wchar_t kDestinationFolder[] = L"C:\\VelaFaults\\dest";
inline constexpr wchar_t kOfficeFolder[] = L"C:\\VelaFaults\\Office14";

inline constexpr wchar_t kIdentity[] = L"{0B3E2C77-1DE5-4A5E-9C35-000000000001}";

// What the product may change, with everything below: the destination, and the data of all users.
const std::vector<std::wstring>& ProductTrees();

// In these trees, in the folder of the run log, or one of the files of Outlook that the product deletes. `path`: a full
// one.
bool LiesInProductTrees(std::wstring_view path);

}  // namespace Faults
