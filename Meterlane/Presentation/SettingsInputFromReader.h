#pragma once

#include <string_view>

#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/Presentation/LaunchAtLoginController.h"
#include "Meterlane/Presentation/SettingsViewModel.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

// The reader's settings and the launch-at-login state that the settings window draws; the
// notification recovery and the update section come from their own owners. `homeFolder` turns
// the Codex folder back into the "~" form a user reads; `formatter` writes the logs' status time.
SettingsInput settingsInput(const UsageReader& reader, const LaunchAtLoginController& launchAtLogin,
                            bool showsNotificationRecovery, SettingsUpdateInput updates,
                            const TimeFormatter& formatter, std::string_view homeFolder);

}  // namespace gaugely
