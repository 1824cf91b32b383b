#pragma once

// The update checks that need no person: the real update framework against a feed the script
// serves on the loopback address, signed with a throw-away key, in a non-production copy of the
// app whose override keys (SUDefaultsDomain, the feed, the key) point at it. In order:
//
//   1. a probe of the signed feed: read, its signature judged, an update found without the user
//      driver being asked;
//   2. a probe of a tampered copy: refused;
//   3. a probe whose delegate answers with no item: "no update", not a failure;
//   4. a check that approves another build: the driver dismisses the update before download, and
//      nothing is recorded as skipped (5: a probe finds it again);
//   6. a check that approves the feed's build, whose approval is withdrawn once it is downloaded:
//      the driver replies skip, and the script checks after the app quits that nothing installed.
//
// It is the framework's delegate for these checks, in place of the updater model, so it can give
// answers the model never gives (another build, no item) and see what the framework does with
// them. Main queue only.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Meterlane/Platform/BundleInformation.h"
#include "Meterlane/Platform/MainQueue.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Verification/UpdateFrameworkEvent.h"
#include "Meterlane/Verification/VerificationResults.h"
#include "SharedUpdateSupport/UpdateFramework.h"

namespace gaugely {

struct UpdateCheckSettings {
    std::string feedURL;
    // The same feed with its content changed after signing, beside it on the server.
    std::string tamperedFeedURL;
    // Where the framework keeps its records in this copy, never the app's own domain.
    std::string defaultsDomain;

    bool operator==(const UpdateCheckSettings&) const = default;
};

// The settings a copy made by `make mac-verify` carries, or why this bundle cannot run the
// checks: the production keys, a feed that is not on the loopback address, no defaults domain of
// its own for the framework.
[[nodiscard]] std::variant<UpdateCheckSettings, std::string> updateCheckSettings(
    const BundleInformation& bundle);

// The keys where the framework remembers a skipped build.
inline constexpr std::string_view skippedBuildKeys[] = {"SUSkippedVersion", "SUSkippedMajorVersion",
                                                        "SUSkippedMajorSubreleaseVersion"};

struct UpdateCheckPorts {
    UpdateFramework& framework;
    MainQueue& mainQueue;
    // The framework's own records, in the copy's defaults domain.
    Preferences& frameworkDefaults;
    // Ends the framework's approval of a build; called while the driver is asked, before it
    // answers.
    std::function<void()> withdrawApproval;
    // Where the framework's adapter reports what it does; none stops the reports.
    std::function<void(UpdateFrameworkObserver*)> setObserver;
};

class UpdateCheckVerification final : private UpdateFrameworkDelegate,
                                      public UpdateFrameworkObserver {
  public:
    // A stage that hears nothing for this long ends as timed out.
    static constexpr double stageTimeout = 90;

    UpdateCheckVerification(UpdateCheckPorts ports, UpdateCheckSettings settings,
                            std::function<void()> finished);
    ~UpdateCheckVerification() override;
    UpdateCheckVerification(const UpdateCheckVerification&) = delete;
    UpdateCheckVerification& operator=(const UpdateCheckVerification&) = delete;

    // Starts the framework (it must not have been started) and the first stage.
    void start();
    [[nodiscard]] bool finished() const { return stage_ == Stage::done; }

    [[nodiscard]] const std::vector<UpdateStageResult>& stages() const { return results_; }
    [[nodiscard]] Findings findings() const;

    void frameworkEvent(const UpdateFrameworkEvent& event) override;

  private:
    enum class Stage {
        probeSigned,
        probeTampered,
        emptyItem,
        dismissBeforeDownload,
        probeAfterDismiss,
        skipAfterDownload,
        done,
    };

    // What one stage saw.
    struct Seen {
        std::vector<UpdateFrameworkEvent> events;
        std::optional<std::size_t> items;
        std::optional<FoundUpdate> found;
        bool noUpdate = false;
        std::optional<bool> cycleFailed;
        bool timedOut = false;
    };

    // UpdateFrameworkDelegate.
    std::string feedURL() override;
    std::optional<std::size_t> chooseItem(const std::vector<UpdateCandidate>& items) override;
    void didFindUpdate(const FoundUpdate& update) override;
    void didNotFindUpdate() override;
    void willRelaunch() override;
    void didFinishCycle(bool failed) override;

    void begin(Stage stage);
    void end(std::string outcome);
    [[nodiscard]] static std::string title(Stage stage);
    [[nodiscard]] static std::string id(Stage stage);
    [[nodiscard]] std::string outcomeOf(const Seen& seen) const;
    [[nodiscard]] bool anySkipRecorded();
    [[nodiscard]] const Seen* seen(Stage stage) const;

    UpdateCheckPorts ports_;
    UpdateCheckSettings settings_;
    std::function<void()> finished_;
    Stage stage_ = Stage::probeSigned;
    bool started_ = false;
    // Between the end of one stage and the start of the next: late callbacks are not counted.
    bool between_ = false;
    Seen current_;
    std::vector<std::pair<Stage, Seen>> history_;
    std::vector<UpdateStageResult> results_;
    std::optional<std::string> feedBuild_;
    std::optional<bool> skipRecordedAfterDismiss_;
    TaskHandle timeout_;
    std::shared_ptr<UpdateCheckVerification*> alive_;
};

}  // namespace gaugely
