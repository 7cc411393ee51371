// Access control lists of files and folders, and the privileges that bypass them.
#include <windows.h>

#include <sddl.h>

#include <iterator>

#include "tests/facts/Asking.h"
#include "tests/facts/Facts.h"
#include "tests/support/TestFiles.h"

namespace Facts {
namespace {

using OrCommon::FileHandle;

constexpr wchar_t kOpenToAll[] = L"D:P(A;OICI;FA;;;WD)";
// Attributes and the list itself can be read, and the list can be changed. So the clean-up can restore access.
constexpr wchar_t kClosed[] = L"D:P(A;;0x1600A0;;;WD)";

// Enables a privilege during its lifetime.
class Privilege {
 public:
  explicit Privilege(const wchar_t* name) {
    TOKEN_PRIVILEGES wanted = {};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    DWORD size = sizeof before_;
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token_.Receive());
    ::LookupPrivilegeValueW(nullptr, name, &wanted.Privileges[0].Luid);
    ::AdjustTokenPrivileges(token_.Get(), FALSE, &wanted, sizeof before_, &before_, &size);
    error_ = ::GetLastError();  // set on success too, if some privileges are not held
  }
  Privilege(const Privilege&) = delete;
  Privilege& operator=(const Privilege&) = delete;
  ~Privilege() {
    const OrCommon::LastErrorKeeper keeper;
    ::AdjustTokenPrivileges(token_.Get(), FALSE, &before_, 0, nullptr, nullptr);
  }
  DWORD Error() const noexcept { return error_; }

 private:
  OrCommon::KernelHandle token_;
  TOKEN_PRIVILEGES before_ = {};
  DWORD error_ = ERROR_SUCCESS;
};

void SetAccess(const std::wstring& path, const std::wstring& text) {
  if (!::SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, Descriptor(text).Get())) {
    throw std::runtime_error("cannot set the access control list, " + Done(false));
  }
}

// The access control list of a file or folder. Throws if it cannot be read.
std::vector<BYTE> ReadList(const std::wstring& path) {
  DWORD size = 0;
  ::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  std::vector<BYTE> descriptor(size);
  if (!::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size, &size)) {
    throw std::runtime_error("cannot read the access control list, " + Done(false));
  }
  return descriptor;
}

struct Counts {
  int own = 0;
  int inherited = 0;
};

Counts CountEntries(const std::wstring& path) {
  std::vector<BYTE> descriptor = ReadList(path);
  ACL* list = nullptr;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  if (!::GetSecurityDescriptorDacl(descriptor.data(), &present, &list, &defaulted) || list == nullptr) {
    throw std::runtime_error("no access control list");
  }
  Counts counts;
  for (DWORD index = 0; index < list->AceCount; ++index) {
    void* entry = nullptr;
    ::GetAce(list, index, &entry);
    ++((static_cast<const ACE_HEADER*>(entry)->AceFlags & INHERITED_ACE) != 0 ? counts.inherited : counts.own);
  }
  return counts;
}

// "2 own, 1 inherited".
std::string Entries(const std::wstring& path) {
  const Counts counts = CountEntries(path);
  return std::to_string(counts.own) + " own, " + std::to_string(counts.inherited) + " inherited";
}

std::wstring MakeChild(const std::wstring& parent, const wchar_t* list) {
  std::wstring child = parent + L"\\child";
  const Descriptor descriptor(list);
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.Get(), FALSE};
  ::CreateDirectoryW(child.c_str(), &attributes);
  return child;
}

// A folder with one inheritable entry, and a folder created in it with a list of two.
std::wstring MakeBelow(const wchar_t* list) {
  const std::wstring parent = NewFolder();
  SetAccess(parent, kOpenToAll);
  return MakeChild(parent, list);
}

