// What the program has to write to the run log, piece by piece; a scenario joins the pieces to the log of a whole run:
//
//   CHECK_LINES(outcome.log, Joined({InstallBegins(), FilesStaged(...), NoClientRuns(), ..., RunEnds(0)}));
#pragma once

#include <string>
#include <vector>

#include "tests/scenarios/StagedTrees.h"
#include "tests/support/World.h"

namespace Expected {

using TestSupport::Lines;
using TestSupport::World;

// Where the files of a run to World::kDestination go.
inline constexpr wchar_t kBase[] = L"C:\\VelaTest\\dest\\Orvane Labs\\";
// Where they go when the plug-ins could not handle the name of the destination.
inline constexpr wchar_t kCommonBase[] = L"C:\\ProgramData\\Orvane Labs\\";

Lines Joined(const std::vector<Lines>& pieces);
Lines Info(const std::string& message);
Lines Error(const std::string& message);
Lines Warning(const std::string& message);
Lines Event(const std::string& message);

// The command line and the banner. Arguments above U+00FF break the log and are not for here.
Lines RunBegins(const std::wstring& command, const std::wstring& source, const std::wstring& destination,
                const std::string& banner);
Lines InstallBegins(const std::wstring& source = World::kSource, const std::wstring& destination = World::kDestination);
Lines RunEnds(int result);

// Staging: the files of each tree copied, nothing in their way.
Lines TreeCopied(const Tree& tree);
Lines FileCopied(const std::wstring& from, const std::wstring& to);
Lines FilesStaged(OutlookExpress outlookExpress, const std::wstring& base = kBase,
                  const std::wstring& source = World::kSource);
// Staging to where no folder can be made: each step tries each of its copies all the same.
Lines StagingHasNoFolders(OutlookExpress outlookExpress, const std::wstring& base);
// Staging from where nothing is.
Lines StagingHasNoSource(OutlookExpress outlookExpress);

// The switch.
Lines NoClientRuns();
Lines AClientRuns();
Lines ProductKeyRefused(int error);  // as each of the settings operations tells it
Lines SwitchUnreadable(int error);

// Outlook as it is found before the registrations.
Lines OutlookMissing();
Lines OutlookFound(const std::string& release, const std::string& folder, int code);
Lines OutlookRefused(const std::string& release, const std::string& folder, int code, const std::string& name);
// Its stale extension file.
Lines NoExtensionFile();
Lines ExtensionFileDeleted(const std::string& release, const std::string& folder);

// The registrations, with regsvr32.exe started ten times. From the start with the number `failingFrom` on (counted from
// 1) it cannot be started, for `error`.
struct Regsvr32 {
  int failingFrom = 11;
  int error = 0;
};
Lines ModuleRegistered(const std::wstring& module);
Lines ModuleNotRegistered(const std::wstring& module);
Lines OutlookRegistered(const Lines& extensionFile, const std::wstring& base = kBase, Regsvr32 regsvr32 = {});
Lines OutlookExpressRegistered(const std::wstring& base = kBase, Regsvr32 regsvr32 = {});
Lines WindowsLiveMailRegistered(const std::wstring& base = kBase, Regsvr32 regsvr32 = {});
// All of them on a machine without Outlook and without running clients.
Lines ClientsRegistered(const std::wstring& base = kBase, Regsvr32 regsvr32 = {});

}  // namespace Expected
