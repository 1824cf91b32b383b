#pragma once

#include "Meterlane/Presentation/LaunchAtLoginController.h"
#include "Meterlane/Presentation/SettingsViewModel.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

// The reader's settings and the launch-at-login state that the settings window draws; the
// notification recovery and the update section come from their own owners.
SettingsInput settingsInput(const UsageReader& reader, const LaunchAtLoginController& launchAtLogin,
                            bool showsNotificationRecovery, SettingsUpdateInput updates);

}  // namespace gaugely
