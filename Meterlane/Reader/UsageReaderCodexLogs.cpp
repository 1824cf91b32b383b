// Usage read from Codex's session logs. A log reading goes through the same commit as a menu
// reading (stored per plan, alerts, resets), with these differences: its time is its newest
// line's own timestamp (or a reset passed since); it is committed only when that is later than
// the stored reading's, or as late and showing more; it may lack a window the logs have not
// read (the others are still shown); a window whose reset time has passed with no newer line is
// shown as reset; and it never lands while a menu run is in progress (it waits for the run to
// end). What a look read is committed once the look is done. The history of readings, of both
// sources, is kept here too, for the pace estimate.
#include <string>
#include <utility>

#include "Meterlane/Reader/CodexLogProgress.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

namespace {

constexpr std::string_view codexLogsLogCategory = "codex-logs";

}  // namespace

void UsageReader::restoreCodexLogSettings() {
    Preferences& defaults = env_.preferences;
    if (const auto enabled = stored::flag(defaults, defaultsKey::readCodexLogsEnabled).value) {
        codexLogsEnabled_ = *enabled;
    }
    if (auto folder = stored::text(defaults, defaultsKey::codexLogsFolder).value) {
        codexLogsFolder_ = std::move(*folder);
    }
    if (auto sources =
            stored::record<UsageSnapshotSources>(defaults, defaultsKey::usageSnapshotSources)
                .value) {
        snapshotSources_ = std::move(*sources);
    }
}

void UsageReader::attachCodexLogs(CodexLogEnvironment environment) {
    codexLogEnvironment_.emplace(std::move(environment));
    const DocumentStore::ReadResult stored = codexLogEnvironment_->usageHistory.read();
    if (stored.bytes) {
        if (auto history = decodeJson<UsageHistory>(*stored.bytes)) {
            usageHistory_ = std::move(*history);
            usageHistory_.prune(env_.clock.now());
        } else {
            env_.log.write(logSubsystem, codexLogsLogCategory, LogLevel::error,
                           "Usage history could not be read; starting a new one");
        }
    }
    startCodexLogSource();
}

std::string UsageReader::codexLogsFolderPath() const {
    return expandedCodexFolder(codexLogsFolder_,
                               codexLogEnvironment_ ? codexLogEnvironment_->homeFolder : "");
}

void UsageReader::setCodexLogsEnabled(bool enabled) {
    if (enabled == codexLogsEnabled_) {
        return;
    }
    publish(codexLogsEnabled_, enabled);
    env_.preferences.setBool(defaultsKey::readCodexLogsEnabled, enabled);
    if (!enabled) {
        codexLogReadings_ = CodexLogReadings{};
        codexLogReadingsWaiting_ = false;
    }
    startCodexLogSource();
}

void UsageReader::setCodexLogsFolder(std::string folder) {
    if (folder.empty()) {
        folder = defaultCodexFolder;
    }
    if (folder == codexLogsFolder_) {
        return;
    }
    publish(codexLogsFolder_, std::move(folder));
    if (codexLogsFolder_ == defaultCodexFolder) {
        env_.preferences.remove(defaultsKey::codexLogsFolder);
    } else {
        env_.preferences.setString(defaultsKey::codexLogsFolder, codexLogsFolder_);
    }
    // Lines of another folder say nothing about this one.
    codexLogReadings_ = CodexLogReadings{};
    startCodexLogSource();
}

void UsageReader::startCodexLogSource() {
    codexLogSource_.reset();
    publish(codexLogsState_, CodexLogsState{});
    if (!codexLogsEnabled_ || !codexLogEnvironment_) {
        return;
    }
    codexLogSource_ = std::make_unique<CodexLogSource>(
        codexLogEnvironment_->fileSystem, env_.mainQueue, codexLogsFolderPath(),
        [this](const CodexLogLineDecoding& decoding) { return takeCodexLogLine(decoding); },
        [this] { codexLogSourceLooked(); });
    resumeCodexLogProgress();
    codexLogSource_->start();
}

void UsageReader::resumeCodexLogProgress() {
    savedCodexLogProgress_.reset();
    if (!codexLogEnvironment_->keepsProgress) {
        return;
    }
    const auto bytes = env_.preferences.dataValue(defaultsKey::codexLogsProgress);
    if (!bytes) {
        return;
    }
    // Taken whole or not at all: a record that does not read, or was read from another folder,
    // leaves a first look to search the logs as if there were none (and is replaced after it).
    auto progress = CodexLogProgress::decode(*bytes);
    if (!progress) {
        env_.log.write(logSubsystem, codexLogsLogCategory, LogLevel::error,
                       "How far Codex's logs were read could not be read; reading them afresh");
        return;
    }
    if (progress->codexFolder != codexLogsFolderPath()) {
        return;
    }
    codexLogSource_->resume(progress->source, [this] { codexLogReadings_ = CodexLogReadings{}; });
    codexLogReadings_ = progress->readings;
    savedCodexLogProgress_ = std::move(progress);
}

