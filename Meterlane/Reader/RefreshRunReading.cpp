// A refresh run inside the menu it opened: keyboard focus to "Usage remaining", Return, the wait
// for the usage rows, and reading until two readings agree.
#include <algorithm>

#include "LowUsageNotificationSupport/CodexVocabulary.h"
#include "LowUsageNotificationSupport/UsageMenuText.h"
#include "Meterlane/Reader/RefreshRun.h"

namespace gaugely {

void RefreshRun::beginUsageKeyboardFocusExperiment(const RunningApplication& codex, int attempt,
                                                   std::optional<FocusLook> alreadyRead) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    retryUsageKeyboardReadiness(codex, attempt, std::move(alreadyRead));
}

RefreshRun::FocusLook RefreshRun::lookAtFocus(CodexTreeSearch& search, const AXElement& application,
                                              ElementLookupMode mode, const AXElement& openedMenu) {
    return lookForUsageItem(search,
                            ProfileMenuLookup(search, mode).profileMenu(application, openedMenu));
}

RefreshRun::UsageLook RefreshRun::lookAtUsage(CodexTreeSearch& search, const AXElement& application,
                                              ElementLookupMode mode, const AXElement& openedMenu,
                                              bool directProfile) {
    ProfileMenuLookup lookup(search, mode);
    const AXElement menu = directProfile ? lookup.profileMenu(application, openedMenu)
                                         : lookup.usageRemainingMenu(application, openedMenu);
    return readMenuUsage(search, menu, directProfile);
}

RefreshRun::FocusLook RefreshRun::lookForUsageItem(CodexTreeSearch& search, const AXElement& menu) {
    FocusLook look;
    const std::vector<AXElement> items = menu ? search.menuItems(menu) : std::vector<AXElement>{};
    look.itemsFound = !items.empty();
    std::optional<size_t> usageIndex;
    for (size_t i = 0; i < items.size() && !usageIndex; ++i) {
        const std::vector<std::string> lines = search.orderedMenuText(items[i]);
        if (std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
                return codexVocabulary::mentionsUsageRemaining(line);
            })) {
            usageIndex = i;
        }
    }
    if (!usageIndex) {
        return look;
    }
    // Keyboard focus skips entries that take no room (separators); an entry whose size cannot be
    // read counts as such, unless no entry's size can be read at all.
    UsageFocusBaseline baseline{menu, items[*usageIndex], search.frame(items[*usageIndex]), 0};
    std::vector<std::optional<Rect>> frames;
    for (size_t i = 0; i <= *usageIndex; ++i) {
        frames.push_back(i == *usageIndex ? baseline.itemFrame : search.frame(items[i]));
    }
    const bool anySize = std::any_of(frames.begin(), frames.end(),
                                     [](const auto& frame) { return frame.has_value(); });
    for (size_t i = 0; i <= *usageIndex; ++i) {
        if (i == *usageIndex || !anySize || (frames[i] && frames[i]->size.height > 0)) {
            ++baseline.downPresses;
        }
    }
    look.baseline = baseline;
    return look;
}

void RefreshRun::retryUsageKeyboardReadiness(const RunningApplication& codex, int attempt,
                                             std::optional<FocusLook> alreadyRead) {
    if (attempt > 0 && !automaticSyntheticInputMayContinue()) {
        return;
    }
    if (waitIsOver(attempt, codex, RefreshEndCause::usagePositionUnknown)) {
        return;
    }
    if (alreadyRead) {
        focusUsageItem(codex, *alreadyRead, attempt);
        return;
    }
    readTree(
        codex,
        [mode = lookupMode_, opened = uiState_.openedMenu](CodexTreeSearch& tree,
                                                           const AXElement& application) {
            return lookAtFocus(tree, application, mode, opened);
        },
        [this, codex, attempt](FocusLook look) { focusUsageItem(codex, look, attempt); });
}

