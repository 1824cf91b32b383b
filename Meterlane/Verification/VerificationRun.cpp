#include "Meterlane/Verification/VerificationRun.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <numeric>

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "Meterlane/Simulation/RefreshProjection.h"
#include "Meterlane/Simulation/TreeRecording.h"
#include "Meterlane/Verification/TreeSurvey.h"
#include "Meterlane/Verification/VerificationPlan.h"

namespace gaugely {

namespace {

std::string milliseconds(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", seconds * 1000.0);
    return text;
}

std::string isoTime(Date date) {
    const auto seconds = static_cast<std::time_t>(std::floor(date.unixTime()));
    char text[32] = "";
    if (const std::tm* utc = std::gmtime(&seconds)) {
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", utc);
    }
    return text;
}

bool traceHas(const KeptRefreshTrace& trace, std::string_view text) {
    for (const std::string& line : trace.lines) {
        if (line.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::optional<std::variant<VerificationOptions, std::string>> verificationOptions(
    const std::vector<std::string>& arguments) {
    std::optional<VerificationOptions> options;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        const bool known =
            argument == "--verify" || argument == "--verify-plan" || argument == "--verify-stay";
        if (!known) {
            continue;
        }
        if (index + 1 >= arguments.size() || arguments[index + 1].empty()) {
            return argument + " needs a value";
        }
        const std::string& value = arguments[++index];
        if (!options) {
            options.emplace();
        }
        if (argument == "--verify") {
            options->outputFolder = value;
        } else if (argument == "--verify-plan") {
            const auto plan = fromRawValue<CodexPlan>(value);
            if (!plan) {
                return "unknown plan \"" + value + "\" (freeGo, plus or pro)";
            }
            options->plan = plan;
        } else {
            char* end = nullptr;
            const double seconds = std::strtod(value.c_str(), &end);
            if (end != value.c_str() + value.size() || !(seconds >= 0) || seconds > 600) {
                return "--verify-stay needs seconds from 0 to 600, not \"" + value + "\"";
            }
            options->stay = seconds;
        }
    }
    if (!options) {
        return std::nullopt;
    }
    if (options->outputFolder.empty()) {
        return std::string("--verify needs the folder the results go to");
    }
    return *options;
}

VerificationRun::VerificationRun(VerificationEnvironment environment, SystemFacts facts,
                                 VerificationOptions options,
                                 std::function<void(const VerificationResults&)> finished)
    : env_(std::move(environment)),
      options_(std::move(options)),
      finished_(std::move(finished)),
      alive_(std::make_shared<VerificationRun*>(this)) {
    readBundleFacts(env_.bundle, env_.homeFolder, facts);
    results_.system = std::move(facts);
    results_.createdAt = isoTime(env_.clock.now());
    // Every finding the app makes starts as not run, so one the run never reaches says so.
    for (const VerificationStep& step : verificationPlan()) {
        if (step.runner == StepRunner::app) {
            for (const VerificationFinding& finding : step.findings) {
                results_.findings[std::string(finding.id)] = {FindingStatus::notRun,
                                                              "the checks did not get this far"};
            }
        }
    }
}

VerificationRun::~VerificationRun() {
    *alive_ = nullptr;
    if (readerObserver_) {
        env_.reader.removeObserver(*readerObserver_);
    }
    refreshTimeout_.cancel();
}

void VerificationRun::start() {
    readPermissions();
}

void VerificationRun::next(void (VerificationRun::*step)()) {
    std::weak_ptr<VerificationRun*> alive = alive_;
    env_.mainQueue.post([alive, step] {
        if (const auto self = alive.lock(); self && *self) {
            ((*self)->*step)();
        }
    });
}

void VerificationRun::set(std::string_view finding, FindingStatus status, std::string detail) {
    results_.findings[std::string(finding)] = {status, std::move(detail)};
}

void VerificationRun::skip(std::initializer_list<std::string_view> findings,
                           const std::string& why) {
    for (const std::string_view finding : findings) {
        set(finding, FindingStatus::notRun, why);
    }
}

void VerificationRun::readPermissions() {
    std::weak_ptr<VerificationRun*> alive = alive_;
    readPermissionStates(
        {env_.accessibility, env_.input, env_.notifications, env_.loginItems, env_.mainQueue},
        [alive](PermissionStates states) {
            const auto self = alive.lock();
            if (!self || !*self) {
                return;
            }
            VerificationRun& run = **self;
            run.results_.permissions = states;
            const std::string preflight = states.inputMonitoring ? "granted" : "not granted";
            if (states.accessibility) {
                run.set(finding::inputMonitoringPreflight, FindingStatus::observed,
                        "with Accessibility granted, the preflight answers " + preflight);
            } else {
                run.set(finding::inputMonitoringPreflight, FindingStatus::notRun,
                        "Accessibility is not granted, so the preflight's answer (" + preflight +
                            ") says nothing about what that grant allows");
            }
            const bool known = states.loginItem != LoginItemService::Status::unknown;
            run.set(finding::loginItem, known ? FindingStatus::observed : FindingStatus::failed,
                    "SMAppService's status: " + std::string(rawValue(states.loginItem)));
            run.next(&VerificationRun::recordTree);
        });
}

void VerificationRun::recordTree() {
    const std::initializer_list<std::string_view> accessibilityFindings = {
        finding::treeRecorded,       finding::treeWithinBudget,     finding::treeWebContent,
        finding::treeAXURL,          finding::latencyMeasured,      finding::refreshCommitted,
        finding::refreshMenuSighted, finding::refreshMarkerIgnored, finding::refreshActivation};
    if (!results_.permissions || !results_.permissions->accessibility) {
        // Asking with the prompt lists this copy in System Settings, ready to be switched on.
        (void)env_.accessibility.isProcessTrusted(true);
        const std::string why =
            "Gaugely has no Accessibility permission (see Permissions; macOS has now listed this "
            "copy there), so Codex's tree cannot be read";
        skip(accessibilityFindings, why);
        results_.notes.push_back("The tree, the latency and the refresh did not run: " + why + ".");
        next(&VerificationRun::checkUpdates);
        return;
    }
    CodexElementSearch search(env_.accessibility, env_.workspace);
    codex_ = search.findCodexApplication();
    if (!codex_) {
        const std::string why = "Codex is not running; open it and run the verification again";
        skip(accessibilityFindings, why);
        results_.notes.push_back("The tree, the latency and the refresh did not run: " + why + ".");
        next(&VerificationRun::checkUpdates);
        return;
    }

    const std::size_t mark = env_.accessibility.mark();
    const TreeWhereabouts::URLAnswers urlsBefore = env_.whereabouts.urlAnswers();
    // With the messaging timeout the reader's own calls have.
    const AXElement application = search.applicationElement(*codex_);
    TreeRecordingOptions recordingOptions;
    recordingOptions.elementCap = options_.recordingCap;
    const TreeRecording recording =
        gaugely::recordTree(env_.accessibility, application, recordingOptions);
    TreeSurvey survey = surveyTree(recording.tree, recording.elements, recording.capped,
                                   static_cast<std::size_t>(CodexElementSearch::applicationBudget));
    if (env_.manualAccessibilityAnswer) {
        survey.manualAccessibilityAnswer =
            env_.manualAccessibilityAnswer(codex_->processIdentifier);
    }
    const TreeWhereabouts::URLAnswers urls = env_.whereabouts.urlAnswers();
    survey.axurlAnswered = urls.answered - urlsBefore.answered;
    survey.axurlKept = urls.text - urlsBefore.text;
    results_.treeFixture = recording.tree.toFixture();

    // One inspection walk as a refresh makes it, and one hit test, so every call kind a
    // refresh makes is timed.
    search.forgetReads();
    const RefreshMenuInspection inspection = search.profileMenuInspection(application);
    search.forgetReads();
    if (const AXElement control = search.profileMenuControl(application)) {
        if (const auto frame = search.frame(control)) {
            (void)env_.accessibility.elementAtPosition(application,
                                                       {frame->origin.x + frame->size.width / 2,
                                                        frame->origin.y + frame->size.height / 2});
        }
    }
    search.forgetReads();
    results_.latency = env_.accessibility.latencySince(mark);
    results_.roundTripLatency = env_.accessibility.roundTripLatencySince(mark);

    set(finding::treeRecorded,
        recording.elements > 1 ? FindingStatus::confirmed : FindingStatus::failed,
        std::to_string(recording.elements) + " elements recorded" +
            (recording.capped
                 ? " (stopped at the cap of " + std::to_string(options_.recordingCap) + ")"
                 : ""));
    set(finding::treeWithinBudget,
        survey.withinBudget() ? FindingStatus::confirmed : FindingStatus::failed,
        std::to_string(survey.elements) + (survey.capped ? " or more" : "") +
            " elements against a budget of " + std::to_string(survey.budget) +
            "; the inspection's traversal: " + std::string(rawValue(inspection.traversal)));
    const bool accepted = survey.manualAccessibilityAnswer == 0;
    const std::string answer =
        survey.manualAccessibilityAnswer
            ? (accepted ? "accepted"
                        : "answered error " + std::to_string(*survey.manualAccessibilityAnswer))
            : "unknown";
    const std::string content =
        std::to_string(survey.webContentElements) + " elements of web content under AXWebArea";
    // A web area with next to nothing under it is what Electron shows before it is asked.
    constexpr std::size_t populated = 20;
    if (survey.webContentElements >= populated) {
        set(finding::treeWebContent, accepted ? FindingStatus::confirmed : FindingStatus::observed,
            "AXManualAccessibility " + answer + "; " + content);
    } else {
        set(finding::treeWebContent, FindingStatus::failed,
            "AXManualAccessibility " + answer + "; only " + content);
    }
    set(finding::treeAXURL, FindingStatus::observed,
        std::to_string(survey.axurlAnswered) + " AXURL values answered, " +
            std::to_string(survey.axurlKept) + " kept as text by the recording, " +
            std::to_string(survey.axurlAnswered - survey.axurlKept) + " dropped (not text)");
    const LatencySummary& trips = *results_.roundTripLatency;
    set(finding::latencyMeasured,
        trips.calls > 0 ? FindingStatus::confirmed : FindingStatus::failed,
        std::to_string(trips.calls) + " round trips: median " + milliseconds(trips.median) +
            ", 95th percentile " + milliseconds(trips.p95) + ", slowest " +
            milliseconds(trips.max));
    results_.tree = std::move(survey);
    next(&VerificationRun::project);
}

void VerificationRun::project() {
    if (results_.roundTripLatency && results_.roundTripLatency->calls > 0 && results_.tree) {
        const CodexPlan plan = env_.reader.hasExplicitPlanSelection()
                                   ? env_.reader.codexPlan()
                                   : options_.plan.value_or(CodexPlan::plus);
        const std::size_t content = results_.tree->webContentElements > 0
                                        ? results_.tree->webContentElements
                                        : results_.tree->elements;
        results_.projections.push_back(
            {"median", projectManualRefresh(plan, results_.roundTripLatency->median, content)});
        results_.projections.push_back(
            {"95th percentile",
             projectManualRefresh(plan, results_.roundTripLatency->p95, content)});
    }
    busySince_ = env_.clock.monotonicSeconds();
    next(&VerificationRun::refresh);
}

void VerificationRun::refresh() {
    const std::initializer_list<std::string_view> refreshFindings = {
        finding::refreshCommitted, finding::refreshMenuSighted, finding::refreshMarkerIgnored,
        finding::refreshActivation};
    if (env_.reader.automationInProgress()) {
        // An automatic run started meanwhile; the real refresh waits for it.
        if (env_.clock.monotonicSeconds() - busySince_ > busyReaderWait) {
            skip(refreshFindings, "an automatic refresh did not end within a minute");
            next(&VerificationRun::checkUpdates);
            return;
        }
        busyRetry_ = env_.mainQueue.asyncAfter(1, [this] { refresh(); });
        return;
    }
    if (!env_.reader.hasExplicitPlanSelection()) {
        if (!options_.plan) {
            skip(refreshFindings,
                 "no Codex plan is chosen; run again with --plan freeGo, plus or pro");
            next(&VerificationRun::checkUpdates);
            return;
        }
        env_.reader.setCodexPlan(*options_.plan);
    }
    startRefresh();
}

void VerificationRun::startRefresh() {
    env_.whereabouts.forgetSightings();
    const auto front = env_.workspace.frontmostApplication();
    frontmostAtRequest_ =
        front ? front->bundleIdentifier.value_or("an app without identifier") : "no app";
    refreshMark_ = env_.accessibility.mark();
    refreshStart_ = env_.clock.monotonicSeconds();
    std::weak_ptr<VerificationRun*> alive = alive_;
    readerObserver_ = env_.reader.addObserver([alive] {
        const auto self = alive.lock();
        if (!self || !*self) {
            return;
        }
        VerificationRun& run = **self;
        if (run.readerObserver_ && !run.env_.reader.automationInProgress()) {
            run.env_.reader.removeObserver(*run.readerObserver_);
            run.readerObserver_.reset();
            run.next(&VerificationRun::refreshEnded);
        }
    });
    refreshTimeout_ = env_.mainQueue.asyncAfter(refreshTimeout, [alive] {
        if (const auto self = alive.lock(); self && *self && (*self)->readerObserver_) {
            VerificationRun& run = **self;
            run.env_.reader.removeObserver(*run.readerObserver_);
            run.readerObserver_.reset();
            run.results_.notes.push_back("The real refresh had not ended after " +
                                         std::to_string(static_cast<int>(refreshTimeout)) +
                                         " s; it is reported as it stood.");
            run.refreshEnded();
        }
    });
    env_.reader.beginReadCountdown(false);
    // A request refused at once starts no run and may publish nothing more.
    if (readerObserver_ && !env_.reader.automationInProgress()) {
        env_.reader.removeObserver(*readerObserver_);
        readerObserver_.reset();
        next(&VerificationRun::refreshEnded);
    }
}

void VerificationRun::refreshEnded() {
    refreshTimeout_.cancel();
    RefreshObservation observation;
    const auto& outcome = env_.reader.lastRefreshOutcome();
    observation.outcome =
        outcome ? outcome->logText(env_.reader.refreshCleanupResult()) : "no outcome";
    observation.committed = outcome && outcome->isCommitted();
    observation.roundTrips = env_.accessibility.roundTripsSince(refreshMark_);
    for (const TimedAccessibility::Sample& sample : env_.accessibility.samplesSince(refreshMark_)) {
        observation.accessibilitySeconds += sample.seconds;
    }
    observation.requestToEndSeconds = env_.clock.monotonicSeconds() - refreshStart_;
    if (!env_.traces.traces().empty()) {
        observation.trace = env_.traces.traces().back();
        observation.menuDwellMilliseconds = observation.trace->menuDwellMilliseconds;
    }
    observation.menuPlace = env_.whereabouts.profileMenu();

    const RefreshCleanupResult cleanup = env_.reader.refreshCleanupResult();
    set(finding::refreshCommitted,
        observation.committed && outcome->kind == RefreshRunOutcome::Kind::committed
            ? FindingStatus::confirmed
            : FindingStatus::failed,
        observation.outcome);

    const KeptRefreshTrace empty;
    const KeptRefreshTrace& trace = observation.trace ? *observation.trace : empty;
    const bool clicked = traceHas(trace, "Profile click issued");
    if (observation.menuPlace) {
        const TreePlace& place = *observation.menuPlace;
        set(finding::refreshMenuSighted, FindingStatus::confirmed,
            std::string(place.insideWebContent() ? "in the web content"
                                                 : "outside the web content") +
                ", " + std::to_string(place.roles.size()) + " levels down: " + place.text());
    } else {
        set(finding::refreshMenuSighted, clicked ? FindingStatus::failed : FindingStatus::notRun,
            clicked ? "the run clicked the profile control, but its searches never met the menu"
                    : "the refresh ended before it clicked (" + observation.outcome + ")");
    }

    const bool keysSent = traceHas(trace, "Return expansion action issued");
    if (!clicked) {
        set(finding::refreshMarkerIgnored, FindingStatus::notRun,
            "the refresh sent no click or key");
    } else if (env_.reader.inputMonitoringUnavailable()) {
        set(finding::refreshMarkerIgnored, FindingStatus::notRun,
            "the real-input guard could not watch (no Input Monitoring, or no tap), so the "
            "marker was not put to the test");
    } else if (cleanup == RefreshCleanupResult::closed) {
        set(finding::refreshMarkerIgnored, FindingStatus::confirmed,
            std::string("the run clicked") + (keysSent ? ", typed" : "") +
                " and then closed its own menu: the guard saw no unmarked event");
    } else {
        set(finding::refreshMarkerIgnored, FindingStatus::failed,
            "the run left its menu " + std::string(rawValue(cleanup)) +
                ": either the guard took the run's own events for real input, or the mouse or "
                "keyboard was used during the run; run again without touching either");
    }

    const int version = env_.workspace.operatingSystemMajorVersion();
    const std::string where = "macOS " + std::to_string(version) + ", requested while " +
                              frontmostAtRequest_.value_or("no app") + " was in front";
    if (traceHas(trace, "target app resolved")) {
        const bool ownActive = frontmostAtRequest_ == env_.bundle.bundleIdentifier();
        const bool codexActive = frontmostAtRequest_ == codexVocabulary::bundleIdentifier;
        set(finding::refreshActivation,
            ownActive || codexActive ? FindingStatus::observed : FindingStatus::confirmed,
            "Codex came forward (" + where + ")" +
                (ownActive     ? "; Gaugely itself was active, which is not the case to confirm"
                 : codexActive ? "; it was in front already, so it needed no activation"
                               : ""));
    } else if (traceHas(trace, "Codex did not become active.")) {
        set(finding::refreshActivation, FindingStatus::failed,
            "Codex did not become active (" + where + ")");
    } else {
        set(finding::refreshActivation, FindingStatus::notRun,
            "the refresh ended before activating Codex (" + observation.outcome + ")");
    }
    results_.refresh = std::move(observation);
    next(&VerificationRun::checkUpdates);
}

void VerificationRun::checkUpdates() {
    const std::initializer_list<std::string_view> updateFindings = {
        finding::updateFeedRead,          finding::updateSignatureVerified,
        finding::updateTamperedRefused,   finding::updateProbeSilent,
        finding::updateEmptyItemNoUpdate, finding::updateDismissRecordsNoSkip,
        finding::updateSkipAfterDownload};
    if (!env_.updates) {
        skip(updateFindings, "this build has no update framework");
        finish();
        return;
    }
    const auto settings = updateCheckSettings(env_.bundle);
    if (const auto* why = std::get_if<std::string>(&settings)) {
        skip(updateFindings, *why);
        finish();
        return;
    }
    std::weak_ptr<VerificationRun*> alive = alive_;
    updates_ = std::make_unique<UpdateCheckVerification>(
        *env_.updates, std::get<UpdateCheckSettings>(settings), [alive] {
            if (const auto self = alive.lock(); self && *self) {
                (*self)->next(&VerificationRun::finish);
            }
        });
    updates_->start();
}

void VerificationRun::finish() {
    if (updates_) {
        results_.updates = updates_->stages();
        for (auto& [id, result] : updates_->findings()) {
            results_.findings[id] = result;
        }
    }
    if (finished_) {
        finished_(results_);
    }
}

}  // namespace gaugely
