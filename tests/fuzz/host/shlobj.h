// The folders of HostWindows.h.
#pragma once

inline constexpr int CSIDL_COMMON_APPDATA = 0x23;
inline constexpr int CSIDL_WINDOWS = 0x24;