void UsageReader::saveCodexLogProgress() {
    // A look that could not list the sessions folder learnt nothing to replace the record with.
    if (!codexLogEnvironment_->keepsProgress ||
        codexLogSource_->follower().status().folderProblem != FileProblem::none) {
        return;
    }
    // Compared as values: a look that learnt nothing, the common case for a status line, then
    // costs no encoding at all.
    CodexLogProgress progress{codexLogsFolderPath(), codexLogSource_->memory(), codexLogReadings_};
    if (progress != savedCodexLogProgress_) {
        env_.preferences.setData(defaultsKey::codexLogsProgress, progress.encoded());
        savedCodexLogProgress_ = std::move(progress);
    }
}

std::optional<CodexLogFollowerStatistics> UsageReader::codexLogStatistics() const {
    if (!codexLogSource_) {
        return std::nullopt;
    }
    return codexLogSource_->follower().statistics();
}

void UsageReader::codexLogSourceLooked() {
    if (!codexLogSource_) {
        return;
    }
    CodexLogsState state = codexLogSource_->state();
    state.refusal = codexLogsState_.refusal;
    state.logsPlanType = codexLogReadings_.planType();
    publish(codexLogsState_, std::move(state));
    if (!codexLogReadings_.isEmpty()) {
        commitCodexLogReadings();
    }
    saveCodexLogProgress();
}

std::optional<Date> UsageReader::takeCodexLogLine(const CodexLogLineDecoding& decoding) {
    switch (decoding.kind) {
        case CodexLogLineKind::usage:
            codexLogReadings_.take(*decoding.usage);
            break;
        case CodexLogLineKind::tooOld:
            codexLogReadings_.takeTooOld(*decoding.timestamp);
            break;
        case CodexLogLineKind::withoutRateLimits:
            codexLogReadings_.takeWithoutRateLimits(*decoding.timestamp);
            break;
        case CodexLogLineKind::unrelated:
        case CodexLogLineKind::unrecognised:
            break;
    }
    return codexLogReadings_.settled() ? codexLogReadings_.newestLineAt() : std::nullopt;
}

void UsageReader::receiveCodexLogLine(const CodexLogUsageLine& line) {
    if (!codexLogsEnabled_) {
        return;
    }
    codexLogReadings_.take(line);
    commitCodexLogReadings();
}

void UsageReader::commitCodexLogReadings() {
    if (!codexLogsEnabled_ || !codexLogEnvironment_) {
        return;
    }
    if (activeRun_) {
        codexLogReadingsWaiting_ = true;
        return;
    }
    codexLogReadingsWaiting_ = false;
    if (!hasExplicitPlanSelection()) {
        // The plan the logs show is taken as the user's choice; choosing it commits again. A
        // plan we have no windows for waits for the user's.
        const auto& planType = codexLogReadings_.planType();
        if (const auto plan = planType ? codexPlanForLogPlanType(*planType) : std::nullopt) {
            setCodexPlan(*plan);
        } else if (planType) {
            CodexLogsState state = codexLogsState_;
            state.refusal = CodexLogRefusal::unknownPlan;
            state.logsPlanType = planType;
            publish(codexLogsState_, std::move(state));
        }
        return;
    }
    const CodexPlan plan = codexPlan();
    const Date now = env_.clock.now();
    const TimeFormatter& formatter = codexLogEnvironment_->timeFormatter;
    const CodexLogSnapshotResult result = codexLogSnapshot(
        plan, codexLogReadings_, now, [&formatter](Date date, std::string_view pattern) {
            return formatter.format(date, pattern, resetTextLocale, "").value_or("");
        });
    wakeForCodexLogChange();
    const std::string newestAt = formatter
                                     .format(codexLogReadings_.newestLineAt().value_or(now),
                                             "yyyy-MM-dd'T'HH:mm:ss'Z'", "en_US_POSIX", "UTC")
                                     .value_or("?");
    if (!result.reading) {
        if (codexLogsState_.refusal != result.refusal) {
            env_.log.write(logSubsystem, codexLogsLogCategory, LogLevel::info,
                           "Reading of " + newestAt + " from Codex's logs not committed \u2014 " +
                               std::string(rawValue(*result.refusal)));
        }
        CodexLogsState state = codexLogsState_;
        state.refusal = result.refusal;
        state.logsPlanType = codexLogReadings_.planType();
        publish(codexLogsState_, std::move(state));
        return;
    }
    if (codexLogsState_.refusal || codexLogsState_.logsPlanType != codexLogReadings_.planType()) {
        CodexLogsState state = codexLogsState_;
        state.refusal.reset();
        state.logsPlanType = codexLogReadings_.planType();
        publish(codexLogsState_, std::move(state));
    }
    const CodexLogSnapshot& reading = *result.reading;
    const auto stored = persistedPlanSnapshots_.snapshot(plan);
    if (stored) {
        // As late as the stored reading, it is committed only when it shows more of the same
        // logs: a window an older line filled in, a reset that passed.
        const bool sameLogsShowingMore =
            reading.readAt == stored->lastUpdated && snapshotSource() == UsageSource::codexLogs &&
            (reading.snapshot != stored->snapshot || reading.passedResets != codexLogPassedResets_);
        if (reading.readAt < stored->lastUpdated ||
            (reading.readAt == stored->lastUpdated && !sameLogsShowingMore)) {
            return;
        }
    }
    const std::string readAt =
        formatter.format(reading.readAt, "yyyy-MM-dd'T'HH:mm:ss'Z'", "en_US_POSIX", "UTC")
            .value_or("?");
    // Before anything is published, so observers see the pace that goes with the reading.
    recordUsageHistory(reading.remainingPercent, reading.resetsAt, reading.readAt);
    // The source first: whether a reading lacking a window can be shown depends on it.
    storeSnapshotSource(UsageSource::codexLogs);
    publish(codexLogPassedResets_, reading.passedResets);
    publish(snapshot_, reading.snapshot);
    publish(activeSnapshotPlan_, std::optional<CodexPlan>(plan));
    publish(lastUpdated_, std::optional<Date>(reading.readAt));
    planSynchronization_.markFreshSnapshotCommitted();
    env_.log.write(logSubsystem, refreshLogCategory, LogLevel::info,
                   "Reading of " + readAt + " from " +
                       std::string(sourceTitle(UsageSource::codexLogs)) +
                       " validated and committed for " + std::string(rawValue(plan)));
    snapshotCommitted(reading.readAt, UsageSource::codexLogs);
}

