// A refresh run inside the menu it opened: keyboard focus to "Usage remaining", Return, the wait
// for the usage rows, and reading until two readings agree.
#include <algorithm>

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "LowUsageNotificationSupport/UsageMenuText.h"
#include "Meterlane/Reader/RefreshRun.h"

namespace gaugely {

void RefreshRun::beginUsageKeyboardFocusExperiment(const RunningApplication& codex, int attempt) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    retryUsageKeyboardReadiness(codex, attempt);
}

void RefreshRun::retryUsageKeyboardReadiness(const RunningApplication& codex, int attempt) {
    if (attempt > 0 && !automaticSyntheticInputMayContinue()) {
        return;
    }
    if (waitIsOver(attempt, codex, RefreshEndCause::usagePositionUnknown)) {
        return;
    }
    const AXElement menu = lookup_.profileMenu(applicationElement(codex), uiState_.openedMenu);
    const std::vector<AXElement> items = menu ? search_.menuItems(menu) : std::vector<AXElement>{};
    std::optional<size_t> usageIndex;
    if (!items.empty()) {
        recordRefreshTiming("Profile Accessibility menu structure available");
        for (size_t i = 0; i < items.size() && !usageIndex; ++i) {
            const std::vector<std::string> lines = search_.orderedMenuText(items[i]);
            if (std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
                    return codexVocabulary::mentionsUsageRemaining(line);
                })) {
                usageIndex = i;
            }
        }
    }
    if (!usageIndex) {
        pollAgain(attempt, [this, codex](int next) { retryUsageKeyboardReadiness(codex, next); });
        return;
    }
    recordRefreshTiming("Usage remaining item discoverable");

    // Keyboard focus skips entries that take no room (separators); an entry whose size cannot be
    // read counts as such, unless no entry's size can be read at all.
    UsageFocusBaseline baseline{menu, items[*usageIndex], search_.frame(items[*usageIndex]), 0};
    std::vector<std::optional<Rect>> frames;
    for (size_t i = 0; i <= *usageIndex; ++i) {
        frames.push_back(i == *usageIndex ? baseline.itemFrame : search_.frame(items[i]));
    }
    const bool anySize = std::any_of(frames.begin(), frames.end(),
                                     [](const auto& frame) { return frame.has_value(); });
    for (size_t i = 0; i <= *usageIndex; ++i) {
        if (i == *usageIndex || !anySize || (frames[i] && frames[i]->size.height > 0)) {
            ++baseline.downPresses;
        }
    }
    baseline_ = baseline;

    for (int press = 0; press < baseline.downPresses; ++press) {
        if (!automaticSyntheticInputMayContinue()) {
            return;
        }
        if (!sendSyntheticKeyPress(keycode::downArrow)) {
            endThroughRestoration(codex, RefreshEndCause::focusKeysNotSent);
            return;
        }
    }
    scheduleAutomation(pollDelay(0), [this, codex, baseline] {
        activateFocusedUsageItemWithReturn(codex, baseline, 0);
    });
}

void RefreshRun::activateFocusedUsageItemWithReturn(const RunningApplication& codex,
                                                    const UsageFocusBaseline& baseline,
                                                    int attempt) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    if (waitIsOver(attempt, codex, RefreshEndCause::usageNotFocused)) {
        return;
    }
    if (search_.flagAttribute(baseline.item, ax::focused) != true) {
        pollAgain(attempt, [this, codex, baseline](int next) {
            activateFocusedUsageItemWithReturn(codex, baseline, next);
        });
        return;
    }
    recordRefreshTiming("Usage remaining item focused");
    if (!sendSyntheticKeyPress(keycode::returnKey)) {
        endThroughRestoration(codex, RefreshEndCause::returnNotSent);
        return;
    }
    recordRefreshTiming("Return expansion action issued");
    scheduleAutomation(pollDelay(0), [this, codex, baseline] {
        verifyUsageKeyboardActivation(codex, baseline, 0);
    });
}

void RefreshRun::verifyUsageKeyboardActivation(const RunningApplication& codex,
                                               const UsageFocusBaseline& baseline, int attempt) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    if (waitIsOver(attempt, codex, RefreshEndCause::usageNotExpanded)) {
        return;
    }
    if (!lookup_.usageRemainingIsExpanded(applicationElement(codex), uiState_.openedMenu,
                                          schema())) {
        pollAgain(attempt, [this, codex, baseline](int next) {
            verifyUsageKeyboardActivation(codex, baseline, next);
        });
        return;
    }
    recordRefreshTiming("Usage remaining expanded");
    readStableUsage(codex, 0, false);
}

std::optional<UsageSnapshot> RefreshRun::usageSnapshotFromUsageRemainingMenu(
    const AXElement& menu) {
    if (!menu) {
        return std::nullopt;
    }
    return gaugely::usageSnapshotFromUsageRemainingMenu(host_.planToRead(),
                                                        search_.orderedMenuText(menu));
}

