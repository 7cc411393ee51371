// A separate registry key for one test.
#pragma once

#include <windows.h>

#include <string>
#include <utility>

#include "tests/support/TestRegistry.h"

namespace TestSupport {

// Exists and is empty at first. At the end it is removed with everything below it.
class ScratchKey {
 public:
  ScratchKey(HKEY root, std::wstring path, REGSAM view) : place_{root, std::move(path), view} {
    Delete();
    MakeKey(place_);
  }
  ScratchKey(const ScratchKey&) = delete;
  ScratchKey& operator=(const ScratchKey&) = delete;
  ~ScratchKey() { Delete(); }

  // `below`: a subkey (created if missing), or empty for the key itself. `name`: empty for the default value.
  void Set(const std::wstring& below, const NamedValue& value) const { MakeKey(Place(below), {value}); }
  void SetData(const std::wstring& below, const std::wstring& name, DWORD type, const void* data, DWORD size) const {
    MakeKey(Place(below));
    SetRawValue(Place(below), name, type, data, size);
  }
  void MakeSubkey(const std::wstring& below) const { MakeKey(Place(below)); }

  // Removes the key earlier.
  void Delete() const { RemoveKey(place_); }

 private:
  KeyPlace Place(const std::wstring& below) const {
    return {place_.hive, below.empty() ? place_.path : place_.path + L"\\" + below, place_.view};
  }

  KeyPlace place_;
};

}  // namespace TestSupport
