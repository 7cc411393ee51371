// Logs of a few lines: good runs of each command, and changes to them.
#pragma once

#include <string>
#include <string_view>

#include "logreader/Catalogue.h"
#include "tests/support/TextLines.h"

namespace SmallLogs {

using TestSupport::Lines;

inline constexpr char kSource[] = "C:\\Setup";
inline constexpr char kRoot[] = "C:\\Bastion";

// The entries of a good run, with their levels. A banner ends in "\n".
Lines GoodRun(LogReader::Command command);
inline constexpr LogReader::Command kCommands[] = {LogReader::Command::kInstall,  LogReader::Command::kEnable,
                                                   LogReader::Command::kDisable,  LogReader::Command::kStatus,
                                                   LogReader::Command::kUpgrade,  LogReader::Command::kReload,
                                                   LogReader::Command::kUninstall};

// The bytes that the program writes for these entries: a line break before each.
std::string LogOf(const Lines& entries);

// The entries with a change at the first one that contains `part`. Throws std::runtime_error if there is none.
Lines Without(Lines entries, std::string_view part);
Lines Behind(Lines entries, std::string_view part, const Lines& added);
Lines Instead(Lines entries, std::string_view part, const Lines& added);
// Up to this entry.
Lines UpTo(Lines entries, std::string_view part);
Lines Joined(Lines entries, const Lines& more);

}  // namespace SmallLogs
