#include "Meterlane/Verification/VerificationPlan.h"

namespace gaugely {

namespace {

constexpr VerificationFinding buildFindings[] = {
    {finding::buildApp,
     "make app ran: the pinned Sparkle zip matched its checksum, the app compiled against its "
     "headers, was signed inside out, and codesign --verify --deep --strict and the bundle check "
     "passed"},
    {finding::buildSparkleVersion, "the embedded Sparkle.framework is the pinned release"},
    {finding::buildSparkleApi,
     "scripts/check-sparkle-api found every Sparkle name the adapter uses in the pinned "
     "release's own headers"},
    {finding::buildSparkleSymbols,
     "every class and symbol the headers export (what the link stub lists) is in nm -gU of the "
     "real framework"},
    {finding::buildGenerateAppcast,
     "the pinned generate_appcast took make release's options and wrote a feed with a signature "
     "block covering it"},
};

constexpr VerificationFinding launchFindings[] = {
    {finding::appAgent, "lsappinfo lists the running Gaugely as a UIElement (agent) application"},
    {finding::appSingleCopy,
     "a second copy opened while the first ran quit by itself, and the first kept running"},
};

constexpr VerificationFinding permissionFindings[] = {
    {finding::inputMonitoringPreflight,
     "the Input Monitoring preflight's answer, with Accessibility granted, is recorded"},
    {finding::loginItem, "SMAppService answered the login item's status"},
};

constexpr VerificationFinding treeFindings[] = {
    {finding::treeRecorded, "Codex's tree was recorded through the accessibility port"},
    {finding::treeWithinBudget, "the whole tree fits the searches' budget of 2,500 elements"},
    {finding::treeWebContent,
     "Codex accepted AXManualAccessibility and its web area exposes its content"},
    {finding::treeAXURL, "how many AXURL values Codex answered, and how many a recording keeps"},
};

constexpr VerificationFinding latencyFindings[] = {
    {finding::latencyMeasured,
     "every call kind of the walks was timed: median and 95th percentile per kind"},
};

constexpr VerificationFinding refreshFindings[] = {
    {finding::refreshCommitted,
     "the app's own reader committed a reading and left Codex's menu as it found it"},
    {finding::refreshMenuSighted,
     "the run's searches met the profile menu, at the place in the tree the report names"},
    {finding::refreshMarkerIgnored,
     "the run's own clicks and keys did not stop it as real input: the tap saw the marker"},
    {finding::refreshActivation,
     "Codex came forward for a refresh started while Gaugely was not the active app"},
};

constexpr VerificationFinding updateFindings[] = {
    {finding::updateFeedRead, "Sparkle read the local feed and offered its item to the delegate"},
    {finding::updateSignatureVerified, "Sparkle reported the feed's signature as valid"},
    {finding::updateTamperedRefused, "the tampered feed produced no update, and Sparkle said why"},
    {finding::updateProbeSilent,
     "the information-only probe found the update without asking the user driver"},
    {finding::updateEmptyItemNoUpdate,
     "an empty item from the delegate ended the check as \"no update\", not as a failure"},
    {finding::updateDismissRecordsNoSkip,
     "dismissed before download: nothing recorded as skipped, and the next probe found the "
     "build again"},
    {finding::updateSkipAfterDownload,
     "downloaded without approval: the driver replied skip, never install"},
};

constexpr VerificationFinding afterQuitFindings[] = {
    {finding::updateInstallOnQuitPrevented,
     "after the app quit, its bundle still held the build it was built as"},
};

constexpr VerificationStep plan[] = {
    {"build", "Build", StepRunner::script,
     "make app, then a non-production copy whose update keys point at a local feed signed with a "
     "throw-away key; Sparkle's tools and binary checked against the pin",
     buildFindings},
    {"launch", "Launch", StepRunner::script,
     "opens the copy with --verify (never run from Terminal: permissions belong to each app), "
     "looks at it while it runs, and opens a second copy",
     launchFindings},
    {"system",
     "This Mac",
     StepRunner::app,
     "macOS, architecture, Codex's, Gaugely's and Sparkle's versions",
     {}},
    {"permissions", "Permissions", StepRunner::app,
     "Accessibility, the Input Monitoring preflight, notifications, the login item",
     permissionFindings},
    {"tree", "Codex's tree", StepRunner::app,
     "records Codex's tree (private text redacted) and compares its size with the budget",
     treeFindings},
    {"latency", "Accessibility latency", StepRunner::app,
     "times every call of the recording and of one inspection walk, per call kind",
     latencyFindings},
    {"projection",
     "Expected refresh",
     StepRunner::app,
     "plays a refresh against the simulated Codex, at the measured latency per round trip",
     {}},
    {"refresh", "One real refresh", StepRunner::app,
     "a manual refresh through the app's own reader, with its trace, round trips and menu dwell",
     refreshFindings},
    {"updates", "Updates", StepRunner::app,
     "probes, a tampered feed, an empty item and two installation cycles against the local feed",
     updateFindings},
    {"after-quit", "After the app quit", StepRunner::script,
     "checks that the app's bundle was not replaced on quit", afterQuitFindings},
};

}  // namespace

std::span<const VerificationStep> verificationPlan() {
    return plan;
}

const VerificationStep* stepOfFinding(std::string_view findingID) {
    for (const VerificationStep& step : plan) {
        for (const VerificationFinding& candidate : step.findings) {
            if (candidate.id == findingID) {
                return &step;
            }
        }
    }
    return nullptr;
}

const VerificationFinding* findVerificationFinding(std::string_view id) {
    if (const VerificationStep* step = stepOfFinding(id)) {
        for (const VerificationFinding& candidate : step->findings) {
            if (candidate.id == id) {
                return &candidate;
            }
        }
    }
    return nullptr;
}

}  // namespace gaugely
