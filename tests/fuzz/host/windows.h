// The part of Windows that the fuzzed sources use, for a build on this machine: types of the right widths, constants,
// and functions. HostWindows.cpp implements the functions on a machine that exists in memory only. wchar_t has two
// bytes here as well (-fshort-wchar).
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

static_assert(sizeof(wchar_t) == 2, "compile with -fshort-wchar");

#define WINAPI

using BOOL = int;
using BYTE = unsigned char;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using LSTATUS = LONG;
using HRESULT = LONG;
using REGSAM = DWORD;
using ACCESS_MASK = DWORD;
using HANDLE = void*;
using HLOCAL = void*;
using HWND = void*;
using PSID = void*;
using HKEY = struct HostKey*;
using HMODULE = struct HostModule*;
using FARPROC = std::intptr_t (*)();

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline constexpr int MAX_PATH = 260;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(std::intptr_t{-1});

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_INVALID_DATA = 13;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
inline constexpr DWORD ERROR_BAD_ARGUMENTS = 160;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;

// ---- processes and the system
inline constexpr WORD PROCESSOR_ARCHITECTURE_INTEL = 0;
inline constexpr WORD PROCESSOR_ARCHITECTURE_IA64 = 6;
inline constexpr WORD PROCESSOR_ARCHITECTURE_AMD64 = 9;
inline constexpr DWORD VER_PLATFORM_WIN32_WINDOWS = 1;
inline constexpr DWORD VER_PLATFORM_WIN32_NT = 2;
inline constexpr BYTE VER_NT_WORKSTATION = 1;
inline constexpr BYTE VER_NT_SERVER = 3;
inline constexpr UINT CP_ACP = 0;
inline constexpr DWORD SECURITY_IDENTIFICATION = 0x00010000;
inline constexpr DWORD SECURITY_SQOS_PRESENT = 0x00100000;

struct SYSTEM_INFO {
  WORD wProcessorArchitecture;
};
struct OSVERSIONINFOW {
  DWORD dwOSVersionInfoSize;
};
struct OSVERSIONINFOEXW {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  wchar_t szCSDVersion[128];
  WORD wServicePackMajor;
  WORD wServicePackMinor;
  WORD wSuiteMask;
  BYTE wProductType;
};

DWORD GetLastError();
void SetLastError(DWORD error);
BOOL CloseHandle(HANDLE handle);
BOOL FreeLibrary(HMODULE module);
void* FreeSid(PSID sid);
HLOCAL LocalFree(HLOCAL memory);
HMODULE GetModuleHandleW(const wchar_t* name);
HMODULE LoadLibraryW(const wchar_t* name);
FARPROC GetProcAddress(HMODULE module, const char* name);
int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* wide, int wideLength, char* narrow, int size,
                        const char* unmapped, BOOL* wasUnmapped);
BOOL IsDBCSLeadByte(BYTE byte);
BOOL GetVersionExW(OSVERSIONINFOW* version);

// ---- the C runtime of Windows
int _vsnwprintf(wchar_t* buffer, std::size_t count, const wchar_t* format, std::va_list arguments);

// ---- the registry
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002});
inline const HKEY HKEY_USERS = reinterpret_cast<HKEY>(std::uintptr_t{0x80000003});
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_QWORD = 11;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr REGSAM KEY_QUERY_VALUE = 1;
inline constexpr REGSAM KEY_SET_VALUE = 2;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 4;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 8;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;
inline constexpr REGSAM KEY_WOW64_32KEY = 0x200;
inline constexpr REGSAM KEY_WOW64_64KEY = 0x100;
inline constexpr DWORD DELETE = 0x10000;

LSTATUS RegOpenKeyW(HKEY parent, const wchar_t* path, HKEY* key);
LSTATUS RegOpenKeyExW(HKEY parent, const wchar_t* path, DWORD options, REGSAM rights, HKEY* key);
LSTATUS RegCreateKeyExW(HKEY parent, const wchar_t* path, DWORD reserved, wchar_t* className, DWORD options,
                        REGSAM rights, void* security, HKEY* key, DWORD* disposition);
LSTATUS RegCloseKey(HKEY key);
LSTATUS RegFlushKey(HKEY key);
LSTATUS RegQueryValueExW(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);
LSTATUS RegSetValueExW(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LSTATUS RegDeleteKeyW(HKEY key, const wchar_t* name);
LSTATUS RegDeleteValueW(HKEY key, const wchar_t* name);
LSTATUS RegEnumKeyW(HKEY key, DWORD index, wchar_t* name, DWORD capacity);
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, wchar_t* name, DWORD* length, DWORD* reserved, wchar_t* className,
                      DWORD* classLength, void* lastWritten);
LSTATUS RegEnumValueW(HKEY key, DWORD index, wchar_t* name, DWORD* length, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size);

// ---- files
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
inline constexpr DWORD MOVEFILE_DELAY_UNTIL_REBOOT = 4;

struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  wchar_t cFileName[MAX_PATH];
};

struct SECURITY_ATTRIBUTES;
DWORD GetFileAttributesW(const wchar_t* path);
BOOL SetFileAttributesW(const wchar_t* path, DWORD attributes);
BOOL CreateDirectoryW(const wchar_t* path, SECURITY_ATTRIBUTES* security);
BOOL DeleteFileW(const wchar_t* path);
BOOL RemoveDirectoryW(const wchar_t* path);
BOOL MoveFileExW(const wchar_t* from, const wchar_t* to, DWORD flags);
HANDLE FindFirstFileW(const wchar_t* pattern, WIN32_FIND_DATAW* entry);
BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* entry);
BOOL FindClose(HANDLE search);
DWORD GetFullPathNameW(const wchar_t* path, DWORD capacity, wchar_t* full, wchar_t** name);
UINT GetSystemDirectoryW(wchar_t* folder, UINT capacity);
UINT GetWindowsDirectoryW(wchar_t* folder, UINT capacity);

// ---- access control lists: declared for the header that names them; the fuzzed sources only pass them on
struct SID_IDENTIFIER_AUTHORITY {
  BYTE Value[6];
};
struct SID;
struct ACL {
  WORD size;
};
struct ACCESS_ALLOWED_ACE {
  DWORD header, mask, start;
};
struct SECURITY_DESCRIPTOR {
  ACL* list;
};
struct SECURITY_ATTRIBUTES {
  SECURITY_DESCRIPTOR* descriptor;
};
inline constexpr std::size_t SECURITY_MAX_SID_SIZE = 68;
inline constexpr DWORD ACL_REVISION = 2;
inline constexpr DWORD SECURITY_DESCRIPTOR_REVISION = 1;
BOOL InitializeSid(PSID sid, SID_IDENTIFIER_AUTHORITY* authority, BYTE count);
DWORD* GetSidSubAuthority(PSID sid, DWORD index);
DWORD GetLengthSid(PSID sid);
BOOL InitializeAcl(ACL* list, DWORD size, DWORD revision);
BOOL AddAccessAllowedAceEx(ACL* list, DWORD revision, DWORD flags, DWORD mask, PSID sid);
BOOL InitializeSecurityDescriptor(SECURITY_DESCRIPTOR* descriptor, DWORD revision);
BOOL SetSecurityDescriptorDacl(SECURITY_DESCRIPTOR* descriptor, BOOL present, ACL* list, BOOL defaulted);