void RefreshRun::focusUsageItem(const RunningApplication& codex, const FocusLook& look,
                                int attempt) {
    if (look.itemsFound) {
        recordRefreshTiming("Profile Accessibility menu structure available");
    }
    if (!look.baseline) {
        pollAgain(attempt, [this, codex](int next) { retryUsageKeyboardReadiness(codex, next); });
        return;
    }
    recordRefreshTiming("Usage remaining item discoverable");
    const UsageFocusBaseline baseline = *look.baseline;
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
    readTree(
        codex,
        [item = baseline.item](CodexTreeSearch& tree, const AXElement&) {
            return tree.flagAttribute(item, ax::focused) == true;
        },
        [this, codex, baseline, attempt](bool focused) {
            if (!focused) {
                pollAgain(attempt, [this, codex, baseline](int next) {
                    activateFocusedUsageItemWithReturn(codex, baseline, next);
                });
                return;
            }
            recordRefreshTiming("Usage remaining item focused");
            // The read took its time: the user may have come back meanwhile.
            if (!automaticSyntheticInputMayContinue()) {
                return;
            }
            if (!sendSyntheticKeyPress(keycode::returnKey)) {
                endThroughRestoration(codex, RefreshEndCause::returnNotSent);
                return;
            }
            recordRefreshTiming("Return expansion action issued");
            scheduleAutomation(pollDelay(0), [this, codex, baseline] {
                verifyUsageKeyboardActivation(codex, baseline, 0);
            });
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
    readTree(
        codex,
        [mode = lookupMode_, opened = uiState_.openedMenu, schema = schema()](
            CodexTreeSearch& tree, const AXElement& application) {
            ExpansionLook look;
            look.expanded =
                ProfileMenuLookup(tree, mode).usageRemainingIsExpanded(application, opened, schema);
            if (look.expanded) {
                look.usage = lookAtUsage(tree, application, mode, opened, false);
            }
            return look;
        },
        [this, codex, baseline, attempt](ExpansionLook look) {
            if (!look.expanded) {
                pollAgain(attempt, [this, codex, baseline](int next) {
                    verifyUsageKeyboardActivation(codex, baseline, next);
                });
                return;
            }
            recordRefreshTiming("Usage remaining expanded");
            readStableUsage(codex, 0, false, look.usage);
        });
}

RefreshRun::UsageLook RefreshRun::readMenuUsage(CodexTreeSearch& search, const AXElement& menu,
                                                bool directProfile) {
    UsageLook look;
    look.menuFound = static_cast<bool>(menu);
    if (!menu) {
        return look;
    }
    if (!directProfile) {
        look.lines = search.orderedMenuText(menu);
        return look;
    }
    std::vector<std::string> titles;
    for (const AXElement& item : search.menuItems(menu)) {
        if (auto title = search.title(item)) {
            titles.push_back(std::move(*title));
        }
    }
    int valueTitles = 0;
    for (const std::string& title : titles) {
        valueTitles += codexVocabulary::proTitle().containsMatch(title) ? 1 : 0;
    }
    look.usageRow = valueTitles > 0 || static_cast<bool>(search.proUsageProfileMenuItem(menu));
    // Several titles with a value: none of them is trusted, and waiting will not make one right.
    look.ambiguous = valueTitles >= 2;
    if (look.ambiguous) {
        return look;
    }
    look.values = ProProfileUsageMenuParser::parse(titles, [&] {
        // The older layout keeps the value under a "Usage" item.
        const AXElement usageItem = search.proUsageProfileMenuItem(menu);
        return search.orderedMenuText(usageItem ? usageItem : menu);
    });
    return look;
}

std::optional<UsageSnapshot> RefreshRun::readDirectProfileUsage(const UsageLook& look) {
    recordRefreshStage("usage row found/not found", look.usageRow ? "found" : "not found");
    if (look.ambiguous) {
        recordRefreshStage("percentage parsed/not parsed", "not parsed");
        return std::nullopt;
    }
    std::optional<UsageSnapshot> reading;
    if (look.values) {
        UsageSnapshot snapshot;
        snapshot.weekly = look.values->percentage;
        reading = snapshot;
    }
    recordRefreshStage("percentage parsed/not parsed", reading ? "parsed" : "not parsed");
    recordRefreshStage("reset data parsed/not parsed", "not applicable for direct Pro percentage");
    return reading;
}

std::optional<UsageSnapshot> RefreshRun::readUsageRemaining(const UsageLook& look) {
    recordRefreshStage("usage row found/not found", "found");
    std::optional<UsageSnapshot> reading =
        gaugely::usageSnapshotFromUsageRemainingMenu(host_.planToRead(), look.lines);
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

void RefreshRun::readStableUsage(const RunningApplication& codex, int attempt, bool directProfile,
                                 std::optional<UsageLook> alreadyRead) {
    if (!automaticSyntheticInputMayContinue()) {
        return;
    }
    if (attempt > lastPollAttempt) {
        endThroughRestoration(codex, unreadableUsageCause());
        return;
    }
    if (alreadyRead) {
        usageRead(codex, attempt, directProfile, *alreadyRead);
        return;
    }
    readTree(
        codex,
        [mode = lookupMode_, opened = uiState_.openedMenu, directProfile](
            CodexTreeSearch& tree, const AXElement& application) {
            return lookAtUsage(tree, application, mode, opened, directProfile);
        },
        [this, codex, attempt, directProfile](UsageLook look) {
            usageRead(codex, attempt, directProfile, look);
        });
}

void RefreshRun::usageRead(const RunningApplication& codex, int attempt, bool directProfile,
                           const UsageLook& look) {
    lastReadingFoundMenu_ = look.menuFound;
    std::optional<UsageSnapshot> reading;
    if (!look.menuFound) {
        recordRefreshStage("menu became readable or timed out", "not yet readable");
    } else {
        recordRefreshStage("menu became readable or timed out");
        reading = directProfile ? readDirectProfileUsage(look) : readUsageRemaining(look);
        if (look.ambiguous) {
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
