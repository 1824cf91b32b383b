#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Meterlane/Simulation/MemoryPreferences.h"
#include "Meterlane/Simulation/VirtualTime.h"
#include "Meterlane/Verification/UpdateFrameworkEvent.h"
#include "SharedUpdateSupport/UpdateFramework.h"

namespace gaugely {

// An update framework that does what Sparkle is documented to do with the questions it asks, and
// tells the observer each step as the adapter does; the faults make it do what the checks are
// there to catch.
struct ScriptedFramework final : UpdateFramework {
    VirtualTime& time;
    MemoryPreferences& defaults;
    UpdateFrameworkObserver* observer = nullptr;
    UpdateFrameworkDelegate* delegate = nullptr;
    std::optional<std::string> approved;
    bool busy = false;
    // The answer to the cycle under way.
    TaskHandle pending;
    std::vector<UpdateCandidate> items{
        {"4", "1.0.4", false, "http://127.0.0.1:8431/updates/gaugely/",
         "http://127.0.0.1:8431/updates/gaugely/releases/1.0.4/build-4/Gaugely-1.0.4.zip"}};

    bool acceptsTamperedFeed = false;
    bool reportsSignature = true;
    bool dismissRecordsSkip = false;
    bool neverAnswers = false;

    ScriptedFramework(VirtualTime& time, MemoryPreferences& defaults)
        : time(time), defaults(defaults) {}

    void start(UpdateFrameworkDelegate& given) override { delegate = &given; }
    void probe() override { cycle(false); }
    void installApprovedBuild(const std::string& build) override {
        approved = build;
        cycle(true);
    }
    bool sessionBusy() const override { return busy; }

    void tell(UpdateFrameworkEvent event) const {
        if (observer) {
            observer->frameworkEvent(event);
        }
    }
    static UpdateFrameworkEvent event(UpdateFrameworkEvent::Kind kind) {
        return UpdateFrameworkEvent::of(kind);
    }
    void finish(bool failed, std::optional<UpdateFrameworkError> error = std::nullopt) {
        busy = false;
        UpdateFrameworkEvent finished = event(UpdateFrameworkEvent::Kind::cycleFinished);
        finished.error = std::move(error);
        tell(finished);
        delegate->didFinishCycle(failed);
    }
    void cycle(bool installing) {
        busy = true;
        pending = time.asyncAfter(0.3, [this, installing] { answer(installing); });
    }
    void answer(bool installing) {
        using Kind = UpdateFrameworkEvent::Kind;
        if (neverAnswers) {
            return;
        }
        const bool tampered = delegate->feedURL().find("tampered") != std::string::npos;
        if (tampered && !acceptsTamperedFeed) {
            UpdateFrameworkEvent aborted = event(Kind::aborted);
            aborted.error = UpdateFrameworkError{"SUSparkleErrorDomain", 1000, "bad signature"};
            tell(aborted);
            finish(true, aborted.error);
            return;
        }
        const auto chosen = delegate->chooseItem(items);
        UpdateFrameworkEvent offered = event(Kind::itemsOffered);
        offered.items = items.size();
        offered.chosen = chosen;
        if (reportsSignature) {
            offered.signature = tampered ? UpdateFrameworkEvent::Signature::invalid
                                         : UpdateFrameworkEvent::Signature::valid;
        }
        tell(offered);
        if (!chosen) {
            delegate->didNotFindUpdate();
            finish(false);
            return;
        }
        const std::string build = items[*chosen].build;
        if (!installing) {
            delegate->didFindUpdate({items[*chosen], "", false, std::nullopt});
            finish(false);
            return;
        }
        UpdateFrameworkEvent asked = event(Kind::askedUpdateFound);
        asked.build = build;
        asked.stage = UpdateFoundStage::notDownloaded;
        tell(asked);
        UpdateFrameworkEvent replied = event(Kind::replied);
        replied.reply = replyToUpdateFound(approved, build, UpdateFoundStage::notDownloaded);
        tell(replied);
        if (replied.reply != UpdateReply::install) {
            if (replied.reply == UpdateReply::skip || dismissRecordsSkip) {
                defaults.setString("SUSkippedVersion", build);
            }
            tell(event(Kind::installationDismissed));
            finish(false);
            return;
        }
        tell(event(Kind::downloaded));
        tell(event(Kind::extracted));
        tell(event(Kind::askedReadyToInstall));
        replied.reply = replyToReadyToInstall(approved);
        tell(replied);
        if (replied.reply == UpdateReply::install) {
            tell(event(Kind::willInstall));
            delegate->willRelaunch();
        } else {
            defaults.setString("SUSkippedVersion", build);
            tell(event(Kind::installationDismissed));
        }
        finish(false);
    }
};

}  // namespace gaugely
