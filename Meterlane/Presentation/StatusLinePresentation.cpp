#include "Meterlane/Presentation/StatusLinePresentation.h"

#include <algorithm>
#include <cmath>

namespace gaugely {

const std::vector<std::string>& StatusLineTemplate::placeholderNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all{"plan", "menubar", "age"};
        for (const QuotaWindow window : allCases<QuotaWindow>()) {
            const std::string name(statusLineWindowName(window));
            all.insert(all.end(), {name, name + ".reset", name + ".pace"});
        }
        return all;
    }();
    return names;
}

std::variant<StatusLineTemplate, std::string> StatusLineTemplate::parse(std::string_view text) {
    StatusLineTemplate result;
    std::string literal;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if ((c == '{' || c == '}') && i + 1 < text.size() && text[i + 1] == c) {
            literal += c;
            ++i;
        } else if (c == '}') {
            return std::string("a \"}\" without its \"{\" (write \"}}\" for the brace itself)");
        } else if (c == '{') {
            const std::size_t end = text.find('}', i + 1);
            if (end == std::string_view::npos) {
                return std::string("a \"{\" left open (write \"{{\" for the brace itself)");
            }
            const std::string name(text.substr(i + 1, end - i - 1));
            const auto& names = placeholderNames();
            if (std::find(names.begin(), names.end(), name) == names.end()) {
                return "unknown placeholder {" + name + "}";
            }
            if (!literal.empty()) {
                result.pieces_.push_back({false, std::move(literal)});
                literal.clear();
            }
            result.pieces_.push_back({true, name});
            i = end;
        } else {
            literal += c;
        }
    }
    if (!literal.empty()) {
        result.pieces_.push_back({false, std::move(literal)});
    }
    return result;
}

std::string StatusLineTemplate::expand(const std::map<std::string, std::string>& values) const {
    std::string line;
    for (const Piece& piece : pieces_) {
        if (!piece.isPlaceholder) {
            line += piece.text;
        } else if (const auto value = values.find(piece.text); value != values.end()) {
            line += value->second;
        }
    }
    return line;
}

bool StatusLineTemplate::uses(std::string_view name) const {
    return std::any_of(pieces_.begin(), pieces_.end(), [name](const Piece& piece) {
        return piece.isPlaceholder && piece.text == name;
    });
}

std::string_view statusLineWindowName(QuotaWindow window) {
    switch (window) {
        case QuotaWindow::fiveHour:
            return "5h";
        case QuotaWindow::weekly:
            return "weekly";
        case QuotaWindow::monthly:
            return "monthly";
    }
    return {};
}

std::string statusLineAgeText(double seconds) {
    const long long minutes =
        std::isfinite(seconds) && seconds > 0 ? static_cast<long long>(seconds / 60) : 0;
    if (minutes < 60) {
        return std::to_string(minutes) + "m";
    }
    if (minutes < 24 * 60) {
        return std::to_string(minutes / 60) + "h";
    }
    return std::to_string(minutes / (24 * 60)) + "d";
}

std::string statusLinePaceText(const UsagePaceEstimate& estimate, const std::string& runsOutTime) {
    switch (estimate.kind) {
        case UsagePaceEstimate::Kind::noEstimate:
            return "";
        case UsagePaceEstimate::Kind::lastsUntilReset:
            return "lasts until reset";
        case UsagePaceEstimate::Kind::runsOut:
            return "runs out " + runsOutTime;
    }
    return "";
}

UsageLevel usageLevel(const std::vector<std::pair<QuotaWindow, int>>& remaining,
                      const LowUsageAlertSettings& thresholds) {
    UsageLevel level = UsageLevel::normal;
    for (const auto& [window, percent] : remaining) {
        if (percent <= 0) {
            return UsageLevel::exhausted;
        }
        if (percent <= rawValue(thresholds.setting(window).threshold)) {
            level = UsageLevel::low;
        }
    }
    return level;
}

std::string_view usageLevelName(UsageLevel level) {
    switch (level) {
        case UsageLevel::normal:
            return "normal";
        case UsageLevel::low:
            return "low";
        case UsageLevel::exhausted:
            return "exhausted";
    }
    return {};
}

}  // namespace gaugely
