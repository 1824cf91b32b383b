#pragma once

// What a report and "Copy Diagnostics" say first: the Mac, Codex and Gaugely as they are, and
// the state of each permission Gaugely needs, with what to do when one is missing. The platform
// gathers the facts; the permission states are asked through the ports, so what they mean is
// decided (and tested) here.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "LowUsageNotificationSupport/Enumeration.h"
#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Platform/BundleInformation.h"
#include "Meterlane/Platform/Input.h"
#include "Meterlane/Platform/LoginItemService.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/UserNotificationCenter.h"

namespace gaugely {

template <>
struct EnumTraits<NotificationAuthorizationStatus> {
    using E = NotificationAuthorizationStatus;
    static constexpr std::array<std::pair<E, std::string_view>, 6> cases{{
        {E::notDetermined, "notDetermined"},
        {E::denied, "denied"},
        {E::authorized, "authorized"},
        {E::provisional, "provisional"},
        {E::ephemeral, "ephemeral"},
        {E::unknown, "unknown"},
    }};
};

template <>
struct EnumTraits<LoginItemService::Status> {
    using E = LoginItemService::Status;
    static constexpr std::array<std::pair<E, std::string_view>, 5> cases{{
        {E::notRegistered, "notRegistered"},
        {E::enabled, "enabled"},
        {E::requiresApproval, "requiresApproval"},
        {E::notFound, "notFound"},
        {E::unknown, "unknown"},
    }};
};

// Gathered by the platform layer.
struct SystemFacts {
    std::string macOSVersion;  // "14.5"
    std::string macOSBuild;    // "23F79"
    std::string architecture;  // the machine's: "arm64", "x86_64"
    // The process runs translated (an x86_64 slice under Rosetta on Apple silicon).
    bool translated = false;
    // Codex as installed (none: not found on this Mac), and whether it runs.
    std::optional<std::string> codexVersion;
    std::optional<std::string> codexBuild;
    bool codexRunning = false;
    std::string gaugelyVersion;
    std::string gaugelyBuild;
    std::string bundleIdentifier;
    std::string bundlePath;
    // The Sparkle framework the process loaded; none in a build without it.
    std::optional<std::string> sparkleVersion;
    // The notification settings beyond authorization ("alert style: banner", …), as the
    // platform names them.
    std::vector<std::string> notificationSettings;

    bool operator==(const SystemFacts&) const = default;
};

// Gaugely's own version, build, identity and place from its bundle (the home folder written as
// "~", so a pasted report does not carry the user's name); the rest is left as it is.
void readBundleFacts(const BundleInformation& bundle, const std::string& homeFolder,
                     SystemFacts& facts);

struct PermissionStates {
    bool accessibility = false;
    // CGPreflightListenEventAccess: whether key events reach the real-input guard.
    bool inputMonitoring = false;
    NotificationAuthorizationStatus notifications = NotificationAuthorizationStatus::unknown;
    LoginItemService::Status loginItem = LoginItemService::Status::unknown;

    bool operator==(const PermissionStates&) const = default;
};

struct PermissionPorts {
    Accessibility& accessibility;
    Input& input;
    UserNotificationCenter& notifications;
    LoginItemService& loginItems;
    MainQueue& mainQueue;
};

// Asks each port without a prompt; `done` runs on the main queue once the notification centre
// has answered.
void readPermissionStates(PermissionPorts ports, std::function<void(PermissionStates)> done);

// One line per permission: its name, its state and, when it is missing, what to do.
struct PermissionLine {
    std::string name;
    std::string state;
    // Empty when nothing needs doing.
    std::string remedy;

    bool operator==(const PermissionLine&) const = default;
};
[[nodiscard]] std::vector<PermissionLine> permissionLines(const PermissionStates& states,
                                                          const std::string& bundlePath);

// The facts as lines of "name: value", in the report's order.
[[nodiscard]] std::vector<std::string> systemFactLines(const SystemFacts& facts);

}  // namespace gaugely
