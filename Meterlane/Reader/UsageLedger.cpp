#include "Meterlane/Reader/UsageLedger.h"

#include <tuple>

#include "Meterlane/Reader/StoredReaderState.h"
#include "Meterlane/Reader/UserDefaultsKeys.h"

namespace gaugely {

namespace {

constexpr std::string_view historyLogCategory = "codex-logs";

QuotaSchema schemaOf(CodexPlan plan) {
    return PlanQuotaConfiguration::configuration(plan).schema;
}

}  // namespace

UsageReading UsageReading::fromMenu(CodexPlan plan, const UsageSnapshot& snapshot) {
    UsageReading reading{plan, snapshot, {}, {}, {}};
    for (const auto& [window, percent] : quotaPercentages(snapshot, schemaOf(plan))) {
        reading.remainingPercent[window] = percent;
    }
    return reading;
}

UsageReading UsageReading::fromLogs(CodexPlan plan, const CodexLogSnapshot& reading) {
    return {plan, reading.snapshot, reading.remainingPercent, reading.resetsAt,
            reading.passedResets};
}

UsageLedger::UsageLedger(Preferences& preferences, Log& log, ModelObservers& observers,
                         const ReaderSettings& settings, UsageNotificationDispatcher& notifications,
                         ReadingCommitted committed)
    : preferences_(preferences),
      log_(log),
      observers_(observers),
      settings_(settings),
      notifications_(notifications),
      committed_(std::move(committed)),
      lowUsageState_(preferences),
      resetState_(preferences) {}

void UsageLedger::restore() {
    if (auto sources =
            stored::record<UsageSnapshotSources>(preferences_, defaultsKey::usageSnapshotSources)
                .value) {
        sources_ = std::move(*sources);
    }
    auto planRecords = stored::record<PersistedPlanUsageSnapshots>(
        preferences_, defaultsKey::planSpecificUsageSnapshots);
    if (planRecords.value) {
        stored_ = std::move(*planRecords.value);
    }
    const auto legacy =
        stored::record<PersistedUsageSnapshot>(preferences_, defaultsKey::lastCompleteUsageSnapshot)
            .value;
    if (!legacy || !isCompleteUsageSnapshot(legacy->snapshot, schemaOf(legacy->plan))) {
        return;
    }
    legacySnapshotPlan_ = legacy->plan;
    // A record written per plan is newer than the legacy one and always wins, even one this
    // version cannot read.
    const bool planRecordExists =
        stored_.snapshot(legacy->plan) ||
        stored_.preservedEntries.contains(std::string(rawValue(legacy->plan)));
    if (!planRecordExists) {
        stored_.store(legacy->plan, *legacy);
        // Stored records this version cannot read stay as they are until a reading replaces
        // them; the legacy one is shown meanwhile and saved with the next commit.
        if (!planRecords.unreadable) {
            saveReadings();
        }
    }
}

void UsageLedger::keepHistory(DocumentStore& store, Date now) {
    historyStore_ = &store;
    const DocumentStore::ReadResult read = store.read();
    if (!read.bytes) {
        return;
    }
    if (auto history = decodeJson<UsageHistory>(*read.bytes)) {
        history_ = std::move(*history);
        history_.prune(now);
    } else {
        log_.write(logSubsystem, historyLogCategory, LogLevel::error,
                   "Usage history could not be read; starting a new one");
    }
}

void UsageLedger::present(CodexPlan plan) {
    auto changes = observers_.changeSet();
    // Which windows had reset is known only from the logs, which tell again.
    observers_.publish(passedResets_, std::map<QuotaWindow, Date>());
    const auto record = stored_.snapshot(plan);
    if (record && isDisplayable(record->snapshot, plan)) {
        observers_.publish(snapshot_, record->snapshot);
        observers_.publish(snapshotPlan_, std::optional<CodexPlan>(plan));
        observers_.publish(lastUpdated_, std::optional<Date>(record->lastUpdated));
        return;
    }
    // A plan never read shows no numbers rather than another plan's.
    observers_.publish(snapshot_, UsageSnapshot::empty());
    observers_.publish(snapshotPlan_, std::optional<CodexPlan>());
    observers_.publish(lastUpdated_, std::optional<Date>());
}

bool UsageLedger::commit(const UsageReading& reading, UsageSource source, Date at) {
    if (!accepts(reading, source, at)) {
        return false;
    }
    auto changes = observers_.changeSet();
    const CodexPlan plan = reading.plan;
    recordHistory(reading, at);
    // The source first: whether a reading lacking a window can be shown depends on it.
    storeSource(plan, source);
    observers_.publish(passedResets_, reading.passedResets);
    observers_.publish(snapshot_, reading.snapshot);
    observers_.publish(snapshotPlan_, std::optional<CodexPlan>(plan));
    observers_.publish(lastUpdated_, std::optional<Date>(at));
    stored_.store(plan, PersistedUsageSnapshot{reading.snapshot, at, plan});
    saveReadings();
    if (committed_) {
        committed_(reading, source, at);
    }
    raiseAlerts(plan, at);
    return true;
}

bool UsageLedger::accepts(const UsageReading& reading, UsageSource source, Date at) const {
    if (source == UsageSource::codexMenu) {
        return isCompleteUsageSnapshot(reading.snapshot, schemaOf(reading.plan));
    }
    const auto stored = stored_.snapshot(reading.plan);
    if (!stored || at > stored->lastUpdated) {
        return true;
    }
    // As late as the stored reading, a log reading is taken only when it shows more of the same
    // logs: a window an older line filled in, a reset that passed. Its reset times are those of
    // the same lines, so only the shares can differ.
    const auto shares = [](const UsageSnapshot& snapshot) {
        return std::tie(snapshot.fiveHour, snapshot.weekly, snapshot.monthly);
    };
    return at == stored->lastUpdated && sources_.source(reading.plan) == UsageSource::codexLogs &&
           (shares(reading.snapshot) != shares(stored->snapshot) ||
            reading.passedResets != passedResets_);
}

void UsageLedger::recordHistory(const UsageReading& reading, Date at) {
    if (historyStore_ == nullptr) {
        return;
    }
    bool changed = false;
    for (const auto& [window, percent] : reading.remainingPercent) {
        const auto reset = reading.resetsAt.find(window);
        changed |= history_.record(reading.plan, window,
                                   UsageHistoryPoint{at, percent,
                                                     reset == reading.resetsAt.end()
                                                         ? std::nullopt
                                                         : std::optional<Date>(reset->second)});
    }
    if (changed && !historyStore_->replace(encodeJson(history_))) {
        log_.write(logSubsystem, historyLogCategory, LogLevel::error,
                   "Usage history could not be saved");
    }
}

void UsageLedger::storeSource(CodexPlan plan, UsageSource source) {
    if (sources_.source(plan) == source && sources_.sources.contains(plan)) {
        return;
    }
    UsageSnapshotSources sources = sources_;
    sources.store(plan, source);
    observers_.publish(sources_, std::move(sources));
    preferences_.setData(defaultsKey::usageSnapshotSources, encodeJson(sources_));
}

void UsageLedger::saveReadings() {
    preferences_.setData(defaultsKey::planSpecificUsageSnapshots, encodeJson(stored_));
}

void UsageLedger::raiseAlerts(CodexPlan plan, Date at) {
    const PlanQuotaConfiguration configuration = PlanQuotaConfiguration::configuration(plan);
    const auto percentages = quotaPercentages(snapshot_, configuration.schema);
    const auto crossings = lowUsageState_.recordCommittedPercentages(
        rawValue(plan), percentages, settings_.lowUsageAlerts(), at);
    notifications_.deliverLowUsage(crossings, configuration);
    // A reading without reset times cannot tell a reset from a refill.
    if (!configuration.supportsResetNotifications) {
        return;
    }
    notifications_.deliverResets(resetState_.recordCommittedPercentages(
        rawValue(plan), percentages, settings_.resetNotifications()));
}

bool UsageLedger::isDisplayable(const UsageSnapshot& snapshot, CodexPlan plan) const {
    if (sources_.source(plan) == UsageSource::codexLogs) {
        return isDisplayableLogSnapshot(snapshot, plan);
    }
    return isCompleteUsageSnapshot(snapshot, schemaOf(plan));
}

bool UsageLedger::showsReadingOf(CodexPlan plan) const {
    return snapshotPlan_ == plan && isDisplayable(snapshot_, plan);
}

void UsageLedger::forgetAlerts(CodexPlan plan) {
    lowUsageState_.invalidate(rawValue(plan));
    resetState_.invalidate(rawValue(plan));
}

void UsageLedger::rebaselineLowUsageAlerts(CodexPlan plan, const std::set<QuotaWindow>& only) {
    if (!showsReadingOf(plan)) {
        return;
    }
    lowUsageState_.rebaseline(rawValue(plan), quotaPercentages(snapshot_, schemaOf(plan)),
                              settings_.lowUsageAlerts(), only, true);
}

void UsageLedger::rebaselineResets(CodexPlan plan) {
    // Like its commits, a plan without reset times never enters the reset state.
    if (!PlanQuotaConfiguration::configuration(plan).supportsResetNotifications ||
        !showsReadingOf(plan)) {
        return;
    }
    resetState_.rebaseline(rawValue(plan), quotaPercentages(snapshot_, schemaOf(plan)));
}

}  // namespace gaugely