void UsageReader::wakeForCodexLogChange() {
    codexLogWake_.cancel();
    const Date now = env_.clock.now();
    const std::optional<Date> next = codexLogReadings_.nextChangeAfter(now);
    if (!next) {
        return;
    }
    codexLogWake_ = env_.mainQueue.asyncAfter(next->timeIntervalSince(now),
                                              [this] { commitCodexLogReadings(); });
}

void UsageReader::storeSnapshotSource(UsageSource source) {
    const CodexPlan plan = codexPlan();
    if (snapshotSources_.source(plan) == source && snapshotSources_.sources.contains(plan)) {
        return;
    }
    UsageSnapshotSources sources = snapshotSources_;
    sources.store(plan, source);
    publish(snapshotSources_, std::move(sources));
    env_.preferences.setData(defaultsKey::usageSnapshotSources, encodeJson(snapshotSources_));
}

void UsageReader::recordUsageHistory(const std::map<QuotaWindow, double>& remaining,
                                     const std::map<QuotaWindow, Date>& resetsAt, Date at) {
    if (!codexLogEnvironment_) {
        return;
    }
    bool changed = false;
    for (const auto& [window, percent] : remaining) {
        const auto reset = resetsAt.find(window);
        changed |= usageHistory_.record(
            codexPlan(), window,
            UsageHistoryPoint{
                at, percent,
                reset == resetsAt.end() ? std::nullopt : std::optional<Date>(reset->second)});
    }
    if (changed && !codexLogEnvironment_->usageHistory.replace(encodeJson(usageHistory_))) {
        env_.log.write(logSubsystem, codexLogsLogCategory, LogLevel::error,
                       "Usage history could not be saved");
    }
}

bool UsageReader::isDisplayableSnapshot(const UsageSnapshot& snapshot, CodexPlan plan) const {
    if (snapshotSources_.source(plan) == UsageSource::codexLogs) {
        return isDisplayableLogSnapshot(snapshot, plan);
    }
    return isCompleteUsageSnapshot(snapshot, PlanQuotaConfiguration::configuration(plan).schema);
}

bool UsageReader::codexLogsAreCurrent() const {
    if (!codexLogSource_ || !lastUpdated_ || activeSnapshotPlan_ != codexPlan() ||
        snapshotSource() != UsageSource::codexLogs) {
        return false;
    }
    return env_.clock.now().timeIntervalSince(*lastUpdated_) < timeInterval(refreshFrequency_);
}

std::optional<Date> UsageReader::windowResetsAt(QuotaWindow window) const {
    const auto& points = usageHistory_.points(codexPlan(), window);
    for (auto point = points.rbegin(); point != points.rend(); ++point) {
        if (point->resetsAt) {
            return point->resetsAt;
        }
    }
    return std::nullopt;
}

UsagePaceEstimate UsageReader::usagePace(QuotaWindow window) const {
    const auto resetsAt = windowResetsAt(window);
    if (!resetsAt) {
        return {};
    }
    return estimateUsagePace(usageHistory_.currentWindowPoints(codexPlan(), window, *resetsAt),
                             *resetsAt, env_.clock.now());
}

}  // namespace gaugely