// Denies access to a file or folder during its lifetime. It keeps a handle open, because the path may stop working.
class Closed {
 public:
  explicit Closed(const std::wstring& path, const wchar_t* list = kClosed)
      : handle_(::CreateFileW(path.c_str(), READ_CONTROL | WRITE_DAC,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS, nullptr)) {
    if (!::SetKernelObjectSecurity(handle_.Get(), DACL_SECURITY_INFORMATION, Descriptor(list).Get())) {
      throw std::runtime_error("cannot deny access, " + Done(false));
    }
  }
  Closed(const Closed&) = delete;
  Closed& operator=(const Closed&) = delete;
  ~Closed() { ::SetKernelObjectSecurity(handle_.Get(), DACL_SECURITY_INFORMATION, Descriptor(kOpenToAll).Get()); }

 private:
  FileHandle handle_;
};

std::string ListClosedFolder() {
  const std::wstring folder = NewFolder();
  const Closed closed(folder);
  return List(folder);
}

// Denied itself, in a folder that does not allow the deletion of its entries either.
std::string DeleteClosedFile() {
  const std::wstring folder = NewFolder();
  const std::wstring file = folder + L"\\file";
  TestSupport::WriteTestFile(file, "contents");
  const Closed closedFile(file);
  const Closed closedFolder(folder);
  return Done(::DeleteFileW(file.c_str()));
}

