#pragma once

// What the update framework did, callback by callback, as its adapter saw it: what the user driver
// was asked and what it replied, what the delegate heard, and how each cycle ended. The
// verification reads these to say what the pinned Sparkle does with a local feed; the app never
// decides anything from them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "LowUsageNotificationSupport/Enumeration.h"
#include "SharedUpdateSupport/ApprovedInstallPolicy.h"

namespace gaugely {

struct UpdateFrameworkError {
    std::string domain;
    int64_t code = 0;
    std::string description;

    bool operator==(const UpdateFrameworkError&) const = default;
};

struct UpdateFrameworkEvent {
    enum class Kind {
        // The delegate: the feed was read and its items offered for a choice.
        itemsOffered,
        updateFound,
        noUpdateFound,
        // The user driver was asked about a found update (with `stage`), then replied.
        askedUpdateFound,
        askedReadyToInstall,
        replied,
        installationDismissed,
        downloaded,
        downloadFailed,
        extracted,
        willInstall,
        willInstallOnQuit,
        relaunching,
        aborted,
        cycleFinished,
    };

    Kind kind = Kind::cycleFinished;
    std::optional<std::string> build;
    std::optional<UpdateFoundStage> stage;
    std::optional<UpdateReply> reply;
    // How many items the feed held (itemsOffered), and the delegate's choice among them.
    std::optional<std::size_t> items;
    std::optional<std::size_t> chosen;
    // How the framework judged the feed's signature, where it says (Sparkle 2.9 and later).
    enum class Signature { notChecked, valid, invalid };
    std::optional<Signature> signature;
    std::optional<UpdateFrameworkError> error;

    static UpdateFrameworkEvent of(Kind kind) {
        UpdateFrameworkEvent event;
        event.kind = kind;
        return event;
    }

    bool operator==(const UpdateFrameworkEvent&) const = default;
};

template <>
struct EnumTraits<UpdateFrameworkEvent::Kind> {
    using E = UpdateFrameworkEvent::Kind;
    static constexpr std::array<std::pair<E, std::string_view>, 15> cases{{
        {E::itemsOffered, "itemsOffered"},
        {E::updateFound, "updateFound"},
        {E::noUpdateFound, "noUpdateFound"},
        {E::askedUpdateFound, "askedUpdateFound"},
        {E::askedReadyToInstall, "askedReadyToInstall"},
        {E::replied, "replied"},
        {E::installationDismissed, "installationDismissed"},
        {E::downloaded, "downloaded"},
        {E::downloadFailed, "downloadFailed"},
        {E::extracted, "extracted"},
        {E::willInstall, "willInstall"},
        {E::willInstallOnQuit, "willInstallOnQuit"},
        {E::relaunching, "relaunching"},
        {E::aborted, "aborted"},
        {E::cycleFinished, "cycleFinished"},
    }};
};

template <>
struct EnumTraits<UpdateFoundStage> {
    static constexpr std::array<std::pair<UpdateFoundStage, std::string_view>, 3> cases{{
        {UpdateFoundStage::notDownloaded, "notDownloaded"},
        {UpdateFoundStage::downloaded, "downloaded"},
        {UpdateFoundStage::installing, "installing"},
    }};
};

template <>
struct EnumTraits<UpdateReply> {
    static constexpr std::array<std::pair<UpdateReply, std::string_view>, 3> cases{{
        {UpdateReply::install, "install"},
        {UpdateReply::dismiss, "dismiss"},
        {UpdateReply::skip, "skip"},
    }};
};

template <>
struct EnumTraits<UpdateFrameworkEvent::Signature> {
    using E = UpdateFrameworkEvent::Signature;
    static constexpr std::array<std::pair<E, std::string_view>, 3> cases{{
        {E::notChecked, "notChecked"},
        {E::valid, "valid"},
        {E::invalid, "invalid"},
    }};
};

// One line for the report: "askedUpdateFound build 4 at notDownloaded", "replied dismiss", …
[[nodiscard]] std::string describe(const UpdateFrameworkEvent& event);

// Where the framework's adapter reports to; set on the main queue, called there.
class UpdateFrameworkObserver {
  public:
    virtual ~UpdateFrameworkObserver() = default;
    virtual void frameworkEvent(const UpdateFrameworkEvent& event) = 0;
};

}  // namespace gaugely
