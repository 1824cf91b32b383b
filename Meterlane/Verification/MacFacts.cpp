#include "Meterlane/Verification/MacFacts.h"

#include <memory>

namespace gaugely {

void readBundleFacts(const BundleInformation& bundle, const std::string& homeFolder,
                     SystemFacts& facts) {
    facts.gaugelyVersion = bundle.shortVersion();
    facts.gaugelyBuild = bundle.buildVersion();
    facts.bundleIdentifier = bundle.bundleIdentifier().value_or("");
    facts.bundlePath = bundle.bundlePath();
    if (!homeFolder.empty() && facts.bundlePath.starts_with(homeFolder + "/")) {
        facts.bundlePath = "~" + facts.bundlePath.substr(homeFolder.size());
    }
}

void readPermissionStates(PermissionPorts ports, std::function<void(PermissionStates)> done) {
    auto states = std::make_shared<PermissionStates>();
    states->accessibility = ports.accessibility.isProcessTrusted(false);
    states->inputMonitoring = ports.input.preflightListenEventAccess();
    states->loginItem = ports.loginItems.status();
    MainQueue& queue = ports.mainQueue;
    // The centre may answer on any thread.
    ports.notifications.getNotificationSettings(
        [&queue, states, done = std::move(done)](NotificationAuthorizationStatus status) mutable {
            queue.post([states, status, done = std::move(done)] {
                states->notifications = status;
                done(*states);
            });
        });
}

std::vector<PermissionLine> permissionLines(const PermissionStates& states,
                                            const std::string& bundlePath) {
    const std::string app = bundlePath.empty() ? "Gaugely" : "Gaugely (" + bundlePath + ")";
    std::vector<PermissionLine> lines;
    lines.push_back(
        {"Accessibility", states.accessibility ? "granted" : "not granted",
         states.accessibility
             ? ""
             : "System Settings › Privacy & Security › Accessibility: switch on " + app +
                   ". A build signed ad hoc needs this again after every rebuild; run the "
                   "verification again with `scripts/mac-verify --no-build` so the same copy "
                   "is used."});
    lines.push_back(
        {"Input Monitoring (preflight)", states.inputMonitoring ? "granted" : "not granted",
         states.inputMonitoring
             ? ""
             : "System Settings › Privacy & Security › Input Monitoring: switch on " + app +
                   ". Without it Gaugely cannot see your typing, so automatic refreshes are put "
                   "off (manual ones still run)."});
    std::string notificationRemedy;
    switch (states.notifications) {
        case NotificationAuthorizationStatus::notDetermined:
            notificationRemedy =
                "Gaugely has not asked yet: switching on an alert in its Settings asks.";
            break;
        case NotificationAuthorizationStatus::denied:
            notificationRemedy =
                "System Settings › Notifications › Gaugely: allow notifications, or low-usage "
                "and reset alerts are never shown.";
            break;
        case NotificationAuthorizationStatus::unknown:
            notificationRemedy = "macOS gave a status this version of Gaugely does not know.";
            break;
        case NotificationAuthorizationStatus::authorized:
        case NotificationAuthorizationStatus::provisional:
        case NotificationAuthorizationStatus::ephemeral:
            break;
    }
    lines.push_back(
        {"Notifications", std::string(rawValue(states.notifications)), notificationRemedy});
    std::string loginRemedy;
    switch (states.loginItem) {
        case LoginItemService::Status::notRegistered:
            loginRemedy = "Launch at Login is off; switch it on in Gaugely's Settings if wanted.";
            break;
        case LoginItemService::Status::requiresApproval:
            loginRemedy = "System Settings › General › Login Items: allow Gaugely.";
            break;
        case LoginItemService::Status::notFound:
            loginRemedy =
                "macOS does not find the login item: run Gaugely from /Applications and switch "
                "Launch at Login on again.";
            break;
        case LoginItemService::Status::unknown:
            loginRemedy = "macOS gave a status this version of Gaugely does not know.";
            break;
        case LoginItemService::Status::enabled:
            break;
    }
    lines.push_back({"Login item", std::string(rawValue(states.loginItem)), loginRemedy});
    return lines;
}

std::vector<std::string> systemFactLines(const SystemFacts& facts) {
    std::vector<std::string> lines;
    lines.push_back("macOS: " + facts.macOSVersion +
                    (facts.macOSBuild.empty() ? "" : " (" + facts.macOSBuild + ")"));
    lines.push_back("Architecture: " + facts.architecture +
                    (facts.translated ? " (Gaugely runs translated by Rosetta)" : ""));
    std::string codex = "not found on this Mac";
    if (facts.codexVersion) {
        codex = *facts.codexVersion + (facts.codexBuild ? " (" + *facts.codexBuild + ")" : "");
        codex += facts.codexRunning ? ", running" : ", not running";
    }
    lines.push_back("Codex: " + codex);
    lines.push_back("Gaugely: " + facts.gaugelyVersion + " (" + facts.gaugelyBuild + "), " +
                    facts.bundleIdentifier);
    lines.push_back("Sparkle: " + facts.sparkleVersion.value_or("not linked in this build"));
    return lines;
}

}  // namespace gaugely
