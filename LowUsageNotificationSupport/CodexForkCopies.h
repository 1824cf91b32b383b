#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"

namespace gaugely {

// Tells the lines a fork copied from its parent from the fork's own.
//
// When Codex forks a session (and, in some versions, when the user backtracks), it starts a new
// rollout file with the fork's own `session_meta` and then copies the parent's lines into it,
// the parent's `session_meta` first, every one stamped anew with the time of the copy. Those
// copies would pass the parent's old figures off as new. They are recognised from the head of
// the file: the fork's `session_meta` names `forked_from_id` (since early 2026), or, written by
// an older Codex, the second line is another session's `session_meta`. The copies are written in
// one burst as the fork is made; the burst ends at the first line stamped more than `burstGap`
// after the line before it, where the fork's own turns begin (a turn waits for the user and the
// model). Every line stamped no later than the burst's last line is a copy.
//
// Feed the file's lines from its start, in order, until `done()`; `finish()` when there are no
// more (the end of the file, or the reader's budget).
class CodexForkCopies {
  public:
    static constexpr double burstGap = 1.0;

    void take(std::string_view line);
    void finish() { stage_ = Stage::done; }
    bool done() const { return stage_ == Stage::done; }
    // The fork's session, read from the first line; none before it or when it was no session.
    const std::optional<std::string>& sessionId() const { return ownId_; }
    bool isFork() const { return forked_; }
    // Lines stamped at or before this are copies; none when the file is no fork (or the burst
    // carried no time).
    std::optional<Date> copiesUntil() const { return forked_ ? lastCopy_ : std::optional<Date>(); }

  private:
    enum class Stage { ownMeta, secondLine, burst, done };

    Stage stage_ = Stage::ownMeta;
    std::optional<std::string> ownId_;
    bool forked_ = false;
    std::optional<Date> lastCopy_;
};

}  // namespace gaugely
