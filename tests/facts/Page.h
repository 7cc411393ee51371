// docs/windows-facts.md, made from the table of facts and from what was recorded on a real Windows.
#pragma once

#include <string>

#include "tests/facts/Facts.h"

namespace Facts {

inline constexpr const Group* kGroups[] = {&kFileFacts,    &kLinkFacts,    &kAccessFacts, &kRegistryFacts,
                                           &kProcessFacts, &kSessionFacts, &kLibraryFacts};

// An answer as it stands in a record.
std::string RecordLine(const std::string& found, const Fact& fact);

// `records`: a folder of files that --record wrote. The result is an exit code.
int WritePage(const std::wstring& records, const std::wstring& page);
int CheckPage(const std::wstring& records, const std::wstring& page);

}  // namespace Facts
