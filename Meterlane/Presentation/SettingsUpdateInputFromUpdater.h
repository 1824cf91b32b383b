#pragma once

#include "Meterlane/Presentation/SettingsViewModel.h"
#include "SharedUpdateSupport/UpdaterModel.h"

namespace gaugely {

// The update section's state as the updater model holds it: the offer is shown while the user
// has not dealt with it.
SettingsUpdateInput settingsUpdateInput(const UpdaterModel& updater);

}  // namespace gaugely
