#pragma once

// What `make mac-verify` does on a Mac, step by step, and what each step can confirm (its
// findings). The checklist's items name these findings; the report says, for each, what the run
// found. Steps that need the app's own permissions run inside Gaugely.app (`--verify`); the rest
// run in the script around it. Pure data.

#include <array>
#include <span>
#include <string_view>
#include <utility>

#include "LowUsageNotificationSupport/Enumeration.h"

namespace gaugely {

enum class StepRunner { script, app };

template <>
struct EnumTraits<StepRunner> {
    static constexpr std::array<std::pair<StepRunner, std::string_view>, 2> cases{{
        {StepRunner::script, "script"},
        {StepRunner::app, "app"},
    }};
};

struct VerificationFinding {
    std::string_view id;
    // What the run has shown when the finding is confirmed.
    std::string_view confirms;
};

struct VerificationStep {
    std::string_view id;
    std::string_view title;
    StepRunner runner;
    std::string_view what;
    std::span<const VerificationFinding> findings;
};

// In the order they run.
std::span<const VerificationStep> verificationPlan();
// The finding of that id, or none.
const VerificationFinding* findVerificationFinding(std::string_view id);
// The step a finding belongs to, or none.
const VerificationStep* stepOfFinding(std::string_view findingID);

// The findings, by id, so the code that produces them and the plan cannot drift apart.
namespace finding {
inline constexpr std::string_view buildApp = "build.app";
inline constexpr std::string_view buildSparkleVersion = "build.sparkleVersion";
inline constexpr std::string_view buildSparkleApi = "build.sparkleApi";
inline constexpr std::string_view buildSparkleSymbols = "build.sparkleSymbols";
inline constexpr std::string_view buildGenerateAppcast = "build.generateAppcast";
inline constexpr std::string_view appAgent = "app.agent";
inline constexpr std::string_view appSingleCopy = "app.singleCopy";
inline constexpr std::string_view inputMonitoringPreflight = "permissions.inputMonitoringPreflight";
inline constexpr std::string_view loginItem = "permissions.loginItem";
inline constexpr std::string_view treeRecorded = "tree.recorded";
inline constexpr std::string_view treeWithinBudget = "tree.withinBudget";
inline constexpr std::string_view treeWebContent = "tree.webContent";
inline constexpr std::string_view treeAXURL = "tree.axurl";
inline constexpr std::string_view latencyMeasured = "latency.measured";
inline constexpr std::string_view refreshCommitted = "refresh.committed";
inline constexpr std::string_view refreshMenuSighted = "refresh.menuSighted";
inline constexpr std::string_view refreshMarkerIgnored = "refresh.markerIgnored";
inline constexpr std::string_view refreshActivation = "refresh.activation";
inline constexpr std::string_view updateFeedRead = "update.feedRead";
inline constexpr std::string_view updateSignatureVerified = "update.signatureVerified";
inline constexpr std::string_view updateTamperedRefused = "update.tamperedRefused";
inline constexpr std::string_view updateProbeSilent = "update.probeSilent";
inline constexpr std::string_view updateEmptyItemNoUpdate = "update.emptyItemNoUpdate";
inline constexpr std::string_view updateDismissRecordsNoSkip = "update.dismissRecordsNoSkip";
inline constexpr std::string_view updateSkipAfterDownload = "update.skipAfterDownload";
inline constexpr std::string_view updateInstallOnQuitPrevented = "update.installOnQuitPrevented";
}  // namespace finding

}  // namespace gaugely
