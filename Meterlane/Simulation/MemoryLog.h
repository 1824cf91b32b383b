#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Meterlane/Platform/Log.h"

namespace gaugely {

struct LogEntry {
    std::string subsystem;
    std::string category;
    LogLevel level = LogLevel::info;
    std::string line;
    bool operator==(const LogEntry&) const = default;
};

// The unified log of the simulated world: kept in memory so trace lines can be checked word for
// word, and optionally echoed (the demo prints them as they come).
class MemoryLog final : public Log {
  public:
    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view line) override;

    const std::vector<LogEntry>& entries() const { return entries_; }
    std::vector<std::string> lines() const;
    std::vector<std::string> lines(std::string_view category) const;
    std::vector<std::string> linesAtLevel(LogLevel level) const;
    // Whether some entry's line is exactly `line`.
    bool contains(std::string_view line) const;
    void clear() { entries_.clear(); }

    // Called with every entry as it is written; an empty function stops the echo.
    void setEcho(std::function<void(const LogEntry&)> echo) { echo_ = std::move(echo); }

  private:
    std::vector<LogEntry> entries_;
    std::function<void(const LogEntry&)> echo_;
};

// "debug", "info", "notice", "error", "fault".
std::string_view logLevelName(LogLevel level);

}  // namespace gaugely
