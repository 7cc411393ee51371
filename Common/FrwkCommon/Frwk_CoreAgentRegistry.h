// The settings that the product's programs on a client machine share.
#pragma once

#include <windows.h>

#include <string>

#include <boost/noncopyable.hpp>

#include "Common/OrCommon/OrComn_Registry.h"

namespace Frwk::Storage {

// An entry of "HKEY_LOCAL_MACHINE\Software\OrvaneLabs\CoreAgent\", with one subkey for each product, in the view of the
// system's own programs. Another program creates the entries; this one only reads and writes values of existing
// entries.
class CoreAgentRegistry : private boost::noncopyable {
 public:
  // `number` is part of the contract of the common library. Nothing here depends on it.
  explicit CoreAgentRegistry(DWORD number) noexcept;
  virtual ~CoreAgentRegistry();

  DWORD Number() const noexcept { return number_; }

  // Open the entry of `product`. False if it cannot be opened, for instance because it does not exist.
  bool OpenForReading(const std::wstring& product);
  bool OpenForWriting(const std::wstring& product);
  void Close();

  // The number stored under `name`; `fallback` if there is none, or if the value has another type.
  DWORD ReadNumber(const std::wstring& name, DWORD fallback) const;

  // Stores `value` under `name`. False if the entry is not open for writing or the write fails.
  bool StoreNumber(const std::wstring& name, DWORD value);

 private:
  DWORD number_;
  OrCommon::Storage::View view_;
  OrCommon::Storage::Key key_;
};

}  // namespace Frwk::Storage
