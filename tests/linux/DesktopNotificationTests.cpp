#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "Meterlane/Linux/DesktopNotificationCenter.h"
#include "Meterlane/Simulation/FakeUserNotificationCenter.h"
#include "SessionBus.h"
#include "cli/ToolRunner.h"

namespace gaugely::linuxtest {
namespace {

class DesktopNotifications : public tooltest::ToolTest {
  protected:
    void SetUp() override {
        ToolTest::SetUp();
        bus_ = std::make_unique<PrivateSessionBus>(directory_);
        ASSERT_FALSE(bus_->address().empty()) << "dbus-daemon did not start";
    }
    void TearDown() override {
        bus_.reset();
        ToolTest::TearDown();
    }

    std::unique_ptr<DesktopNotificationCenter> center() {
        return std::make_unique<DesktopNotificationCenter>(
            "Gaugely", fallback_,
            [this](const std::string& reason) { reasons_.push_back(reason); });
    }

    std::unique_ptr<PrivateSessionBus> bus_;
    FakeUserNotificationCenter fallback_;
    std::vector<std::string> reasons_;
};

const NotificationRequest low{"low-usage-fiveHour-1", "Codex Usage Low", "5h usage remaining: 18%"};
const NotificationRequest reset{"usage-reset-2", "Codex Usage Reset",
                                "5h and Weekly usage reset \u2014 100% available"};

// Without a bus or a service every request still reaches the user, through the fallback, and
// the reason is told once for each time delivery stops working; a service that comes later is
// used at once.
TEST_F(DesktopNotifications, WithoutABusOrAServiceTheFallbackShowsThemAndOneLineSaysWhy) {
    const struct {
        const char* name;
        std::string address;
        std::string reason;
    } cases[] = {
        {"no bus at that address", "unix:path=" + path("no-bus").string(),
         "no session bus: No such file or directory"},
        {"a bus without the service", bus_->address(),
         "no notification service on the session bus: "},
    };
    for (const auto& c : cases) {
        ::setenv("DBUS_SESSION_BUS_ADDRESS", c.address.c_str(), 1);
        reasons_.clear();
        fallback_ = FakeUserNotificationCenter();
        auto desktop = center();
        EXPECT_FALSE(desktop->connect()) << c.name;
        desktop->add(low, [](std::optional<std::string>) {});
        desktop->add(reset, [](std::optional<std::string>) {});
        ASSERT_EQ(fallback_.requests().size(), 2u) << c.name;
        EXPECT_EQ(fallback_.requests()[1], reset) << c.name;
        ASSERT_EQ(reasons_.size(), 1u) << c.name;
        EXPECT_TRUE(reasons_[0].starts_with(c.reason)) << c.name << ": " << reasons_[0];
    }

    // The service starts: the next request goes to it; it stops: the fallback again, said once.
    reasons_.clear();
    fallback_ = FakeUserNotificationCenter();
    auto desktop = center();
    EXPECT_FALSE(desktop->connect());
    {
        NotificationServer server(bus_->address());
        ASSERT_TRUE(server.serving());
        desktop->add(low, [](std::optional<std::string>) {});
        EXPECT_EQ(server.waitForCalls(1).size(), 1u);
    }
    desktop->add(reset, [](std::optional<std::string>) {});
    desktop->add(reset, [](std::optional<std::string>) {});
    EXPECT_EQ(fallback_.requests().size(), 2u);
    EXPECT_EQ(reasons_.size(), 2u)
        << "told when it stopped at the start, and when it stopped again";
}

}  // namespace
}  // namespace gaugely::linuxtest
