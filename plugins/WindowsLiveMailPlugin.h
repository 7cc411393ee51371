// The plug-in of Windows Live Mail, which Nektra's programming library loads.
#pragma once

#include <windows.h>

#include <string>

namespace VELAUtility {

// Registers the modules in `clientFolder`, then adds the product's plug-in to Nektra's list. False if a module could
// not be registered (the entry is then not written) or the entry could not be written. `enable` is not used: the
// plug-in loads whenever it is listed.
bool RegisterWLMPlugin(const std::wstring& clientFolder, bool enable);
// All four modules are tried; false if any could not be (un)registered.
bool RegisterWLMailApiModules(const std::wstring& clientFolder);
bool UnregisterWLMailApiModules(const std::wstring& clientFolder);

// Deletes the entry from the list, unregisters the modules unless Windows Live Mail runs, and deletes the monitor's
// start-up value. False if a module's unregistration could not be started.
bool UnregisterWLMPlugin(const std::wstring& clientFolder);

// How a key is opened for a change.
enum class KeyMode : int {
  kCreate = 1,  // created if it is missing
  kOpen = 2,    // must exist
};

// Writes the text `data` as value `name` of `key` below `hive`, in the system's own view. True, and `error` 0, if it
// was written. Otherwise false and the Windows error code, or STG_E_UNKNOWN if the failure was not in the registry.
bool SetNektraPluginValue(HKEY hive, const std::wstring& key, const std::wstring& name, const std::wstring& data,
                          KeyMode mode, DWORD& error);

// Deletes value `name` of `key` below `hive`, in the system's own view. False on any failure.
bool DeleteNektraPluginValue(HKEY hive, const std::wstring& key, const std::wstring& name, KeyMode mode);

}  // namespace VELAUtility