std::optional<ProProfileUsageValues> RefreshRun::proProfileUsageValues(const AXElement& menu) {
    std::vector<std::string> titles;
    for (const AXElement& item : search_.menuItems(menu)) {
        if (auto title = search_.title(item)) {
            titles.push_back(std::move(*title));
        }
    }
    return ProProfileUsageMenuParser::parse(titles, [&] {
        // The older layout keeps the value under a "Usage" item.
        const AXElement usageItem = search_.proUsageProfileMenuItem(menu);
        return search_.orderedMenuText(usageItem ? usageItem : menu);
    });
}

std::optional<UsageSnapshot> RefreshRun::readDirectProfileUsage(const AXElement& menu,
                                                                bool& ambiguous) {
    std::vector<std::string> titles;
    for (const AXElement& item : search_.menuItems(menu)) {
        if (auto title = search_.title(item)) {
            titles.push_back(std::move(*title));
        }
    }
    int valueTitles = 0;
    for (const std::string& title : titles) {
        valueTitles += codexVocabulary::proTitle().containsMatch(title) ? 1 : 0;
    }
    const bool usageRow =
        valueTitles > 0 || static_cast<bool>(search_.proUsageProfileMenuItem(menu));
    recordRefreshStage("usage row found/not found", usageRow ? "found" : "not found");
    ambiguous = valueTitles >= 2;
    if (ambiguous) {
        // Several titles with a value: none of them is trusted.
        recordRefreshStage("percentage parsed/not parsed", "not parsed");
        return std::nullopt;
    }
    std::optional<UsageSnapshot> reading;
    if (const auto values = proProfileUsageValues(menu)) {
        UsageSnapshot snapshot;
        snapshot.weekly = values->percentage;
        reading = snapshot;
    }
    recordRefreshStage("percentage parsed/not parsed", reading ? "parsed" : "not parsed");
    recordRefreshStage("reset data parsed/not parsed", "not applicable for direct Pro percentage");
    return reading;
}

std::optional<UsageSnapshot> RefreshRun::readUsageRemaining(const AXElement& menu) {
    recordRefreshStage("usage row found/not found", "found");
    std::optional<UsageSnapshot> reading = usageSnapshotFromUsageRemainingMenu(menu);
    const QuotaSchema plansSchema = schema();
    const bool percentages = reading && quotaPercentages(*reading, plansSchema).size() ==
                                            requiredWindows(plansSchema).size();
    recordRefreshStage("percentage parsed/not parsed", percentages ? "parsed" : "not parsed");
    const bool complete = reading && isCompleteUsageSnapshot(*reading, plansSchema);
    recordRefreshStage("reset data parsed/not parsed", complete ? "parsed" : "not parsed");
    return reading;
}

RefreshEndCause RefreshRun::unreadableUsageCause() const {
    if (!lastReadingFoundMenu_) {
        return RefreshEndCause::usageRowUnavailable;
    }
    if (host_.showsValidReading()) {
        return RefreshEndCause::usageUnreadablePreviousDataKept;
    }
    return RefreshEndCause::usageUnreadable;
}

void RefreshRun::readStableUsage(const RunningApplication& codex, int attempt, bool directProfile) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    if (attempt > lastPollAttempt) {
        endThroughRestoration(codex, unreadableUsageCause());
        return;
    }
    const AXElement application = applicationElement(codex);
    const AXElement menu = directProfile
                               ? lookup_.profileMenu(application, uiState_.openedMenu)
                               : lookup_.usageRemainingMenu(application, uiState_.openedMenu);
    lastReadingFoundMenu_ = static_cast<bool>(menu);
    std::optional<UsageSnapshot> reading;
    if (!menu) {
        recordRefreshStage("menu became readable or timed out", "not yet readable");
    } else {
        recordRefreshStage("menu became readable or timed out");
        bool ambiguous = false;
        reading =
            directProfile ? readDirectProfileUsage(menu, ambiguous) : readUsageRemaining(menu);
        if (ambiguous) {
            endThroughRestoration(codex, RefreshEndCause::ambiguousUsageValue);
            return;
        }
    }
    if (reading && !isCompleteUsageSnapshot(*reading, schema())) {
        reading.reset();
    }

    // The rule is asked with one attempt to spare: past the last poll the wait ends on its own
    // step, after its delay, without reading.
    const RefreshReadOutcome outcome =
        snapshotStability_.advance(reading, ports_.clock.monotonicSeconds(), attempt,
                                   lastPollAttempt + 1, [this](const UsageSnapshot& stable) {
                                       recordRefreshStage("snapshot validated and committed");
                                       return host_.commitReading(stable);
                                   });
    switch (outcome) {
        case RefreshReadOutcome::committed:
            recordRefreshStage("snapshot committed");
            restoreOwnedCodexMenuAfterRead(codex, std::nullopt, !directProfile);
            return;
        case RefreshReadOutcome::waiting:
            recordRefreshStage("stable-read confirmation", "waiting for a second matching value");
            pollAgain(attempt, [this, codex, directProfile](int next) {
                readStableUsage(codex, next, directProfile);
            });
            return;
        case RefreshReadOutcome::failed:
            endThroughRestoration(codex, unreadableUsageCause());
            return;
    }
}

}  // namespace gaugely
