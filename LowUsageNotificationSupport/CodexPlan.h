#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Enumeration.h"

namespace gaugely {

// The user's Codex subscription plan. The raw value is what is persisted.
enum class CodexPlan { freeGo, plus, pro };

template <>
struct EnumTraits<CodexPlan> {
    static constexpr std::array<std::pair<CodexPlan, std::string_view>, 3> cases{{
        {CodexPlan::freeGo, "freeGo"},
        {CodexPlan::plus, "plus"},
        {CodexPlan::pro, "pro"},
    }};
};

// The text shown in pickers and status lines.
constexpr std::string_view title(CodexPlan plan) {
    switch (plan) {
        case CodexPlan::freeGo:
            return "Free / Go";
        case CodexPlan::plus:
            return "Plus";
        case CodexPlan::pro:
            return "Pro";
    }
    return {};
}

// One usage window that Codex reports a limit for.
enum class QuotaWindow { fiveHour, weekly, monthly };

template <>
struct EnumTraits<QuotaWindow> {
    static constexpr std::array<std::pair<QuotaWindow, std::string_view>, 3> cases{{
        {QuotaWindow::fiveHour, "fiveHour"},
        {QuotaWindow::weekly, "weekly"},
        {QuotaWindow::monthly, "monthly"},
    }};
};

constexpr std::string_view notificationTitle(QuotaWindow window) {
    switch (window) {
        case QuotaWindow::fiveHour:
            return "5h";
        case QuotaWindow::weekly:
            return "Weekly";
        case QuotaWindow::monthly:
            return "Monthly";
    }
    return {};
}

// The per-plan-and-window key of the notification state maps, e.g. "plus.fiveHour".
std::string planWindowKey(std::string_view planIdentifier, QuotaWindow window);

// The user's plan choice, the one place it is held. No refresh may start until a plan is
// selected; until then the plan read and shown is plus.
struct CodexPlanSelectionState {
    std::optional<CodexPlan> selectedPlan;

    CodexPlan codexPlan() const { return selectedPlan.value_or(CodexPlan::plus); }
    bool hasExplicitPlanSelection() const { return selectedPlan.has_value(); }

    bool requiresFirstRunSelection() const { return !selectedPlan.has_value(); }
    bool canStartUsageAutomation() const { return selectedPlan.has_value(); }
    bool select(CodexPlan plan) {
        selectedPlan = plan;
        return true;
    }

    bool operator==(const CodexPlanSelectionState&) const = default;
};

}  // namespace gaugely
