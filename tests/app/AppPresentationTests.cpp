#include <gtest/gtest.h>

#include "Meterlane/Presentation/AppVersionInfo.h"
#include "Meterlane/Presentation/LaunchAtLoginController.h"
#include "Meterlane/Presentation/MenuBarLabelPresentation.h"
#include "Meterlane/Simulation/FakeLoginItemService.h"

namespace gaugely {
namespace {

TEST(AppVersionPresentation, TrimsAndFallsBackFieldByField) {
    const struct {
        const char *displayName, *bundleName, *version, *build;
        AppVersionInfo expected;
    } rows[] = {
        {"Gaugely", "GaugelyApp", "1.0.3", "3", {"Gaugely", "1.0.3", "3"}},
        {" \n", "GaugelyApp", " 1.0.3\n", "\t3 ", {"GaugelyApp", "1.0.3", "3"}},
        {"", "  ", "", "", {"Gaugely", "Unknown", "Unknown"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(AppVersionPresentation::information(row.displayName, row.bundleName, row.version,
                                                      row.build),
                  row.expected)
            << row.displayName << "|" << row.bundleName;
    }
    // No developer name, no "By" line (the golden About rendering shows the named case).
    const AboutPresentation about =
        AboutPresentation::make({"Gaugely", "1.0.3", "3"}, "", "Codex Usage Monitor for Mac");
    EXPECT_EQ(about.developerText, "");
}

TEST(LaunchAtLoginController, StatusAndFailuresShowTheMostSpecificMessage) {
    using Status = LoginItemService::Status;
    const std::string approval = "Launch at Login requires approval in System Settings.";
    const struct {
        const char* name;
        Status status;
        std::optional<bool> change;  // none: only the status is read
        bool succeeds;
        bool enabled;
        std::optional<std::string> message;
    } rows[] = {
        {"not registered", Status::notRegistered, std::nullopt, true, false, std::nullopt},
        {"enabled", Status::enabled, std::nullopt, true, true, std::nullopt},
        {"requires approval", Status::requiresApproval, std::nullopt, true, false, approval},
        {"not found", Status::notFound, std::nullopt, true, false,
         "Launch at Login is unavailable for this app."},
        {"unknown", Status::unknown, std::nullopt, true, false,
         "Launch at Login status is unavailable."},
        {"switched on", Status::notRegistered, true, true, true, std::nullopt},
        {"switched off", Status::enabled, false, true, false, std::nullopt},
        // The status explains a failure better than the generic message.
        {"failed, waiting for approval", Status::requiresApproval, true, false, false, approval},
        {"failed, not registered", Status::notRegistered, true, false, false,
         "Could not update Launch at Login."},
    };
    for (const auto& row : rows) {
        FakeLoginItemService service;
        service.currentStatus = row.status;
        service.changesSucceed = row.succeeds;
        LaunchAtLoginController controller(service);
        int changes = 0;
        controller.addObserver([&] { ++changes; });
        if (row.change) {
            controller.setEnabled(*row.change);
        }
        EXPECT_EQ(controller.isEnabled(), row.enabled) << row.name;
        EXPECT_EQ(controller.statusMessage(), row.message) << row.name;
        EXPECT_EQ(controller.needsApproval(), row.status == Status::requiresApproval) << row.name;
        EXPECT_LE(changes, 1) << row.name;
    }
}

TEST(MenuBarLabelPresentation, TheBadgeComesAndGoesWithNothingElseChanging) {
    const auto without = MenuBarLabelPresentation::make("5h 72% \u00B7 W 40%", true, false);
    auto with = MenuBarLabelPresentation::make("5h 72% \u00B7 W 40%", true, true);
    EXPECT_TRUE(with.showsUpdateBadge);
    EXPECT_EQ(with.accessibilityLabel, "Codex usage: 5h 72% \u00B7 W 40%, Update Available");
    with.showsUpdateBadge = false;
    with.accessibilityLabel = without.accessibilityLabel;
    EXPECT_EQ(with, without);
    EXPECT_FALSE(MenuBarLabelPresentation::make("Set plan", false, false).showsTemplateImage);
}

TEST(MenuBarLabelPresentation, TheBadgeSitsAtTheTopRightWhicheverWayYGrows) {
    const Size button{64, 22};
    const double side = MenuBarLabelPresentation::updateBadgeSide;
    for (const bool flipped : {false, true}) {
        const Point origin = MenuBarLabelPresentation::updateBadgeOrigin(button, flipped);
        // Measured from the top in both orientations, the badge starts 2 points down.
        const double fromTop = flipped ? origin.y : button.height - (origin.y + side);
        EXPECT_DOUBLE_EQ(fromTop, 2) << flipped;
        EXPECT_DOUBLE_EQ(button.width - (origin.x + side), 1) << flipped;
    }
}

}  // namespace
}  // namespace gaugely
