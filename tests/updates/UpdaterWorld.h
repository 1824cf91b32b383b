#pragma once

#include <memory>
#include <string>

#include "Meterlane/Posix/IcuTimeFormatter.h"
#include "Meterlane/Simulation/FakeUpdateFramework.h"
#include "Meterlane/Simulation/MemoryBundleInformation.h"
#include "ProductionUpdateSupport/ProductionUpdaterRuntime.h"
#include "reader/ReaderWorld.h"

namespace gaugely {

inline constexpr std::string_view testFeedHost = "updates.example.com";
inline const std::string installedPath = "/Applications/Gaugely.app";

// A feed item as the production feed lists it.
inline FoundUpdate feedItem(std::string version, std::string build,
                            std::string notes = "<ul><li>Faster refreshes</li></ul>") {
    const std::string base = "https://updates.example.com/updates/gaugely/releases/";
    return FoundUpdate{{build, version, false, base + version + "/",
                        base + version + "/build-" + build + "/Gaugely-" + version + ".zip"},
                       std::move(notes),
                       false,
                       Date::fromUnixTime(1790141400)};  // 2026-09-22 evening in Edmonton
}

// The updater of a production build 1.0.3 (3) beside a reader, in virtual time, over the
// updater's own defaults suite; the fake framework's feed is the test's to fill.
struct UpdaterWorld : ReaderWorld {
    MemoryPreferences suite;
    FakeUpdateFramework framework{time};
    IcuTimeFormatter formatter{"C"};
    MemoryBundleInformation bundle =
        MemoryBundleInformation::production(testFeedHost, "1.0.3", "3", installedPath);
    std::unique_ptr<UpdaterModel> model;

    UpdaterModel& launchUpdater() {
        model.reset();
        model = std::make_unique<UpdaterModel>(
            UpdaterEnvironment{bundle, suite, framework, time, time, workspace, formatter},
            ProductionUpdaterRuntime::configuration(bundle, testFeedHost));
        if (reader) {
            model->setRefreshGateHooks(reader->updateRefreshGateHooks());
        }
        return *model;
    }

    // A reader beside an updater that has already found build 4 on a user's check.
    UpdaterModel& withOfferFound() {
        framework.feed = {feedItem("1.0.4", "4")};
        makeReader();
        launchUpdater().checkForUpdates();
        time.runUntilIdle();
        return *model;
    }
};

}  // namespace gaugely
