#include "Meterlane/Simulation/MemoryLog.h"

namespace gaugely {

void MemoryLog::write(std::string_view subsystem, std::string_view category, LogLevel level,
                      std::string_view line) {
    entries_.push_back(
        LogEntry{std::string(subsystem), std::string(category), level, std::string(line)});
    if (echo_) {
        echo_(entries_.back());
    }
}

std::vector<std::string> MemoryLog::lines() const {
    std::vector<std::string> result;
    for (const auto& entry : entries_) {
        result.push_back(entry.line);
    }
    return result;
}

std::vector<std::string> MemoryLog::lines(std::string_view category) const {
    std::vector<std::string> result;
    for (const auto& entry : entries_) {
        if (entry.category == category) {
            result.push_back(entry.line);
        }
    }
    return result;
}

std::vector<std::string> MemoryLog::linesAtLevel(LogLevel level) const {
    std::vector<std::string> result;
    for (const auto& entry : entries_) {
        if (entry.level == level) {
            result.push_back(entry.line);
        }
    }
    return result;
}

bool MemoryLog::contains(std::string_view line) const {
    for (const auto& entry : entries_) {
        if (entry.line == line) {
            return true;
        }
    }
    return false;
}

std::string_view logLevelName(LogLevel level) {
    switch (level) {
        case LogLevel::debug:
            return "debug";
        case LogLevel::info:
            return "info";
        case LogLevel::notice:
            return "notice";
        case LogLevel::error:
            return "error";
        case LogLevel::fault:
            return "fault";
    }
    return {};
}

}  // namespace gaugely