std::string WriteAfterClosing() {
  const std::wstring file = NewFolder() + L"\\file";
  TestSupport::WriteTestFile(file, "contents");
  const auto open = [&] {
    return FileHandle(::CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
  };
  const FileHandle early = open();
  const Closed closed(file);
  DWORD written = 0;
  const std::string first = Done(::WriteFile(early.Get(), "x", 1, &written, nullptr));
  return "early: " + first + ", late: " + Got(open());
}

std::string GiveToAdministrators() {
  const std::wstring folder = NewFolder();
  return Done(::SetFileSecurityW(folder.c_str(), OWNER_SECURITY_INFORMATION, Descriptor(L"O:BA").Get()));
}

std::string EnableRestore() {
  return Code(Privilege(SE_RESTORE_NAME).Error());
}

constexpr Fact kFacts[] = {
    {"A new folder has the entries of the given access control list, and those that it inherits.",
     [] { return Entries(MakeBelow(L"D:(A;;FA;;;BA)(A;;FA;;;AU)")); }, "2 own, 1 inherited", "DACL for a New Object",
     "2 own, 0 inherited"},
    {"A new folder also inherits the entries that its parent folder has inherited.",
     [] {
       // Below a folder that inherits its list from the temporary folder: the number of entries there is unknown.
       const Counts counts = CountEntries(MakeChild(NewFolder(), L"D:(A;;FA;;;BA)(A;;FA;;;AU)"));
       return std::to_string(counts.own) + " own, " + (counts.inherited == 0 ? "none" : "others") + " inherited";
     },
     "2 own, others inherited", "DACL for a New Object", "2 own, none inherited"},
    {"A new folder with a protected access control list inherits no entries.",
     [] { return Entries(MakeBelow(L"D:P(A;;FA;;;BA)(A;;FA;;;AU)")); }, "2 own, 0 inherited", "DACL for a New Object"},
    {"After SetFileSecurityW with two entries, a folder has only these two.",
     [] {
       const std::wstring child = MakeBelow(L"D:(A;;FA;;;BA)(A;;FA;;;AU)");
       SetAccess(child, L"D:(A;;FA;;;WD)(A;;FA;;;BU)");
       return Entries(child);
     },
     "2 own, 0 inherited", "Automatic Propagation of Inheritable ACEs", "3 own, 0 inherited"},
    {"SetFileSecurityW on a folder changes nothing below the folder.",
     [] {
       const std::wstring child = MakeBelow(L"D:(A;;FA;;;BA)(A;;FA;;;AU)");
       const std::vector<BYTE> before = ReadList(child);
       SetAccess(child.substr(0, child.rfind(L'\\')), L"D:(A;OICI;FA;;;WD)(A;OICI;FA;;;BU)");
       return ReadList(child) == before ? "unchanged" : Entries(child);
     },
     "unchanged", "Automatic Propagation of Inheritable ACEs"},
    {"FindFirstFileW fails for a folder whose access control list does not allow listing.", ListClosedFolder, "error 5",
     "File Access Rights Constants"},
    {"DeleteFileW fails if the access control lists of the file and its folder do not allow it.", DeleteClosedFile,
     "error 5", "DeleteFileW function"},
    {"With the backup privilege, FindFirstFileW lists a folder whose access control list does not allow listing.",
     [] {
       const Privilege backup(SE_BACKUP_NAME);
       return ListClosedFolder();
     },
     "done", kReliedOn, "error 5", kElevation},
    {"With the backup privilege, GetFileAttributesW succeeds although no access control list allows it.",
     [] {
       // Neither the file nor its folder allows the reading of attributes.
       const Privilege backup(SE_BACKUP_NAME);
       const std::wstring folder = NewFolder();
       const std::wstring file = folder + L"\\file";
       TestSupport::WriteTestFile(file, "contents");
       constexpr wchar_t kListOnly[] = L"D:P(A;;0x160000;;;WD)";
       const Closed closedFile(file, kListOnly);
       const Closed closedFolder(folder, kListOnly);
       return Done(::GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES);
     },
     "done", kReliedOn, "error 5", kElevation},
    {"With the restore privilege, DeleteFileW deletes a file although no access control list allows it.",
     [] {
       const Privilege restore(SE_RESTORE_NAME);
       return DeleteClosedFile();
     },
     "done", kReliedOn, "error 5", kElevation},
    {"With the restore privilege, RemoveDirectoryW removes a folder although no access control list allows it.",
     [] {
       const Privilege restore(SE_RESTORE_NAME);
       const std::wstring folder = NewFolder();
       const std::wstring child = folder + L"\\child";
       ::CreateDirectoryW(child.c_str(), nullptr);
       const Closed closedChild(child);
       const Closed closedFolder(folder);
       return Done(::RemoveDirectoryW(child.c_str()));
     },
     "done", kReliedOn, "error 5", kElevation},
    {"After SetKernelObjectSecurity with a protected access control list, the folder's list is protected.",
     []() -> std::string {
       const std::wstring folder = NewFolder();
       const Closed closed(folder, L"D:P(A;;FA;;;WD)");
       std::vector<BYTE> descriptor = ReadList(folder);
       SECURITY_DESCRIPTOR_CONTROL control = 0;
       DWORD revision = 0;
       ::GetSecurityDescriptorControl(descriptor.data(), &control, &revision);
       return (control & SE_DACL_PROTECTED) != 0 ? "protected" : "not protected";
     },
     "protected", kReliedOn, "not protected"},
    {"An open handle keeps its access rights when the access control list of the file changes.", WriteAfterClosing,
     "early: done, late: error 5", "IRP_MJ_CREATE dispatch routine"},
    {"An administrator can make the group Administrators the owner of a folder without any privilege.",
     GiveToAdministrators, "done", "SID Attributes in an Access Token", kAsWindows, kElevation},
    {"An ordinary user cannot make the group Administrators the owner of a folder.", GiveToAdministrators, "error 1307",
     "SID Attributes in an Access Token", kNotAsked, kNoElevation},
    {"An administrator can enable the backup privilege.", [] { return Code(Privilege(SE_BACKUP_NAME).Error()); },
     "done", "Privilege Constants", kAsWindows, kElevation},
    {"An administrator can enable the restore privilege.", EnableRestore, "done", "Privilege Constants", kAsWindows,
     kElevation},
    {"AdjustTokenPrivileges sets ERROR_NOT_ALL_ASSIGNED if an ordinary user enables the restore privilege.",
     EnableRestore, "error 1300", "AdjustTokenPrivileges function", kNotAsked, kNoElevation},
};
static_assert(AreSound(kFacts));

}  // namespace

const Group kAccessFacts = {"Access control lists", kFacts, std::size(kFacts)};

}  // namespace Facts
