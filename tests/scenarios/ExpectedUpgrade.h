// What an upgrade and the notification of the plug-ins have to write to the run log.
#pragma once

#include <string>
#include <vector>

#include "tests/scenarios/ExpectedLog.h"

namespace Expected {

Lines UpgradeBegins(const std::wstring& source = World::kSource, const std::wstring& destination = World::kDestination);
Lines ReloadBegins();

// The steps, each with its result behind the files that it has copied or found unchanged.
Lines FilesUpgraded(OutlookExpress outlookExpress, const std::wstring& base = kBase,
                    const std::wstring& source = World::kSource);
// The result of one step: "MUI", "OL", "OE", "WLM".
Lines StepReturned(const std::string& step);

// The notification: the clients that run, "OL", "OE", "WLM", in this order; of those that cannot be notified, the
// error.
struct NotifiedClient {
  std::string client;
  int error = 0;
};
Lines Notified(const std::vector<NotifiedClient>& clients = {});

// Between an upgrade and its notification, and the end of both.
Lines UpgradeReturned();
Lines UpgradeEnds(int notified);

}  // namespace Expected
