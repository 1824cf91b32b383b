#pragma once

// Builds the production updater at start-up: reads the update keys from the bundle, checks that
// they describe exactly the production setup, opens the updater's own defaults suite and creates
// the updater model. A bundle that deviates in any respect gets a disabled updater, never a
// misconfigured one; that is no error to report. Main queue only.

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Meterlane/Platform/BundleInformation.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Platform/TimeFormatter.h"
#include "Meterlane/Platform/Workspace.h"
#include "ProductFacts.h"
#include "ProductionUpdateSupport/ProductionUpdaterConfiguration.h"
#include "SharedUpdateSupport/UpdateFramework.h"
#include "SharedUpdateSupport/UpdaterModel.h"

namespace gaugely {

// What the runtime needs from the host.
struct UpdaterHost {
    const BundleInformation& bundle;
    UpdateFramework& framework;
    MainQueue& mainQueue;
    Clock& clock;
    Workspace& workspace;
    const TimeFormatter& timeFormatter;
    // Opens the user-defaults suite of that name; none when it cannot be opened.
    std::function<std::unique_ptr<Preferences>(std::string_view suiteName)> openDefaultsSuite;
    std::string_view feedHost = product::feedHost;
};

class ProductionUpdaterRuntime {
  public:
    static constexpr std::string_view defaultsSuiteName = "com.vostrel.gaugely.updater";
    // Override hooks that only non-production builds may carry; any of them disables updates.
    static constexpr std::array<std::string_view, 3> overrideKeys{
        "SUDefaultsDomain", "GaugelyPresentedVersion", "GaugelyPresentedBuild"};

    // Stops the program when the suite cannot be opened or the release time zone is unknown:
    // both are faults of the build, not of the user's setup.
    explicit ProductionUpdaterRuntime(UpdaterHost host);

    // The update keys of a bundle, as validation reads them.
    [[nodiscard]] static ProductionUpdaterConfiguration::BundleKeys bundleKeys(
        const BundleInformation& bundle);
    // The production configuration for a bundle, enabled or not.
    [[nodiscard]] static UpdaterConfiguration configuration(const BundleInformation& bundle,
                                                            std::string_view host);

    UpdaterModel& model() { return *model_; }
    Preferences& defaults() { return *defaults_; }
    [[nodiscard]] std::optional<UpdaterValidationError> validationError() const {
        return validationError_;
    }
    // The production item rule for this build's feed host.
    [[nodiscard]] bool permitsItem(const UpdateCandidate& item) const {
        return !productionItemRefusal(item, host_);
    }

    // Installed at start-up between the reader and the updater.
    void installRefreshGateHooks(UpdateRefreshGateHooks hooks) {
        model_->setRefreshGateHooks(std::move(hooks));
    }

  private:
    std::string host_;
    std::optional<UpdaterValidationError> validationError_;
    std::unique_ptr<Preferences> defaults_;
    std::unique_ptr<UpdaterModel> model_;
};

}  // namespace gaugely
