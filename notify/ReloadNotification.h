// "-r", and the second half of "-p": telling the running plug-ins to load the scanning engine and pattern anew.
#pragma once

namespace VELAUtility {

// Signals the event of each kind of mail client that runs. False where an event could not be opened or made (logged);
// true also where no client runs. An event that no plug-in holds yet goes with this call, and such a signal reaches
// nobody.
bool NotifyReloadVELAEngine();

}  // namespace VELAUtility
