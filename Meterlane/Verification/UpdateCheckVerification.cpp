#include "Meterlane/Verification/UpdateCheckVerification.h"

#include <algorithm>

#include "Meterlane/Verification/VerificationPlan.h"
#include "ProductionUpdateSupport/ProductionUpdaterConfiguration.h"
#include "ProductionUpdateSupport/ProductionUpdaterRuntime.h"

namespace gaugely {

namespace {

constexpr std::string_view feedFile = "appcast.xml";
constexpr std::string_view tamperedFeedFile = "tampered-appcast.xml";

// "http://127.0.0.1:8000" of "http://127.0.0.1:8000/updates/gaugely/appcast.xml", when the host
// is this machine's loopback address.
std::optional<std::string> loopbackOrigin(std::string_view url) {
    std::string_view rest = url;
    std::string_view scheme;
    for (const std::string_view candidate : {"http://", "https://"}) {
        if (rest.starts_with(candidate)) {
            scheme = candidate;
        }
    }
    if (scheme.empty()) {
        return std::nullopt;
    }
    rest.remove_prefix(scheme.size());
    const std::size_t pathStart = rest.find('/');
    const std::string_view authority = rest.substr(0, pathStart);
    const std::string_view host = authority.starts_with("[")
                                      ? authority.substr(0, authority.find(']') + 1)
                                      : authority.substr(0, authority.find(':'));
    if (host != "127.0.0.1" && host != "localhost" && host != "[::1]") {
        return std::nullopt;
    }
    return std::string(scheme) + std::string(authority);
}

std::string describeError(const std::optional<UpdateFrameworkError>& error) {
    if (!error) {
        return "";
    }
    return error->domain + " " + std::to_string(error->code) +
           (error->description.empty() ? "" : " (" + error->description + ")");
}

}  // namespace

std::string describe(const UpdateFrameworkEvent& event) {
    std::string text(rawValue(event.kind));
    if (event.build) {
        text += " build " + *event.build;
    }
    if (event.stage) {
        text += " at " + std::string(rawValue(*event.stage));
    }
    if (event.reply) {
        text += " " + std::string(rawValue(*event.reply));
    }
    if (event.items) {
        text += " " + std::to_string(*event.items) + (*event.items == 1 ? " item" : " items");
        text += event.chosen ? ", chose #" + std::to_string(*event.chosen + 1) : ", chose none";
    }
    if (event.signature) {
        text += ", signature " + std::string(rawValue(*event.signature));
    }
    if (event.error) {
        text += ": " + describeError(event.error);
    }
    return text;
}

std::variant<UpdateCheckSettings, std::string> updateCheckSettings(
    const BundleInformation& bundle) {
    const auto domain = bundle.stringValue("SUDefaultsDomain");
    if (!domain || domain->empty()) {
        return std::string(
            "the bundle names no SUDefaultsDomain: the update checks run only in the "
            "non-production copy `make mac-verify` builds, so the app's own update records are "
            "never touched");
    }
    if (*domain == bundle.bundleIdentifier().value_or("") ||
        *domain == ProductionUpdaterRuntime::defaultsSuiteName) {
        return "SUDefaultsDomain is " + *domain + ", a domain of the app's own";
    }
    const auto feed = bundle.stringValue("SUFeedURL");
    const auto origin = feed ? loopbackOrigin(*feed) : std::nullopt;
    if (!origin || !feed->ends_with("/" + std::string(feedFile))) {
        return "SUFeedURL (" + feed.value_or("none") +
               ") is not an appcast.xml on the loopback address";
    }
    const auto key = bundle.stringValue("SUPublicEDKey");
    if (!key || !isBase64OfLength(*key, 32)) {
        return std::string("SUPublicEDKey is not an Ed25519 public key");
    }
    if (*key == ProductionUpdaterConfiguration::publicVerificationKey) {
        return std::string(
            "SUPublicEDKey is the production key; the local feed is signed with a throw-away "
            "one");
    }
    if (bundle.boolValue("SURequireSignedFeed") != true) {
        return std::string("SURequireSignedFeed is not set, so a feed's signature is not checked");
    }
    UpdateCheckSettings settings;
    settings.feedURL = *feed;
    settings.tamperedFeedURL =
        feed->substr(0, feed->size() - feedFile.size()) + std::string(tamperedFeedFile);
    settings.defaultsDomain = *domain;
    return settings;
}

UpdateCheckVerification::UpdateCheckVerification(UpdateCheckPorts ports,
                                                 UpdateCheckSettings settings,
                                                 std::function<void()> finished)
    : ports_(std::move(ports)),
      settings_(std::move(settings)),
      finished_(std::move(finished)),
      alive_(std::make_shared<UpdateCheckVerification*>(this)) {}

UpdateCheckVerification::~UpdateCheckVerification() {
    *alive_ = nullptr;
    if (started_ && stage_ != Stage::done && ports_.setObserver) {
        ports_.setObserver(nullptr);
    }
    timeout_.cancel();
}

void UpdateCheckVerification::start() {
    if (started_) {
        return;
    }
    started_ = true;
    // A build skipped by an earlier run would hide the feed's item from every probe.
    for (const std::string_view key : skippedBuildKeys) {
        ports_.frameworkDefaults.remove(key);
    }
    ports_.frameworkDefaults.synchronize();
    if (ports_.setObserver) {
        ports_.setObserver(this);
    }
    ports_.framework.start(*this);
    begin(Stage::probeSigned);
}

std::string UpdateCheckVerification::id(Stage stage) {
    switch (stage) {
        case Stage::probeSigned:
            return "probe-signed";
        case Stage::probeTampered:
            return "probe-tampered";
        case Stage::emptyItem:
            return "empty-item";
        case Stage::dismissBeforeDownload:
            return "dismiss-before-download";
        case Stage::probeAfterDismiss:
            return "probe-after-dismiss";
        case Stage::skipAfterDownload:
            return "skip-after-download";
        case Stage::done:
            break;
    }
    return "done";
}

std::string UpdateCheckVerification::title(Stage stage) {
    switch (stage) {
        case Stage::probeSigned:
            return "Information-only probe of the signed feed";
        case Stage::probeTampered:
            return "Probe of the tampered feed";
        case Stage::emptyItem:
            return "Probe answered with an empty item";
        case Stage::dismissBeforeDownload:
            return "Check approving another build (dismiss before download)";
        case Stage::probeAfterDismiss:
            return "Probe after the dismissal";
        case Stage::skipAfterDownload:
            return "Check approving the feed's build, approval withdrawn after download";
        case Stage::done:
            break;
    }
    return "";
}

void UpdateCheckVerification::begin(Stage stage) {
    stage_ = stage;
    between_ = false;
    current_ = Seen{};
    if (stage == Stage::done) {
        if (ports_.setObserver) {
            ports_.setObserver(nullptr);
        }
        if (finished_) {
            finished_();
        }
        return;
    }
    if (stage == Stage::skipAfterDownload && !feedBuild_) {
        end("not run: the feed's build is unknown, since the first probe found no update");
        return;
    }
    std::weak_ptr<UpdateCheckVerification*> alive = alive_;
    timeout_ = ports_.mainQueue.asyncAfter(stageTimeout, [alive] {
        if (const auto self = alive.lock(); self && *self) {
            (*self)->current_.timedOut = true;
            (*self)->end("timed out: the framework ended no cycle within " +
                         std::to_string(static_cast<int>(stageTimeout)) + " s");
        }
    });
    switch (stage) {
        case Stage::dismissBeforeDownload:
            // A build the feed does not offer: whatever the framework finds is not approved.
            ports_.framework.installApprovedBuild("0");
            break;
        case Stage::skipAfterDownload:
            ports_.framework.installApprovedBuild(*feedBuild_);
            break;
        default:
            ports_.framework.probe();
            break;
    }
}

void UpdateCheckVerification::end(std::string outcome) {
    if (stage_ == Stage::done || between_) {
        return;
    }
    between_ = true;
    timeout_.cancel();
    if (stage_ == Stage::dismissBeforeDownload) {
        skipRecordedAfterDismiss_ = anySkipRecorded();
    }
    if (stage_ == Stage::probeSigned && current_.found) {
        feedBuild_ = current_.found->candidate.build;
    }
    std::vector<std::string> events;
    for (const UpdateFrameworkEvent& event : current_.events) {
        events.push_back(describe(event));
    }
    results_.push_back({id(stage_), title(stage_), std::move(events), std::move(outcome)});
    history_.emplace_back(stage_, std::move(current_));
    current_ = Seen{};
    // The next stage starts from the queue, never inside the framework's own callback.
    const auto next = static_cast<Stage>(static_cast<int>(stage_) + 1);
    std::weak_ptr<UpdateCheckVerification*> alive = alive_;
    ports_.mainQueue.post([alive, next] {
        if (const auto self = alive.lock(); self && *self) {
            (*self)->begin(next);
        }
    });
}

bool UpdateCheckVerification::anySkipRecorded() {
    ports_.frameworkDefaults.synchronize();
    return std::any_of(
        std::begin(skippedBuildKeys), std::end(skippedBuildKeys),
        [&](std::string_view key) { return ports_.frameworkDefaults.hasObject(key); });
}

std::string UpdateCheckVerification::feedURL() {
    return stage_ == Stage::probeTampered && !between_ ? settings_.tamperedFeedURL
                                                       : settings_.feedURL;
}

std::optional<std::size_t> UpdateCheckVerification::chooseItem(
    const std::vector<UpdateCandidate>& items) {
    if (between_) {
        return std::nullopt;
    }
    current_.items = items.size();
    if (stage_ == Stage::emptyItem) {
        return std::nullopt;
    }
    // Only archives on the same server; the newest of them.
    const std::string origin = loopbackOrigin(settings_.feedURL).value_or("") + "/";
    return chooseFeedItem(
        items,
        [&origin](const UpdateCandidate& item) {
            return !item.informational && item.download && item.download->starts_with(origin);
        },
        std::nullopt);
}

void UpdateCheckVerification::didFindUpdate(const FoundUpdate& update) {
    if (!between_) {
        current_.found = update;
    }
}

void UpdateCheckVerification::didNotFindUpdate() {
    if (!between_) {
        current_.noUpdate = true;
    }
}

void UpdateCheckVerification::willRelaunch() {
    if (!between_) {
        current_.events.push_back(
            UpdateFrameworkEvent::of(UpdateFrameworkEvent::Kind::relaunching));
    }
}

void UpdateCheckVerification::didFinishCycle(bool failed) {
    if (between_) {
        return;
    }
    current_.cycleFailed = failed;
    end(outcomeOf(current_));
}

void UpdateCheckVerification::frameworkEvent(const UpdateFrameworkEvent& event) {
    if (between_ || stage_ == Stage::done) {
        return;
    }
    current_.events.push_back(event);
    if (stage_ == Stage::skipAfterDownload &&
        event.kind == UpdateFrameworkEvent::Kind::askedReadyToInstall && ports_.withdrawApproval) {
        // The user never approved installing now: what the framework does with a downloaded,
        // unapproved update is the question.
        ports_.withdrawApproval();
    }
}

std::string UpdateCheckVerification::outcomeOf(const Seen& seen) const {
    std::string outcome;
    if (seen.found) {
        outcome = "update found: build " + seen.found->candidate.build;
    } else if (seen.noUpdate) {
        outcome = "no update";
    } else {
        outcome = "nothing found";
    }
    if (seen.cycleFailed) {
        outcome += *seen.cycleFailed ? "; the cycle failed" : "; the cycle ended";
    }
    for (const UpdateFrameworkEvent& event : seen.events) {
        if (event.error && (event.kind == UpdateFrameworkEvent::Kind::aborted ||
                            event.kind == UpdateFrameworkEvent::Kind::cycleFinished ||
                            event.kind == UpdateFrameworkEvent::Kind::downloadFailed)) {
            outcome += " (" + describeError(event.error) + ")";
            break;
        }
    }
    return outcome;
}

const UpdateCheckVerification::Seen* UpdateCheckVerification::seen(Stage stage) const {
    for (const auto& [ended, seen] : history_) {
        if (ended == stage) {
            return &seen;
        }
    }
    return nullptr;
}

namespace {

bool has(const std::vector<UpdateFrameworkEvent>& events, UpdateFrameworkEvent::Kind kind) {
    return std::any_of(events.begin(), events.end(),
                       [kind](const UpdateFrameworkEvent& event) { return event.kind == kind; });
}

const UpdateFrameworkEvent* first(const std::vector<UpdateFrameworkEvent>& events,
                                  UpdateFrameworkEvent::Kind kind) {
    const auto found = std::find_if(events.begin(), events.end(),
                                    [kind](const auto& event) { return event.kind == kind; });
    return found == events.end() ? nullptr : &*found;
}

// The replies the driver gave, in order.
std::vector<UpdateReply> replies(const std::vector<UpdateFrameworkEvent>& events) {
    std::vector<UpdateReply> result;
    for (const UpdateFrameworkEvent& event : events) {
        if (event.kind == UpdateFrameworkEvent::Kind::replied && event.reply) {
            result.push_back(*event.reply);
        }
    }
    return result;
}

FindingResult notRun(const std::string& why) {
    return {FindingStatus::notRun, why};
}

}  // namespace

Findings UpdateCheckVerification::findings() const {
    using Kind = UpdateFrameworkEvent::Kind;
    Findings result;
    const std::string unreached = "the checks did not get this far";
    for (const std::string_view id :
         {finding::updateFeedRead, finding::updateSignatureVerified, finding::updateTamperedRefused,
          finding::updateProbeSilent, finding::updateEmptyItemNoUpdate,
          finding::updateDismissRecordsNoSkip, finding::updateSkipAfterDownload}) {
        result[std::string(id)] = notRun(unreached);
    }

    if (const Seen* probe = seen(Stage::probeSigned)) {
        const std::string items = probe->items ? std::to_string(*probe->items) : "no";
        if (probe->found) {
            result[std::string(finding::updateFeedRead)] = {
                FindingStatus::confirmed,
                items + " item(s) read; build " + probe->found->candidate.build + " offered"};
        } else {
            result[std::string(finding::updateFeedRead)] = {
                FindingStatus::failed, "no update from the signed feed: " + outcomeOf(*probe)};
        }
        const UpdateFrameworkEvent* offered = first(probe->events, Kind::itemsOffered);
        if (!offered) {
            result[std::string(finding::updateSignatureVerified)] = {
                FindingStatus::failed, "the feed's items never reached the delegate"};
        } else if (!offered->signature) {
            result[std::string(finding::updateSignatureVerified)] = {
                FindingStatus::observed,
                "this Sparkle does not report a feed's signature status (it arrived in 2.9); the "
                "feed was read with SURequireSignedFeed set"};
        } else if (*offered->signature == UpdateFrameworkEvent::Signature::valid) {
            result[std::string(finding::updateSignatureVerified)] = {FindingStatus::confirmed,
                                                                     "signature status: valid"};
        } else {
            result[std::string(finding::updateSignatureVerified)] = {
                FindingStatus::failed,
                "signature status: " + std::string(rawValue(*offered->signature))};
        }
        const bool asked = has(probe->events, Kind::askedUpdateFound);
        result[std::string(finding::updateProbeSilent)] =
            probe->found && !asked
                ? FindingResult{FindingStatus::confirmed,
                                "the probe found build " + probe->found->candidate.build +
                                    " and the user driver was never asked"}
                : FindingResult{asked ? FindingStatus::failed : FindingStatus::notRun,
                                asked ? "the user driver was asked about the update during an "
                                        "information-only probe"
                                      : "the probe found no update to be silent about"};
    }

    if (const Seen* tampered = seen(Stage::probeTampered)) {
        const UpdateFrameworkEvent* offered = first(tampered->events, Kind::itemsOffered);
        const bool judgedInvalid = offered && offered->signature &&
                                   *offered->signature == UpdateFrameworkEvent::Signature::invalid;
        if (tampered->found) {
            result[std::string(finding::updateTamperedRefused)] = {
                FindingStatus::failed, "the tampered feed offered build " +
                                           tampered->found->candidate.build + ": " +
                                           outcomeOf(*tampered)};
        } else if (tampered->cycleFailed == true || judgedInvalid) {
            result[std::string(finding::updateTamperedRefused)] = {FindingStatus::confirmed,
                                                                   outcomeOf(*tampered)};
        } else {
            result[std::string(finding::updateTamperedRefused)] = {
                FindingStatus::failed,
                "no update, but the framework gave no error for the tampered feed: " +
                    outcomeOf(*tampered)};
        }
    }

    if (const Seen* empty = seen(Stage::emptyItem)) {
        const bool holds = !empty->found && empty->noUpdate && empty->cycleFailed == false;
        result[std::string(finding::updateEmptyItemNoUpdate)] = {
            holds ? FindingStatus::confirmed : FindingStatus::failed, outcomeOf(*empty)};
    }

    if (const Seen* dismissed = seen(Stage::dismissBeforeDownload)) {
        const UpdateFrameworkEvent* asked = first(dismissed->events, Kind::askedUpdateFound);
        const std::vector<UpdateReply> given = replies(dismissed->events);
        const Seen* again = seen(Stage::probeAfterDismiss);
        std::string detail;
        FindingStatus status = FindingStatus::confirmed;
        if (!asked || asked->stage != UpdateFoundStage::notDownloaded || given.empty() ||
            given.front() != UpdateReply::dismiss) {
            status = FindingStatus::failed;
            detail = "the driver was not asked before download, or did not dismiss: " +
                     outcomeOf(*dismissed);
        } else if (skipRecordedAfterDismiss_ == true) {
            status = FindingStatus::failed;
            detail = "after the dismissal the framework's defaults hold a skipped build";
        } else if (!again || !again->found) {
            status = FindingStatus::failed;
            detail = "the probe after the dismissal found no update";
        } else {
            detail =
                "dismissed at notDownloaded; nothing recorded as skipped; the next probe "
                "found build " +
                again->found->candidate.build + " again";
        }
        result[std::string(finding::updateDismissRecordsNoSkip)] = {status, detail};
    }

    if (const Seen* skipped = seen(Stage::skipAfterDownload)) {
        const std::vector<UpdateReply> given = replies(skipped->events);
        const bool askedAfterDownload =
            has(skipped->events, Kind::askedReadyToInstall) ||
            std::any_of(skipped->events.begin(), skipped->events.end(), [](const auto& event) {
                return event.kind == Kind::askedUpdateFound &&
                       event.stage != UpdateFoundStage::notDownloaded;
            });
        const bool installing =
            has(skipped->events, Kind::willInstall) || has(skipped->events, Kind::relaunching);
        if (!askedAfterDownload) {
            result[std::string(finding::updateSkipAfterDownload)] = {
                FindingStatus::failed,
                "the framework never asked about a downloaded update: " + outcomeOf(*skipped)};
        } else if (installing || given.empty() || given.back() != UpdateReply::skip) {
            result[std::string(finding::updateSkipAfterDownload)] = {
                FindingStatus::failed,
                "after the download the reply was not skip, or an installation began"};
        } else {
            result[std::string(finding::updateSkipAfterDownload)] = {
                FindingStatus::confirmed,
                has(skipped->events, Kind::willInstallOnQuit)
                    ? "replied skip; the framework still announced an installation on quit"
                    : "replied skip after the download; no installation began"};
        }
    }
    return result;
}

}  // namespace gaugely
