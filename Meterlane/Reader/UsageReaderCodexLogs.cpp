// Usage read from Codex's session logs. A log reading is committed by the ledger like a menu
// reading (stored per plan, history, alerts, resets), with these differences: its time is its
// newest line's own timestamp (or a reset passed since); the ledger takes it only when that is
// later than the stored reading's, or as late and showing more; it may lack a window the logs
// have not read (the others are still shown); a window whose reset time has passed with no newer
// line is shown as reset; and it never lands while a menu run is in progress (it waits for the
// run to end). What a look read is committed once the look is done.
#include <string>
#include <utility>

#include "Meterlane/Reader/CodexLogProgress.h"
#include "Meterlane/Reader/UsageReader.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

namespace {

constexpr std::string_view codexLogsLogCategory = "codex-logs";

}  // namespace

void UsageReader::attachCodexLogs(CodexLogEnvironment environment) {
    auto changes = changeSet();
    codexLogEnvironment_.emplace(std::move(environment));
    ledger_.keepHistory(codexLogEnvironment_->usageHistory, env_.clock.now());
    startCodexLogSource();
}

std::string UsageReader::codexLogsFolderPath() const {
    return expandedCodexFolder(codexLogsFolder(),
                               codexLogEnvironment_ ? codexLogEnvironment_->homeFolder : "");
}

void UsageReader::startCodexLogSource() {
    codexLogSource_.reset();
    publish(codexLogsState_, CodexLogsState{});
    if (!codexLogsEnabled() || !codexLogEnvironment_) {
        return;
    }
    codexLogSource_ = std::make_unique<CodexLogSource>(
        codexLogEnvironment_->fileSystem, runQueue_, codexLogsFolderPath(),
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
    auto changes = changeSet();
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
    if (!codexLogsEnabled()) {
        return;
    }
    codexLogReadings_.take(line);
    commitCodexLogReadings();
}

void UsageReader::commitCodexLogReadings() {
    if (!codexLogsEnabled() || !codexLogEnvironment_) {
        return;
    }
    auto changes = changeSet();
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
    // Judged first without reset texts: opening a date formatter is most of what a status line's
    // run costs, and most looks learn nothing the ledger would take.
    const CodexLogSnapshotResult result = codexLogSnapshot(
        plan, codexLogReadings_, now, [](Date, std::string_view) { return std::string(); });
    wakeForCodexLogChange();
    if (!result.reading) {
        if (codexLogsState_.refusal != result.refusal) {
            const std::string newestAt =
                formattedLogTime(codexLogReadings_.newestLineAt().value_or(now));
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
    // One older than the reading shown is simply not taken: the logs said nothing new.
    if (!ledger_.accepts(UsageReading::fromLogs(plan, *result.reading), UsageSource::codexLogs,
                         result.reading->readAt)) {
        return;
    }
    const TimeFormatter& formatter = codexLogEnvironment_->timeFormatter;
    const CodexLogSnapshotResult formatted = codexLogSnapshot(
        plan, codexLogReadings_, now, [&formatter](Date date, std::string_view pattern) {
            return formatter.format(date, pattern, resetTextLocale, "").value_or("");
        });
    (void)ledger_.commit(UsageReading::fromLogs(plan, *formatted.reading), UsageSource::codexLogs,
                         formatted.reading->readAt);
}

std::string UsageReader::formattedLogTime(Date date) const {
    return codexLogEnvironment_->timeFormatter
        .format(date, "yyyy-MM-dd'T'HH:mm:ss'Z'", "en_US_POSIX", "UTC")
        .value_or("?");
}

void UsageReader::wakeForCodexLogChange() {
    codexLogWake_.cancel();
    const Date now = env_.clock.now();
    const std::optional<Date> next = codexLogReadings_.nextChangeAfter(now);
    if (!next) {
        return;
    }
    codexLogWake_ =
        runQueue_.asyncAfter(next->timeIntervalSince(now), [this] { commitCodexLogReadings(); });
}

bool UsageReader::codexLogsAreCurrent() const {
    if (!codexLogSource_ || !lastUpdated() || activeSnapshotPlan() != codexPlan() ||
        snapshotSource() != UsageSource::codexLogs) {
        return false;
    }
    return env_.clock.now().timeIntervalSince(*lastUpdated()) < timeInterval(refreshFrequency());
}

std::optional<Date> UsageReader::windowResetsAt(QuotaWindow window) const {
    const auto& points = usageHistory().points(codexPlan(), window);
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
    return estimateUsagePace(usageHistory().currentWindowPoints(codexPlan(), window, *resetsAt),
                             *resetsAt, env_.clock.now());
}

}  // namespace gaugely
