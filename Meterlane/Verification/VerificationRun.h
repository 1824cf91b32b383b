#pragma once

// The checks `make mac-verify` runs inside Gaugely.app (launched with --verify), one after the
// other on the main queue: the permissions, a recording of Codex's tree with every call timed, the
// refresh cost the measured latency implies, one real manual refresh through the app's own reader,
// and the update checks. Everything it decides is here, over the ports; the platform layer only
// gathers the facts, builds the ports and writes the results out.

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "LowUsageNotificationSupport/CodexPlan.h"
#include "Meterlane/Platform/LoginItemService.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Verification/MacFacts.h"
#include "Meterlane/Verification/RefreshTraceRecorder.h"
#include "Meterlane/Verification/TimedAccessibility.h"
#include "Meterlane/Verification/TreeWhereabouts.h"
#include "Meterlane/Verification/UpdateCheckVerification.h"
#include "Meterlane/Verification/VerificationResults.h"

namespace gaugely {

struct VerificationOptions {
    // Where the results go.
    std::string outputFolder;
    // The plan to choose for the refresh when none is chosen yet.
    std::optional<CodexPlan> plan;
    // Seconds the app stays open after writing its results, so the script can open a second copy.
    double stay = 0;
    // The recording stops here: far above the searches' budget, below a walk that takes minutes.
    std::size_t recordingCap = 6000;

    bool operator==(const VerificationOptions&) const = default;
};

// From the app's launch arguments: `--verify FOLDER [--verify-plan PLAN] [--verify-stay SECONDS]`.
// None without --verify; an error text for a malformed request.
[[nodiscard]] std::optional<std::variant<VerificationOptions, std::string>> verificationOptions(
    const std::vector<std::string>& arguments);

struct VerificationEnvironment {
    // The port the app's reader uses too, so its refresh is timed and counted.
    TimedAccessibility& accessibility;
    TreeWhereabouts& whereabouts;
    Workspace& workspace;
    Input& input;
    MainQueue& mainQueue;
    Clock& clock;
    UserNotificationCenter& notifications;
    LoginItemService& loginItems;
    const BundleInformation& bundle;
    // The user's home folder, written as "~" in the paths reported.
    std::string homeFolder;
    UsageReader& reader;
    RefreshTraceRecorder& traces;
    // The update framework's side of the update checks; none in a build without it.
    std::optional<UpdateCheckPorts> updates;
    // Codex's answer to AXManualAccessibility (0: accepted), when the platform can say.
    std::function<std::optional<int32_t>(ProcessID)> manualAccessibilityAnswer;
};

class VerificationRun {
  public:
    // A refresh that has not ended after this long is reported as it stands.
    static constexpr double refreshTimeout = 180;
    // How long to wait for an automatic run already under way before the real refresh.
    static constexpr double busyReaderWait = 60;

    VerificationRun(VerificationEnvironment environment, SystemFacts facts,
                    VerificationOptions options,
                    std::function<void(const VerificationResults&)> finished);
    ~VerificationRun();
    VerificationRun(const VerificationRun&) = delete;
    VerificationRun& operator=(const VerificationRun&) = delete;

    void start();
    [[nodiscard]] const VerificationResults& results() const { return results_; }

  private:
    void next(void (VerificationRun::*step)());
    void readPermissions();
    void recordTree();
    void project();
    void refresh();
    void startRefresh();
    void refreshEnded();
    void checkUpdates();
    void finish();

    void skip(std::initializer_list<std::string_view> findings, const std::string& why);
    void set(std::string_view finding, FindingStatus status, std::string detail);

    VerificationEnvironment env_;
    VerificationOptions options_;
    std::function<void(const VerificationResults&)> finished_;
    VerificationResults results_;
    std::optional<RunningApplication> codex_;
    double busySince_ = 0;
    std::size_t refreshMark_ = 0;
    double refreshStart_ = 0;
    std::optional<std::string> frontmostAtRequest_;
    std::optional<UsageReader::ObserverID> readerObserver_;
    TaskHandle refreshTimeout_;
    // The next look at a reader still busy with a run of its own.
    TaskHandle busyRetry_;
    std::unique_ptr<UpdateCheckVerification> updates_;
    std::shared_ptr<VerificationRun*> alive_;
};

}  // namespace gaugely
