// "-r", and the second half of "-p": signalling the running plug-ins to reload the scanning engine and pattern.
#pragma once

namespace VELAUtility {

// Signals the event of each kind of mail client that runs. False if an event could not be opened or created (logged);
// true even if no client runs. An event that no plug-in has open disappears after this call, and its signal has no
// effect.
bool NotifyReloadVELAEngine();

}  // namespace VELAUtility
