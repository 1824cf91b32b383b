#pragma once

#include <optional>
#include <string>

#include "Meterlane/Platform/BundleInformation.h"
#include "Meterlane/Presentation/AppVersionInfo.h"
#include "Meterlane/Presentation/PrivacyPermissionsPresentation.h"

namespace gaugely {

// The application's identity as its bundle states it, read once at start-up.
struct AppMetadata {
    AppVersionInfo versionInfo;
    // Only the released identity wears the template gauge, so a development build beside it can
    // be told apart in the menu bar.
    bool isGaugelyProductionIdentity = false;
    AboutPresentation aboutPresentation;
    PrivacyPermissionsInformation privacyInformation;

    static AppMetadata read(const BundleInformation& bundle);
};

}  // namespace gaugely
