// Filling the product's folders from the installation source.
//
// A step creates its folder and copies its trees over existing files: unchanged files are skipped, files in use are
// replaced at the next restart. It always returns 1 and logs failures. `sourceFolder` is the installation source,
// `baseFolder` the product's base folder, `is64Bit` chooses the 64-bit files.
#pragma once

#include <string>

#include "settings/MailClients.h"

namespace VELAUtility {

int PreInstallVELA_MUI(const std::wstring& sourceFolder, const std::wstring& baseFolder, bool is64Bit);  // resources
int PreInstallVELA_OL(const std::wstring& sourceFolder, const std::wstring& baseFolder);
int PreInstallVELA_OE(const std::wstring& sourceFolder, const std::wstring& baseFolder, bool is64Bit);
int PreInstallVELA_WLM(const std::wstring& sourceFolder, const std::wstring& baseFolder);

// The step of this client.
int StageClient(MailClient client, const std::wstring& sourceFolder, const std::wstring& baseFolder, bool is64Bit);

enum class StepResults { kNotLogged, kLogged };

// All steps: the resources, then each client that the running system has. Determines the processor itself.
void StageAll(const std::wstring& sourceFolder, const std::wstring& baseFolder, StepResults results);

}  // namespace VELAUtility
