// The paths of the fault world, and which of them the product may change.
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

// The product may change these and everything below: the destination, and the data of all users.
const std::vector<std::wstring>& ProductTrees();

// True for a path in these trees or in the folder of the run log, and for the files of Outlook that the product
// deletes. `path`: a full path.
bool LiesInProductTrees(std::wstring_view path);

}  // namespace Faults
