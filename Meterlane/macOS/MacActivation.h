#pragma once

namespace gaugely {

// Brings this app to the front before it shows a popover, a window or an alert: an agent app is
// never in front on its own, and would otherwise open them without keyboard focus. macOS 14 asks
// for it cooperatively (granted after the user's own click on the app's status item or at
// launch); macOS 13 activates at once. Main thread only.
void activateThisApplication();

}  // namespace gaugely
