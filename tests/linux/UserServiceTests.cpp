#include <gtest/gtest.h>

#include "cli/ToolRunner.h"

namespace gaugely::tooltest {
namespace {

class UserService : public ToolTest {
  protected:
    ToolResult gaugely(const std::vector<std::string>& arguments) {
        return run(arguments, "",
                   "XDG_CONFIG_HOME=" + shellQuoted(path("config").string()) +
                       " XDG_DATA_HOME=" + shellQuoted(path("data").string()),
                   directory_);
    }
    fs::path unit() const { return path("config") / "systemd/user/gaugely-usage.service"; }
};

// Installed, the unit runs this very gaugely with the options given and the folders of the shell
// that installed it, so the service keeps its state and history where `gaugely usage` does;
// removed, its enablement goes with it.
TEST_F(UserService, InstallsAndRemovesTheUnitUnderTheConfigHome) {
    const ToolResult installed =
        gaugely({"usage", "--install-service", "--plan", "pro", "--codex-home", "codex 100%",
                 "--defaults", "state.json"});
    ASSERT_EQ(installed.status, 0) << installed.err;
    EXPECT_TRUE(contains(installed.out, "Wrote " + unit().string() + ": it runs "))
        << installed.out;
    EXPECT_TRUE(contains(installed.out,
                         "  systemctl --user daemon-reload && systemctl --user "
                         "enable --now gaugely-usage.service\n"))
        << installed.out;
    const std::string text = readFile(unit());
    for (const std::string& line : {
             "ExecStart=" + std::string(GAUGELY_TOOL_PATH) +
                 " usage --watch --notify --plan pro --codex-home \"" +
                 path("codex 100%%").string() + "\" --defaults " + path("state.json").string() +
                 "\n",
             "Environment=XDG_CONFIG_HOME=" + path("config").string() + "\n",
             "Environment=XDG_DATA_HOME=" + path("data").string() + "\n",
             std::string("Restart=on-failure\n"),
             std::string("SuccessExitStatus=130 143\n"),
             std::string("WantedBy=default.target\n"),
         }) {
        EXPECT_TRUE(contains(text, line)) << line << "\nin:\n" << text;
    }
    if (shell("command -v systemd-analyze").status == 0) {
        EXPECT_EQ(shell("systemd-analyze verify --man=no " + shellQuoted(unit().string())).status,
                  0)
            << text;
    }
    EXPECT_TRUE(contains(gaugely({"state"}).out, unit().string() + " (installed)"));

    // As `systemctl --user enable` leaves it.
    const fs::path enabled = unit().parent_path() / "default.target.wants/gaugely-usage.service";
    fs::create_directories(enabled.parent_path());
    fs::create_symlink(unit(), enabled);
    const ToolResult removed = gaugely({"usage", "--uninstall-service"});
    EXPECT_EQ(removed.status, 0) << removed.err;
    EXPECT_EQ(removed.out, "Removed " + unit().string() +
                               ".\nIf it is running, stop it with:\n  systemctl --user stop "
                               "gaugely-usage.service && systemctl --user daemon-reload\n");
    EXPECT_FALSE(fs::exists(unit()));
    EXPECT_FALSE(fs::is_symlink(enabled));
    const ToolResult again = gaugely({"usage", "--uninstall-service"});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.out, "No user service at " + unit().string() + ": nothing to remove.\n");
}

}  // namespace
}  // namespace gaugely::tooltest
