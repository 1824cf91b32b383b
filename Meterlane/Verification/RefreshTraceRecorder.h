#pragma once

// A log that passes every line on and keeps the refresh trace of the last few runs, for "Copy
// Diagnostics" and the verification report. What it keeps is the trace's own vocabulary only:
// stage names, timing marks, outcomes and the messages a refresh can end with, each with its
// milliseconds. Any other text in a line (a usage figure, something Codex showed) is replaced by
// "(withheld)", so a trace can be pasted anywhere. Main queue only.

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "Meterlane/Platform/Log.h"

namespace gaugely {

struct KeptRefreshTrace {
    std::string identifier;
    std::string kind;
    // Each line as logged, with what is not the trace's vocabulary withheld.
    std::vector<std::string> lines;
    std::optional<std::string> outcome;
    std::optional<long> endedAtMilliseconds;
    std::optional<long> menuDwellMilliseconds;

    [[nodiscard]] bool finished() const { return outcome.has_value(); }

    bool operator==(const KeptRefreshTrace&) const = default;
};

class RefreshTraceRecorder final : public Log {
  public:
    static constexpr std::string_view withheld = "(withheld)";

    explicit RefreshTraceRecorder(Log& next, std::size_t keep = 3) : next_(next), keep_(keep) {}

    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view line) override;

    // Oldest first; the last may still be running.
    [[nodiscard]] const std::deque<KeptRefreshTrace>& traces() const { return traces_; }
    // The trace of that identifier, if still kept.
    [[nodiscard]] const KeptRefreshTrace* trace(std::string_view identifier) const;

  private:
    void keep(std::string_view line);
    KeptRefreshTrace& begin(std::string identifier, std::string kind);

    Log& next_;
    std::size_t keep_;
    std::deque<KeptRefreshTrace> traces_;
};

// One trace line as it may be shown: the trace's vocabulary kept, anything else withheld. Lines of
// no known shape are withheld whole.
[[nodiscard]] std::string shareableTraceLine(std::string_view line);

}  // namespace gaugely
