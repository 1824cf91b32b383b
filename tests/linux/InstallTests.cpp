#include <gtest/gtest.h>

#include "SessionBus.h"
#include "cli/ToolRunner.h"

namespace gaugely::tooltest {
namespace {

using linuxtest::NotificationServer;
using linuxtest::NotifyCall;
using linuxtest::PrivateSessionBus;

using Install = ToolTest;

// As a daily user gets it: this build installed into a prefix of its own (as `cmake --install`
// or `make install PREFIX=~/.local` does), its manual page, completions and user service in
// their places, then `gaugely usage --watch --notify` from there, on a desktop's session bus.
TEST_F(Install, PutsTheToolItsManualCompletionsAndServiceInPlaceAndNotifiesOnTheDesktop) {
    const auto have = [&](const std::string& program) {
        return shell("command -v " + program).status == 0;
    };
    const fs::path prefix = path("prefix");
    ASSERT_TRUE(shell(shellQuoted(GAUGELY_CMAKE_PATH) + " --install " +
                      shellQuoted(GAUGELY_BUILD_PATH) + " --prefix " +
                      shellQuoted(prefix.string()) + " >" + shellQuoted(path("install.log")) +
                      " 2>&1")
                    .status == 0)
        << readFile(path("install.log"));
    const std::string gaugely = (prefix / "bin/gaugely").string();
    EXPECT_TRUE(shell(shellQuoted(gaugely) + " --version").out.starts_with("gaugely "));

    // The manual page: clean mdoc, and every option each command's help lists is in it.
    const fs::path manual = prefix / "share/man/man1/gaugely.1";
    ASSERT_TRUE(fs::exists(manual));
    if (have("mandoc")) {
        const ToolResult lint =
            shell("mandoc -T lint -W warning " + shellQuoted(manual.string()) + " 2>&1");
        EXPECT_EQ(lint.out, "") << "mandoc's linter";
        std::string page = shell("mandoc -T ascii " + shellQuoted(manual.string())).out;
        // Overstruck bold and underline to plain letters.
        for (std::size_t at = page.find('\b'); at != std::string::npos; at = page.find('\b')) {
            page.erase(at - 1, 2);
        }
        for (const std::string command : {"usage", "simulate", "state", "parse", "appcast"}) {
            EXPECT_TRUE(contains(page, "   gaugely " + command + "\n")) << command;
            const std::string help = shell(shellQuoted(gaugely) + " " + command + " --help").out;
            for (std::size_t at = help.find("\n  -"); at != std::string::npos;
                 at = help.find("\n  -", at + 1)) {
                const std::string option =
                    help.substr(at + 3, help.find_first_of(" ,\n", at + 3) - at - 3);
                EXPECT_TRUE(contains(page, option)) << command << " " << option;
            }
        }
    }

    // The completions, where each shell looks for them, asked as each shell asks.
    const fs::path bash = prefix / "share/bash-completion/completions/gaugely";
    const fs::path zsh = prefix / "share/zsh/site-functions/_gaugely";
    const fs::path fish = prefix / "share/fish/vendor_completions.d/gaugely.fish";
    for (const fs::path& file : {bash, zsh, fish}) {
        EXPECT_TRUE(fs::exists(file)) << file;
    }
    const auto bashCompletes = [&](const std::string& words) {
        return shell("bash -c " +
                     shellQuoted("source " + shellQuoted(bash.string()) + "; COMP_WORDS=(" + words +
                                 "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _gaugely; echo "
                                 "\"${COMPREPLY[*]}\""))
            .out;
    };
    EXPECT_EQ(bashCompletes("gaugely us"), "usage\n");
    EXPECT_EQ(bashCompletes("gaugely usage --no"), "--notify\n");
    EXPECT_EQ(bashCompletes("gaugely usage --plan ''"), "freeGo plus pro\n");
    EXPECT_EQ(bashCompletes("gaugely --completion f"), "fish\n");
    if (have("zsh")) {
        EXPECT_TRUE(shell("zsh -n " + shellQuoted(zsh.string())).status == 0);
    }
    if (have("fish")) {
        EXPECT_EQ(shell("fish -c " + shellQuoted("source " + shellQuoted(fish.string()) +
                                                 "; complete -C 'gaugely usage --plan '"))
                      .out,
                  "freeGo\tyour Codex plan: freeGo, plus or pro\n"
                  "plus\tyour Codex plan: freeGo, plus or pro\n"
                  "pro\tyour Codex plan: freeGo, plus or pro\n");
    }

    // The user service's unit runs the installed gaugely.
    const std::string unit = readFile(prefix / "share/systemd/user/gaugely-usage.service");
    EXPECT_TRUE(contains(unit, "\nExecStart=" + gaugely + " usage --watch --notify\n")) << unit;
    EXPECT_TRUE(contains(unit, "\nRestart=on-failure\n")) << unit;

    // `--watch --notify` on a desktop: a low-usage and then a reset notification reach the
    // desktop's notification service, with the Mac app's titles and texts, and nothing of them
    // is printed.
    PrivateSessionBus bus(directory_);
    ASSERT_FALSE(bus.address().empty()) << "dbus-daemon did not start";
    NotificationServer server(bus.address());
    ASSERT_TRUE(server.serving());
    const fs::path log = copyOfThePlusSample();
    BackgroundTool tool(directory_, gaugely,
                        {"usage", "--watch", "--notify", "--codex-home", path("codex").string(),
                         "--defaults", path("usage.json").string()},
                        "DBUS_SESSION_BUS_ADDRESS=" + shellQuoted(bus.address()));
    ASSERT_TRUE(tool.started());
    ASSERT_TRUE(tool.waitFor(" ◔ 5h 72% · W 40%")) << tool.err();
    const long long now = std::time(nullptr);
    std::ofstream(log, std::ios::app) << appendedUsageLine(10, 85, now + 3600);
    ASSERT_TRUE(tool.waitFor(" ◔ 5h 15% · W 39%"));
    // The window resets: a new one, a full 100%.
    std::ofstream(log, std::ios::app) << appendedUsageLine(11, 0, now + 5 * 3600);
    const std::vector<NotifyCall> calls = server.waitForCalls(2);
    ASSERT_EQ(calls.size(), 2u) << tool.out() << tool.err();
    EXPECT_EQ(calls[0].applicationName, "Gaugely");
    EXPECT_EQ(calls[0].summary, "Codex Usage Low");
    EXPECT_EQ(calls[0].body, "5h usage remaining: 15%");
    EXPECT_EQ(calls[1].summary, "Codex Usage Reset");
    EXPECT_EQ(calls[1].body, "5h usage reset \u2014 100% available");
    for (const NotifyCall& call : calls) {
        EXPECT_EQ(call.replacesId, 0u) << "a notification never replaces an earlier one";
        EXPECT_EQ(call.expireTimeout, -1) << "the desktop's own timeout";
    }
    EXPECT_TRUE(tool.waitFor(" ◔ 5h 100% · W 39%"));
    EXPECT_FALSE(contains(tool.out(), "Codex Usage")) << tool.out();
    EXPECT_EQ(tool.err(), "");

    // Stopped as systemd stops a service: a clean exit, everything saved.
    EXPECT_TRUE(tool.stop(SIGTERM)) << "still running after SIGTERM";
    EXPECT_TRUE(contains(readFile(path("usage.json")), "plan-specific-usage-snapshots-v1"));
    EXPECT_TRUE(fs::exists(path("usage.json.history.json")));
}

}  // namespace
}  // namespace gaugely::tooltest
