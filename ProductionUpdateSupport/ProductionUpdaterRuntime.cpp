#include "ProductionUpdateSupport/ProductionUpdaterRuntime.h"

#include <cstdio>
#include <cstdlib>

namespace gaugely {

namespace {

[[noreturn]] void stopForBuildFault(const std::string& what) {
    std::fprintf(stderr, "Gaugely cannot start its updater: %s\n", what.c_str());
    std::abort();
}

}  // namespace

ProductionUpdaterConfiguration::BundleKeys ProductionUpdaterRuntime::bundleKeys(
    const BundleInformation& bundle) {
    return {bundle.bundleIdentifier(),
            bundle.stringValue("SUFeedURL"),
            bundle.stringValue("SUPublicEDKey"),
            bundle.boolValue("SUEnableAutomaticChecks"),
            bundle.boolValue("SUAutomaticallyUpdate"),
            bundle.boolValue("SUVerifyUpdateBeforeExtraction"),
            bundle.boolValue("SUEnableSystemProfiling"),
            bundle.boolValue("SURequireSignedFeed")};
}

UpdaterConfiguration ProductionUpdaterRuntime::configuration(const BundleInformation& bundle,
                                                             std::string_view host) {
    using Production = ProductionUpdaterConfiguration;
    const bool valid = !Production::validate(bundleKeys(bundle), host);
    bool overridden = false;
    for (const std::string_view key : overrideKeys) {
        overridden = overridden || bundle.hasValue(key);
    }
    UpdaterConfiguration configuration;
    configuration.enabled = valid && !overridden;
    configuration.installationEnabled = true;
    configuration.bundleID = Production::bundleIdentifier;
    configuration.feedURL = Production::feedURL(host).value_or("");
    configuration.noticeKey = Production::noticeKey;
    configuration.receiptKey = Production::receiptKey;
    configuration.environmentLabel = Production::environmentLabel;
    configuration.releaseTimeZone = Production::releaseTimeZone;
    configuration.permitsItem = [host = std::string(host)](const UpdateCandidate& item) {
        return !productionItemRefusal(item, host);
    };
    return configuration;
}

ProductionUpdaterRuntime::ProductionUpdaterRuntime(UpdaterHost host)
    : host_(host.feedHost),
      validationError_(
          ProductionUpdaterConfiguration::validate(bundleKeys(host.bundle), host.feedHost)) {
    defaults_ = host.openDefaultsSuite ? host.openDefaultsSuite(defaultsSuiteName) : nullptr;
    if (!defaults_) {
        stopForBuildFault("the defaults suite " + std::string(defaultsSuiteName) +
                          " cannot be opened");
    }
    // Release dates are only ever shown by an updater that runs; the check loads the system's
    // zone data, which a status line that starts the app for a moment does not need.
    if (!validationError_ &&
        !host.timeFormatter.knowsTimeZone(ProductionUpdaterConfiguration::releaseTimeZone)) {
        stopForBuildFault("the time zone " +
                          std::string(ProductionUpdaterConfiguration::releaseTimeZone) +
                          " is unknown to this system");
    }
    model_ = std::make_unique<UpdaterModel>(
        UpdaterEnvironment{host.bundle, *defaults_, host.framework, host.mainQueue, host.clock,
                           host.workspace, host.timeFormatter},
        configuration(host.bundle, host_));
}

}  // namespace gaugely
